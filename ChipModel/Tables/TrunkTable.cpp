#include "ChipModel/Tables/TrunkTable.h"

#include <algorithm>

#include "ChipModel/Profile.h"

namespace ChipModel {

using Shim::Rc;
using Shim::Sdk;

TrunkTable::TrunkTable( const Profile& profile )
      : maxMembers_( static_cast< size_t >( profile.trunkMembers ) ),
        trunks_( static_cast< size_t >( profile.trunks ) ) {
   trunkOf_.fill( -1 );
}

bool TrunkTable::has( int trunk ) const { return check( trunk ) == Sdk::QX_BCM_E_NONE(); }

Rc TrunkTable::check( int trunk ) const {
   if ( trunk < 0 || static_cast< size_t >( trunk ) >= trunks_.size() ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   return trunks_[ static_cast< size_t >( trunk ) ].exists ? Sdk::QX_BCM_E_NONE()
                                                           : Sdk::QX_BCM_E_NOT_FOUND();
}

Rc TrunkTable::create( int trunk ) {
   const Rc rc = check( trunk );
   if ( rc == Sdk::QX_BCM_E_PARAM() ) {
      return rc;
   }
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      return Sdk::QX_BCM_E_EXISTS();
   }
   trunks_[ static_cast< size_t >( trunk ) ].exists = true;
   return Sdk::QX_BCM_E_NONE();
}

Rc TrunkTable::destroy( int trunk ) {
   if ( const Rc rc = check( trunk ) ) {
      return rc;
   }
   trunks_[ static_cast< size_t >( trunk ) ] = Trunk{};
   update();
   return Sdk::QX_BCM_E_NONE();
}

Rc TrunkTable::membersSet( int trunk, const int* ports, int count ) {
   if ( const Rc rc = check( trunk ) ) {
      return rc;
   }
   if ( count < 0 || ( count > 0 && ports == nullptr ) ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   if ( static_cast< size_t >( count ) > maxMembers_ ) {
      return Sdk::QX_BCM_E_FULL();
   }
   PortMask seen;
   for ( int i = 0; i < count; ++i ) {
      if ( seen.test( ports[ i ] ) ) {
         return Sdk::QX_BCM_E_PARAM();
      }
      seen.set( ports[ i ] );
      if ( trunkOf( ports[ i ] ) >= 0 && trunkOf( ports[ i ] ) != trunk ) {
         return Sdk::QX_BCM_E_EXISTS();
      }
   }
   trunks_[ static_cast< size_t >( trunk ) ].members.assign( ports, ports + count );
   update();
   return Sdk::QX_BCM_E_NONE();
}

void TrunkTable::update() {
   trunkOf_.fill( -1 );
   memberPorts_ = PortMask{};
   populated_.clear();
   for ( int trunk : trunks() ) {
      for ( int port : members( trunk ) ) {
         trunkOf_[ static_cast< size_t >( port ) ] = trunk;
         memberPorts_.set( port );
      }
      if ( !members( trunk ).empty() ) {
         populated_.push_back( trunk );
      }
   }
}

const std::vector< int >& TrunkTable::members( int trunk ) const {
   return trunks_[ static_cast< size_t >( trunk ) ].members;
}

std::vector< int > TrunkTable::trunks() const {
   std::vector< int > ids;
   for ( size_t trunk = 0; trunk < trunks_.size(); ++trunk ) {
      if ( trunks_[ trunk ].exists ) {
         ids.push_back( static_cast< int >( trunk ) );
      }
   }
   return ids;
}

int TrunkTable::pick( int trunk, const PortMask& eligible, uint32_t hash ) const {
   const std::vector< int >& ports = members( trunk );
   const auto canSend = [ &eligible ]( int port ) { return eligible.test( port ); };
   const auto count = static_cast< uint64_t >( std::ranges::count_if( ports, canSend ) );
   if ( count == 0 ) {
      return -1;
   }
   // The high bits of hash * count: as even as a remainder, without the division.
   uint64_t skip = ( hash * count ) >> 32;
   for ( int port : ports ) {
      if ( canSend( port ) && skip-- == 0 ) {
         return port;
      }
   }
   return -1;
}

} // namespace ChipModel
