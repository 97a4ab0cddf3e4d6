#pragma once

#include <optional>
#include <set>
#include <string>

#include "Agent/Configuration/Configuration.h"

namespace Agent {

// Which links are down, whatever the configuration says of their ports.
struct PortStates {
   std::set< std::string > down;

   // Why copies cannot leave by a port or port channel, and no traffic arrives at it: "link of
   // Ethernet4 is down", "Ethernet4 is down by its administrator", "PortChannel1 has no members",
   // "all members of PortChannel1 are down", "PortChannel1 has 1 member up, fewer than its
   // min_links 2". None if they can.
   std::optional< std::string > whyDown(
         const Configuration& configuration, const std::string& interface ) const;
   bool isUp( const Configuration& configuration, const std::string& interface ) const {
      return !whyDown( configuration, interface );
   }
   // Links of ports that are no longer configured are forgotten.
   void configurationIs( const Configuration& configuration );
};

} // namespace Agent
