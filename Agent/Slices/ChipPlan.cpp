#include "Agent/Slices/ChipPlan.h"

namespace Agent {

namespace {

void addMember( const Configuration& configuration, const VlanMemberConfig& member,
      uint16_t vid, ChipPlan& plan ) {
   std::vector< std::string > names{ member.interface };
   const auto channel = configuration.portChannels.find( member.interface );
   if ( channel != configuration.portChannels.end() ) {
      names = channel->second.members;
      plan.vlans[ vid ].trunks.insert( channel->second.trunk );
   }
   for ( const std::string& name : names ) {
      const int port = configuration.ports.at( name ).chipPort;
      plan.vlans[ vid ].members.set( static_cast< size_t >( port ) );
      if ( !member.tagged ) {
         plan.vlans[ vid ].untagged.set( static_cast< size_t >( port ) );
         plan.ports[ port ].untaggedVlan = vid;
      }
   }
}

} // namespace

ChipPlan chipPlan( const Configuration& configuration, const PortStates& states, int unit ) {
   ChipPlan plan;
   for ( const auto& [ name, port ] : configuration.ports ) {
      if ( port.unit == unit ) {
         const PortChannelConfig* channel = configuration.channelOf( name );
         plan.ports[ port.chipPort ] = { name,
            states.isUp( configuration, name ) &&
                  ( !channel || states.isUp( configuration, channel->name ) ),
            0 };
      }
   }
   for ( const auto& [ name, channel ] : configuration.portChannels ) {
      if ( channel.unit == unit ) {
         ChipPlan::Trunk& trunk = plan.trunks[ channel.trunk ];
         trunk.name = name;
         for ( const std::string& member : channel.members ) {
            trunk.members.push_back( configuration.ports.at( member ).chipPort );
         }
      }
   }
   for ( const auto& [ vid, vlan ] : configuration.vlans ) {
      plan.vlans[ vid ];
      for ( const VlanMemberConfig& member : vlan.members ) {
         if ( configuration.unitOf( member.interface ) == unit ) {
            addMember( configuration, member, vid, plan );
         }
      }
   }
   for ( const auto& [ key, fdb ] : configuration.fdb ) {
      if ( configuration.unitOf( fdb.interface ) != unit ) {
         continue;
      }
      const auto channel = configuration.portChannels.find( fdb.interface );
      const bool isTrunk = channel != configuration.portChannels.end();
      plan.addresses[ key ] = { isTrunk,
         isTrunk ? channel->second.trunk : configuration.ports.at( fdb.interface ).chipPort,
         fdb.isStatic };
   }
   return plan;
}

} // namespace Agent
