#pragma once

#include <set>
#include <string>

#include "Agent/Configuration/Configuration.h"

namespace Agent {

// Which links are down, whatever the configuration says of their ports.
struct PortStates {
   std::set< std::string > down;

   // Whether frames can leave by the port: it is there, and neither its administrator nor its
   // link says down.
   bool isUp( const Configuration& configuration, const std::string& port ) const {
      const auto at = configuration.ports.find( port );
      return at != configuration.ports.end() && at->second.adminUp && !down.contains( port );
   }
};

} // namespace Agent
