#include "ChipModel/Tables/PortTable.h"

#include "ChipModel/Profile.h"
#include "ChipModel/Tables/VlanTable.h"
#include "Platform/Zol/Assert.h"

namespace ChipModel {

using Shim::Rc;
using Shim::Sdk;

PortTable::PortTable( const Profile& profile )
      : last_( profile.ports ), classBits_( profile.portClassBits ) {
   ZOL_ASSERT( last_ >= 0 && last_ < Shim::maxPorts );
   enabled_.set( 0 );
}

Rc PortTable::enableSet( int port, bool enable ) {
   if ( !has( port ) ) {
      return Sdk::QX_BCM_E_PORT();
   }
   if ( enable ) {
      enabled_.set( port );
   } else {
      enabled_.reset( port );
   }
   return Sdk::QX_BCM_E_NONE();
}

Rc PortTable::classSet( int port, uint32_t classBits ) {
   if ( !has( port ) ) {
      return Sdk::QX_BCM_E_PORT();
   }
   if ( classBits_ == 0 ) {
      return Sdk::QX_BCM_E_UNAVAIL();
   }
   if ( classBits_ < 32 && ( classBits >> classBits_ ) != 0 ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   ports_[ static_cast< size_t >( port ) ].classBits = classBits;
   return Sdk::QX_BCM_E_NONE();
}

Rc PortTable::untaggedVlanSet( int port, uint16_t vid ) {
   if ( !has( port ) ) {
      return Sdk::QX_BCM_E_PORT();
   }
   if ( vid != 0 && !VlanTable::isVid( vid ) ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   ports_[ static_cast< size_t >( port ) ].untaggedVlan = vid;
   return Sdk::QX_BCM_E_NONE();
}

bool PortTable::hasAll( const Shim::PortBitmap& ports ) const {
   for ( int port = last_ + 1; port < Shim::maxPorts; ++port ) {
      if ( ports[ static_cast< size_t >( port ) ] ) {
         return false;
      }
   }
   return true;
}

} // namespace ChipModel
