#include "Agent/Slices/ForwardingWriter.h"

#include <algorithm>

namespace Agent {

using Shim::Sdk;
using Kind = ChipSubject::Kind;

namespace {

Duolog::Handle trace( "ForwardingWriter" );

// Works on each value of a map, and drops those for which it answers true.
template < typename Map, typename Work >
void reviewEach( Map& map, Work work ) {
   for ( auto at = map.begin(); at != map.end(); ) {
      at = work( at->first, at->second ) ? map.erase( at ) : std::next( at );
   }
}

std::string vlanName( uint16_t vid ) { return "VLAN " + std::to_string( vid ); }

} // namespace

void ForwardingWriter::planIs( const ChipPlan& plan ) {
   removeAddresses( plan );
   restrictPorts( plan );
   removeVlans( plan );
   shrinkTrunks( plan );
   growTrunks( plan );
   for ( const auto& [ vid, vlan ] : plan.vlans ) {
      vlanIs( vid, vlan );
   }
   forgetLearned();
   openPorts( plan );
   addAddresses( plan );
}

// --- Addresses ------------------------------------------------------------------------------

void ForwardingWriter::removeAddresses( const ChipPlan& plan ) {
   std::erase_if( addresses_, [ & ]( const auto& written ) {
      const auto& [ key, address ] = written;
      const auto at = plan.addresses.find( key );
      if ( at != plan.addresses.end() && at->second == address ) {
         return false;
      }
      const auto& [ vid, mac ] = key;
      // One that is not static may have moved or gone.
      return refusals_.took( { Kind::address, vid, mac },
            "address " + mac.toString() + " could not be deleted",
            KARVEL_SDK_OUTCOME( trace, bcm_l2_addr_delete, ( unit_, mac, vid ) ),
            Sdk::QX_BCM_E_NOT_FOUND() );
   } );
}

void ForwardingWriter::addAddresses( const ChipPlan& plan ) {
   for ( const auto& [ key, address ] : plan.addresses ) {
      if ( addresses_.contains( key ) ) {
         continue;
      }
      const auto& [ vid, mac ] = key;
      const Shim::L2Addr entry{ mac, vid, address.isTrunk, address.destination,
         address.isStatic };
      const bool isDone = refusals_.took( { Kind::address, vid, mac },
            "address " + mac.toString() + " could not be added",
            KARVEL_SDK_OUTCOME( trace, bcm_l2_addr_add, ( unit_, entry ) ) );
      addresses_[ key ] = isDone ? std::optional( address ) : std::nullopt;
   }
}

// Where a port or trunk has left a VLAN.
void ForwardingWriter::forgetLearned() {
   std::erase_if( stale_, [ & ]( const Learned& learned ) {
      const auto [ vid, isTrunk, number ] = learned;
      if ( !vlans_.contains( vid ) ) {
         return true; // destroying it has forgotten them
      }
      return refusals_.took( { Kind::address, vid },
            vlanName( vid ) + ": learned addresses could not be deleted",
            isTrunk ? KARVEL_SDK_OUTCOME(
                            trace, bcm_l2_addr_delete_by_vlan_trunk, ( unit_, vid, number ) )
                    : KARVEL_SDK_OUTCOME(
                            trace, bcm_l2_addr_delete_by_vlan_port, ( unit_, vid, number ) ),
            Sdk::QX_BCM_E_NOT_FOUND() );
   } );
}

// --- Ports ----------------------------------------------------------------------------------

void ForwardingWriter::restrictPorts( const ChipPlan& plan ) {
   reviewEach( ports_, [ & ]( int number, Port& port ) {
      const auto at = plan.ports.find( number );
      const ChipPlan::Port wanted = at == plan.ports.end() ? ChipPlan::Port() : at->second;
      if ( !wanted.enabled && port.enabled != false ) {
         portIsEnabled( number, port, false );
      }
      if ( port.untaggedVlan != wanted.untaggedVlan && port.untaggedVlan != 0 ) {
         portVlanIs( number, port, 0 );
      }
      return at == plan.ports.end() && port.enabled == false && port.untaggedVlan == 0;
   } );
}

void ForwardingWriter::openPorts( const ChipPlan& plan ) {
   for ( const auto& [ number, wanted ] : plan.ports ) {
      Port& port = ports_[ number ];
      port.name = wanted.name;
      if ( port.untaggedVlan != wanted.untaggedVlan ) {
         portVlanIs( number, port, wanted.untaggedVlan );
      }
      if ( wanted.enabled && port.enabled != true ) {
         portIsEnabled( number, port, true );
      }
   }
}

void ForwardingWriter::portIsEnabled( int number, Port& port, bool isEnabled ) {
   const bool isDone = refusals_.took( { Kind::port, number },
         port.name + " could not be " + ( isEnabled ? "enabled" : "disabled" ),
         KARVEL_SDK_OUTCOME( trace, bcm_port_enable_set, ( unit_, number, isEnabled ) ) );
   port.enabled = isDone ? std::optional( isEnabled ) : std::nullopt;
}

void ForwardingWriter::portVlanIs( int number, Port& port, uint16_t vid ) {
   const bool isDone = refusals_.took( { Kind::port, number },
         port.name + "'s untagged VLAN could not be " + ( vid ? "set" : "cleared" ),
         KARVEL_SDK_OUTCOME( trace, bcm_port_untagged_vlan_set, ( unit_, number, vid ) ) );
   port.untaggedVlan = isDone ? std::optional( vid ) : std::nullopt;
}

// --- Trunks ---------------------------------------------------------------------------------

// A port leaves its trunk before another takes it.
void ForwardingWriter::shrinkTrunks( const ChipPlan& plan ) {
   reviewEach( trunks_, [ & ]( int number, Trunk& trunk ) {
      const auto at = plan.trunks.find( number );
      if ( at == plan.trunks.end() ) {
         trunk.isCertain =
               refusals_.took( { Kind::trunk, number }, trunk.name + " could not be removed",
                     KARVEL_SDK_OUTCOME( trace, bcm_trunk_destroy, ( unit_, number ) ),
                     Sdk::QX_BCM_E_NOT_FOUND() );
         return trunk.isCertain;
      }
      std::vector< int > staying;
      std::ranges::copy_if( trunk.members, std::back_inserter( staying ), [ & ]( int port ) {
         return std::ranges::find( at->second.members, port ) != at->second.members.end();
      } );
      if ( staying != trunk.members ) {
         trunkIs( number, trunk, staying );
      }
      return false;
   } );
}

void ForwardingWriter::growTrunks( const ChipPlan& plan ) {
   for ( const auto& [ number, wanted ] : plan.trunks ) {
      const auto [ at, isNew ] = trunks_.try_emplace( number );
      Trunk& trunk = at->second;
      trunk.name = wanted.name;
      if ( isNew || !trunk.isCertain ) {
         // Of one that is there already the members are not known.
         trunk.isCertain = false;
         if ( !refusals_.took( { Kind::trunk, number }, trunk.name + " could not be made",
                    KARVEL_SDK_OUTCOME( trace, bcm_trunk_create, ( unit_, number ) ),
                    Sdk::QX_BCM_E_EXISTS() ) ) {
            continue;
         }
      }
      if ( isNew && wanted.members.empty() ) {
         trunk.isCertain = true;
      } else if ( !trunk.isCertain || trunk.members != wanted.members ) {
         trunkIs( number, trunk, wanted.members );
      }
   }
}

void ForwardingWriter::trunkIs( int number, Trunk& trunk, const std::vector< int >& members ) {
   const int* ports = members.data();
   const int count = static_cast< int >( members.size() );
   trunk.isCertain = refusals_.took( { Kind::trunk, number },
         "members of " + trunk.name + " could not be set",
         KARVEL_SDK_OUTCOME( trace, bcm_trunk_members_set, ( unit_, number, ports, count ) ) );
   if ( trunk.isCertain ) {
      trunk.members = members;
   }
}

// --- VLANs ----------------------------------------------------------------------------------

void ForwardingWriter::removeVlans( const ChipPlan& plan ) {
   reviewEach( vlans_, [ & ]( uint16_t vid, Vlan& vlan ) {
      if ( plan.vlans.contains( vid ) ) {
         return false;
      }
      vlan.isCertain =
            refusals_.took( { Kind::vlan, vid }, vlanName( vid ) + " could not be removed",
                  KARVEL_SDK_OUTCOME( trace, bcm_vlan_destroy, ( unit_, vid ) ),
                  Sdk::QX_BCM_E_NOT_FOUND() );
      return vlan.isCertain;
   } );
}

void ForwardingWriter::vlanIs( uint16_t vid, const ChipPlan::Vlan& wanted ) {
   if ( !vlanExists( vid ) ) {
      return;
   }
   Vlan& vlan = vlans_.at( vid );
   if ( !removeFromVlan( vid, vlan, wanted ) ) {
      vlan.isCertain = false;
      return;
   }
   if ( !vlan.isCertain || vlan.held.members != wanted.members ||
         vlan.held.untagged != wanted.untagged ) {
      vlan.isCertain =
            refusals_.took( { Kind::vlan, vid }, vlanName( vid ) + ": ports could not be added",
                  KARVEL_SDK_OUTCOME( trace, bcm_vlan_port_add,
                        ( unit_, vid, wanted.members, wanted.untagged ) ) );
      vlan.held.members |= wanted.members;
      vlan.held.untagged = wanted.untagged;
   }
   vlan.held.trunks = wanted.trunks;
}

bool ForwardingWriter::vlanExists( uint16_t vid ) {
   const auto [ at, isNew ] = vlans_.try_emplace( vid );
   if ( !isNew && at->second.isCertain ) {
      return true;
   }
   const bool exists = refusals_.took( { Kind::vlan, vid },
         vlanName( vid ) + " could not be made",
         KARVEL_SDK_OUTCOME( trace, bcm_vlan_create, ( unit_, vid ) ), Sdk::QX_BCM_E_EXISTS() );
   at->second.isCertain = isNew && exists;
   return exists;
}

// Ports that may not be there are removed one by one: the chip refuses a set with such a port.
bool ForwardingWriter::removeFromVlan(
      uint16_t vid, Vlan& vlan, const ChipPlan::Vlan& wanted ) {
   for ( int trunk : vlan.held.trunks ) {
      if ( !wanted.trunks.contains( trunk ) ) {
         stale_.insert( { vid, true, trunk } );
      }
   }
   const Shim::PortBitmap leaving = vlan.held.members & ~wanted.members;
   std::vector< Shim::PortBitmap > sets;
   for ( size_t port = 0; port < leaving.size() && leaving.any(); ++port ) {
      if ( leaving[ port ] ) {
         stale_.insert( { vid, false, static_cast< int >( port ) } );
         sets.push_back( Shim::PortBitmap().set( port ) );
      }
   }
   if ( vlan.isCertain && leaving.any() ) {
      sets = { leaving };
   }
   for ( const Shim::PortBitmap& ports : sets ) {
      if ( !refusals_.took( { Kind::vlan, vid },
                 vlanName( vid ) + ": ports could not be removed",
                 KARVEL_SDK_OUTCOME( trace, bcm_vlan_port_remove, ( unit_, vid, ports ) ),
                 vlan.isCertain ? Sdk::QX_BCM_E_NONE() : Sdk::QX_BCM_E_NOT_FOUND() ) ) {
         return false;
      }
      vlan.held.members &= ~ports;
   }
   return true;
}

} // namespace Agent
