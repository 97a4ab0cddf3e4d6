#include "Agent/Slices/ChipSetup.h"

#include <algorithm>

#include "Platform/Karvel/SdkCall.h"

namespace Agent {

namespace {

Duolog::Handle trace( "ChipSetup" );

} // namespace

std::vector< std::string > ChipSetup::configurationIs(
      const Configuration& configuration, const PortStates& states ) {
   problems_.clear();
   const Wanted wanted = wantedOf( configuration, states );
   takeAway( wanted );
   putIn( wanted );
   return problems_;
}

ChipSetup::Wanted ChipSetup::wantedOf(
      const Configuration& configuration, const PortStates& states ) const {
   Wanted wanted;
   for ( const auto& [ name, port ] : configuration.ports ) {
      if ( port.unit == unit_ ) {
         const PortChannelConfig* channel = configuration.channelOf( name );
         wanted.ports[ port.chipPort ].enabled =
               states.isUp( configuration, name ) && ( !channel || channel->adminUp );
      }
   }
   for ( const auto& [ name, channel ] : configuration.portChannels ) {
      if ( channel.unit == unit_ ) {
         std::vector< int >& members = wanted.trunks[ channel.trunk ];
         for ( const std::string& member : channel.members ) {
            members.push_back( configuration.ports.at( member ).chipPort );
         }
      }
   }
   for ( const auto& [ vid, vlan ] : configuration.vlans ) {
      wanted.vlans[ vid ];
      for ( const VlanMemberConfig& member : vlan.members ) {
         if ( configuration.unitOf( member.interface ) == unit_ ) {
            addInterface( configuration, member, vid, wanted );
         }
      }
   }
   for ( const auto& [ key, fdb ] : configuration.fdb ) {
      if ( configuration.unitOf( fdb.interface ) != unit_ ) {
         continue;
      }
      auto channel = configuration.portChannels.find( fdb.interface );
      const bool isTrunk = channel != configuration.portChannels.end();
      wanted.addresses[ key ] = { isTrunk,
         isTrunk ? channel->second.trunk : configuration.ports.at( fdb.interface ).chipPort,
         fdb.isStatic };
   }
   return wanted;
}

// A port channel is in a VLAN by its members.
void ChipSetup::addInterface( const Configuration& configuration,
      const VlanMemberConfig& member, uint16_t vid, Wanted& wanted ) const {
   std::vector< std::string > names{ member.interface };
   auto channel = configuration.portChannels.find( member.interface );
   if ( channel != configuration.portChannels.end() ) {
      names = channel->second.members;
   }
   for ( const std::string& name : names ) {
      const int port = configuration.ports.at( name ).chipPort;
      wanted.vlans[ vid ].members.set( static_cast< size_t >( port ) );
      if ( !member.tagged ) {
         wanted.vlans[ vid ].untagged.set( static_cast< size_t >( port ) );
         wanted.ports[ port ].untaggedVlan = vid;
      }
   }
}

// What is no longer wanted, users before what they use.
void ChipSetup::takeAway( const Wanted& wanted ) {
   std::erase_if( present_.addresses, [ & ]( const auto& present ) {
      const auto& [ key, address ] = present;
      auto at = wanted.addresses.find( key );
      if ( at != wanted.addresses.end() && at->second == address ) {
         return false;
      }
      Shim::Rc rc =
            KARVEL_SDK_CALL( trace, bcm_l2_addr_delete, ( unit_, key.second, key.first ) );
      // A learned address may have moved or gone.
      return rc == Shim::Sdk::QX_BCM_E_NOT_FOUND() ||
            done( rc, "address " + key.second.toString() + " could not be deleted" );
   } );
   for ( auto& [ number, port ] : present_.ports ) {
      auto at = wanted.ports.find( number );
      const bool keeps = at != wanted.ports.end();
      const std::string name = "port " + std::to_string( number );
      if ( port.enabled && !( keeps && at->second.enabled ) &&
            done( KARVEL_SDK_CALL( trace, bcm_port_enable_set, ( unit_, number, false ) ),
                  name + " could not be disabled" ) ) {
         port.enabled = false;
      }
      if ( port.untaggedVlan && !( keeps && at->second.untaggedVlan == port.untaggedVlan ) &&
            done( KARVEL_SDK_CALL(
                        trace, bcm_port_untagged_vlan_set, ( unit_, number, uint16_t( 0 ) ) ),
                  name + "'s untagged VLAN could not be cleared" ) ) {
         port.untaggedVlan = 0;
      }
   }
   std::erase_if( present_.vlans, [ & ]( const auto& present ) {
      return !wanted.vlans.contains( present.first ) &&
            done( KARVEL_SDK_CALL( trace, bcm_vlan_destroy, ( unit_, present.first ) ),
                  "VLAN " + std::to_string( present.first ) + " could not be removed" );
   } );
   for ( auto& [ trunk, members ] : present_.trunks ) {
      auto at = wanted.trunks.find( trunk );
      std::vector< int > staying;
      for ( int port : members ) {
         if ( at != wanted.trunks.end() &&
               std::find( at->second.begin(), at->second.end(), port ) != at->second.end() ) {
            staying.push_back( port );
         }
      }
      if ( staying != members ) {
         trunkIs( trunk, staying );
      }
   }
   std::erase_if( present_.trunks, [ & ]( const auto& present ) {
      return !wanted.trunks.contains( present.first ) &&
            done( KARVEL_SDK_CALL( trace, bcm_trunk_destroy, ( unit_, present.first ) ),
                  "trunk " + std::to_string( present.first ) + " could not be removed" );
   } );
}

void ChipSetup::putIn( const Wanted& wanted ) {
   for ( const auto& [ trunk, members ] : wanted.trunks ) {
      if ( !present_.trunks.contains( trunk ) &&
            done( KARVEL_SDK_CALL( trace, bcm_trunk_create, ( unit_, trunk ) ),
                  "trunk " + std::to_string( trunk ) + " could not be made" ) ) {
         present_.trunks[ trunk ];
      }
      auto at = present_.trunks.find( trunk );
      if ( at != present_.trunks.end() && at->second != members ) {
         trunkIs( trunk, members );
      }
   }
   for ( const auto& [ vid, vlan ] : wanted.vlans ) {
      vlanIs( vid, vlan );
   }
   for ( const auto& [ number, port ] : wanted.ports ) {
      Port& present = present_.ports[ number ];
      const std::string name = "port " + std::to_string( number );
      if ( port.untaggedVlan != present.untaggedVlan &&
            done( KARVEL_SDK_CALL( trace, bcm_port_untagged_vlan_set,
                        ( unit_, number, port.untaggedVlan ) ),
                  name + "'s untagged VLAN could not be set" ) ) {
         present.untaggedVlan = port.untaggedVlan;
      }
      if ( port.enabled && !present.enabled &&
            done( KARVEL_SDK_CALL( trace, bcm_port_enable_set, ( unit_, number, true ) ),
                  name + " could not be enabled" ) ) {
         present.enabled = true;
      }
   }
   for ( const auto& [ key, address ] : wanted.addresses ) {
      if ( present_.addresses.contains( key ) ) {
         continue;
      }
      const Shim::L2Addr entry{ key.second, key.first, address.isTrunk, address.destination,
         address.isStatic };
      if ( done( KARVEL_SDK_CALL( trace, bcm_l2_addr_add, ( unit_, entry ) ),
                 "address " + key.second.toString() + " could not be added" ) ) {
         present_.addresses[ key ] = address;
      }
   }
}

void ChipSetup::trunkIs( int trunk, const std::vector< int >& members ) {
   const int* ports = members.data();
   const int count = static_cast< int >( members.size() );
   if ( done( KARVEL_SDK_CALL( trace, bcm_trunk_members_set, ( unit_, trunk, ports, count ) ),
              "members of trunk " + std::to_string( trunk ) + " could not be set" ) ) {
      present_.trunks[ trunk ] = members;
   }
}

void ChipSetup::vlanIs( uint16_t vid, const Vlan& vlan ) {
   const std::string name = "VLAN " + std::to_string( vid );
   if ( !present_.vlans.contains( vid ) ) {
      if ( !done( KARVEL_SDK_CALL( trace, bcm_vlan_create, ( unit_, vid ) ),
                 name + " could not be made" ) ) {
         return;
      }
      present_.vlans[ vid ];
   }
   Vlan& present = present_.vlans[ vid ];
   const Shim::PortBitmap leaving = present.members & ~vlan.members;
   if ( leaving.any() &&
         done( KARVEL_SDK_CALL( trace, bcm_vlan_port_remove, ( unit_, vid, leaving ) ),
               name + ": ports could not be removed" ) ) {
      present.members &= ~leaving;
      present.untagged &= ~leaving;
   }
   if ( !( present == vlan ) &&
         done( KARVEL_SDK_CALL(
                     trace, bcm_vlan_port_add, ( unit_, vid, vlan.members, vlan.untagged ) ),
               name + ": ports could not be added" ) ) {
      present = vlan;
   }
}

bool ChipSetup::done( Shim::Rc rc, const std::string& what ) {
   if ( rc == Shim::Sdk::QX_BCM_E_NONE() ) {
      return true;
   }
   problems_.push_back(
         "chip " + std::to_string( unit_ ) + ": " + what + ": " + Shim::Sdk::bcm_errmsg( rc ) );
   return false;
}

} // namespace Agent
