#include "ChipModel/Tables/MirrorTable.h"

#include "Platform/Zol/Assert.h"

namespace ChipModel {

using Shim::Rc;
using Shim::Sdk;

MirrorTable::MirrorTable( int destinations ) {
   ZOL_ASSERT( destinations >= 0 && destinations <= 32 );
   entries_.resize( static_cast< size_t >( destinations ) );
}

Rc MirrorTable::set( int destination, const Shim::MirrorDestination& value ) {
   if ( !has( destination ) || ( value.tunnel && !TunnelHeader::isValid( *value.tunnel ) ) ||
         value.queue.value_or( 0 ) >= Shim::cosQueues ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   Entry& set = entry( destination );
   set.value = value;
   set.header.reset();
   return Sdk::QX_BCM_E_NONE();
}

Rc MirrorTable::destroy( int destination ) {
   if ( !has( destination ) ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   if ( !entry( destination ).value ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   entry( destination ).value.reset();
   entry( destination ).header.reset();
   return Sdk::QX_BCM_E_NONE();
}

} // namespace ChipModel
