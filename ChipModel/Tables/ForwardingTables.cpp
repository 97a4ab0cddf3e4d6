#include "ChipModel/Tables/ForwardingTables.h"

#include <vector>

#include "ChipModel/Profile.h"

namespace ChipModel {

using Shim::Rc;
using Shim::Sdk;

namespace {

L2Destination onPort( int port ) { return { false, static_cast< int16_t >( port ) }; }
L2Destination onTrunk( int trunk ) { return { true, static_cast< int16_t >( trunk ) }; }

} // namespace

ForwardingTables::ForwardingTables( const Profile& chip, const SwitchContext& shared )
      : profile( chip ), context( shared ), ports( chip ), trunks( chip ),
        l2( chip.l2Addresses ), mirrors( chip.mirrorDestinations ), controls( chip, shared ),
        memories( chip, shared ), logical( chip, shared ) {}

Rc ForwardingTables::checkPlace( bool isTrunk, int id ) const {
   if ( isTrunk ) {
      return trunks.has( id ) ? Sdk::QX_BCM_E_NONE() : Sdk::QX_BCM_E_NOT_FOUND();
   }
   return ports.has( id ) ? Sdk::QX_BCM_E_NONE() : Sdk::QX_BCM_E_PORT();
}

Rc ForwardingTables::portEnableSet( int port, bool enable ) {
   const Rc rc = ports.enableSet( port, enable );
   if ( rc == Sdk::QX_BCM_E_NONE() && !enable ) {
      l2.forget( onPort( port ) );
   }
   return rc;
}

Rc ForwardingTables::vlanDestroy( uint16_t vid ) {
   const Rc rc = vlans.destroy( vid );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      l2.forget( vid );
   }
   return rc;
}

Rc ForwardingTables::vlanPortAdd(
      uint16_t vid, const Shim::PortBitmap& members, const Shim::PortBitmap& untagged ) {
   if ( !ports.hasAll( members | untagged ) ) {
      return Sdk::QX_BCM_E_PORT();
   }
   return vlans.portAdd( vid, members, untagged );
}

Rc ForwardingTables::vlanPortRemove( uint16_t vid, const Shim::PortBitmap& members ) {
   if ( !ports.hasAll( members ) ) {
      return Sdk::QX_BCM_E_PORT();
   }
   return vlans.portRemove( vid, members );
}

Rc ForwardingTables::trunkDestroy( int trunk ) {
   const Rc rc = trunks.destroy( trunk );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      l2.forget( onTrunk( trunk ) );
   }
   return rc;
}

Rc ForwardingTables::trunkMembersSet( int trunk, const int* members, int count ) {
   std::vector< int > joining;
   for ( int i = 0; members != nullptr && i < count; ++i ) {
      // The CPU is no link to aggregate.
      if ( !ports.has( members[ i ] ) || members[ i ] == 0 ) {
         return Sdk::QX_BCM_E_PORT();
      }
      if ( trunks.trunkOf( members[ i ] ) != trunk ) {
         joining.push_back( members[ i ] );
      }
   }
   const Rc rc = trunks.membersSet( trunk, members, count );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      for ( int port : joining ) {
         l2.forget( onPort( port ) );
      }
      if ( count == 0 ) {
         l2.forget( onTrunk( trunk ) );
      }
   }
   return rc;
}

Rc ForwardingTables::l2AddrAdd( const Shim::L2Addr& address ) {
   if ( !VlanTable::isVid( address.vid ) || address.mac.isMulticast() ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   if ( const Rc rc = checkPlace( address.isTrunk, address.destination ) ) {
      return rc;
   }
   return l2.add( address );
}

Rc ForwardingTables::l2AddrDelete( const Plix::EthAddr& mac, uint16_t vid ) {
   if ( !VlanTable::isVid( vid ) ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   return l2.remove( mac, vid );
}

Rc ForwardingTables::l2AddrForget( uint16_t vid, L2Destination place ) {
   if ( !VlanTable::isVid( vid ) ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   const Rc rc = checkPlace( place.isTrunk, place.id );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      l2.forget( vid, place );
   }
   return rc;
}

Rc ForwardingTables::mirrorDestinationSet(
      int destination, const Shim::MirrorDestination& value ) {
   if ( !mirrors.has( destination ) ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   if ( const Rc rc =
               checkPlace( value.kind == Shim::MirrorDestination::Kind::trunk, value.id ) ) {
      return rc;
   }
   const bool hasKey = value.tunnel && value.tunnel->greKey;
   if ( hasKey && profile.greKeys == GreKeys::none ) {
      return Sdk::QX_BCM_E_UNAVAIL();
   }
   const Rc rc = mirrors.set( destination, value );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      encapsulationKeyIs( destination, hasKey ? *value.tunnel->greKey : 0 );
   }
   return rc;
}

Rc ForwardingTables::mirrorDestinationDestroy( int destination ) {
   const Rc rc = mirrors.destroy( destination );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      encapsulationKeyIs( destination, 0 );
   }
   return rc;
}

void ForwardingTables::encapsulationKeyIs( int destination, uint32_t key ) {
   const FieldPlace place{ Shim::EGR_MIRROR_ENCAP_DATAm, destination, Shim::GRE_KEYf };
   if ( greEditor( profile.greKeys ) != nullptr && memories.value( place ) != key ) {
      memories.valueIs( place, key );
   }
}

} // namespace ChipModel
