#include "Agent/Slices/PortStates.h"

#include <algorithm>

namespace Agent {

namespace {

std::optional< std::string > whyChannelDown( const PortStates& states,
      const Configuration& configuration, const PortChannelConfig& channel ) {
   if ( !channel.adminUp ) {
      return channel.name + " is down by its administrator";
   }
   if ( channel.members.empty() ) {
      return channel.name + " has no members";
   }
   const auto up = std::ranges::count_if( channel.members,
         [ & ]( const std::string& port ) { return states.isUp( configuration, port ); } );
   if ( up == 0 ) {
      return "all members of " + channel.name + " are down";
   }
   if ( up < channel.minLinks ) {
      return channel.name + " has " + std::to_string( up ) +
            ( up == 1 ? " member" : " members" ) + " up, fewer than its min_links " +
            std::to_string( channel.minLinks );
   }
   return {};
}

} // namespace

std::optional< std::string > PortStates::whyDown(
      const Configuration& configuration, const std::string& interface ) const {
   const auto channel = configuration.portChannels.find( interface );
   if ( channel != configuration.portChannels.end() ) {
      return whyChannelDown( *this, configuration, channel->second );
   }
   const auto port = configuration.ports.find( interface );
   if ( port == configuration.ports.end() ) {
      return "there is no " + interface;
   }
   if ( !port->second.adminUp ) {
      return interface + " is down by its administrator";
   }
   return down.contains( interface ) ? std::optional( "link of " + interface + " is down" )
                                     : std::nullopt;
}

void PortStates::configurationIs( const Configuration& configuration ) {
   std::erase_if( down,
         [ & ]( const std::string& port ) { return !configuration.ports.contains( port ); } );
}

} // namespace Agent
