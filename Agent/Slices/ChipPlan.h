#pragma once

// What the configuration and the links want of one chip's forwarding: its ports, link
// aggregations, VLANs and addresses, by the chip's numbers.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Agent/Configuration/Configuration.h"
#include "Agent/Slices/PortStates.h"
#include "Platform/Shim/SdkTypes.h"

namespace Agent {

struct ChipPlan {
   struct Port {
      std::string name; // "Ethernet4"
      bool enabled = false;
      uint16_t untaggedVlan = 0; // 0: none
   };
   struct Trunk {
      std::string name; // "PortChannel1"
      std::vector< int > members;
   };
   // A port channel is in a VLAN by its members; addresses are learned on the trunk.
   struct Vlan {
      Shim::PortBitmap members;
      Shim::PortBitmap untagged;
      std::set< int > trunks;
      bool operator==( const Vlan& ) const = default;
   };
   struct Address {
      bool isTrunk = false;
      int destination = 0;
      bool isStatic = true;
      bool operator==( const Address& ) const = default;
   };
   using AddressKey = std::pair< uint16_t, Plix::EthAddr >;

   std::map< int, Port > ports;
   std::map< int, Trunk > trunks;
   std::map< uint16_t, Vlan > vlans;
   std::map< AddressKey, Address > addresses;
};

ChipPlan chipPlan( const Configuration& configuration, const PortStates& states, int unit );

} // namespace Agent
