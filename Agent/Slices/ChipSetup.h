#pragma once

// Forwarding: brings one chip's ports, VLANs, link aggregations and addresses from what was
// configured before to what is configured now, by the SDK calls that the difference needs.

#include <map>
#include <set>
#include <string>
#include <vector>

#include "Agent/Configuration/Configuration.h"
#include "Agent/Slices/PortStates.h"
#include "Platform/Shim/SdkTypes.h"

namespace Agent {

class ChipSetup {
 public:
   explicit ChipSetup( int unit ) : unit_( unit ) {}

   // Makes the difference. What the chip refuses is told in one line each ("port Ethernet4
   // could not be enabled: ..."), and tried again at the next change.
   std::vector< std::string > configurationIs(
         const Configuration& configuration, const PortStates& states );

 private:
   struct Port {
      bool enabled = false;
      uint16_t untaggedVlan = 0;
      bool operator==( const Port& ) const = default;
   };
   struct Vlan {
      Shim::PortBitmap members;
      Shim::PortBitmap untagged;
      bool operator==( const Vlan& ) const = default;
   };
   struct Address {
      bool isTrunk = false;
      int destination = 0;
      bool isStatic = true;
      bool operator==( const Address& ) const = default;
   };
   using AddressKey = std::pair< uint16_t, Plix::EthAddr >;
   struct Wanted {
      std::map< int, Port > ports;
      std::map< int, std::vector< int > > trunks;
      std::map< uint16_t, Vlan > vlans;
      std::map< AddressKey, Address > addresses;
   };

   Wanted wantedOf( const Configuration& configuration, const PortStates& states ) const;
   void addInterface( const Configuration& configuration, const VlanMemberConfig& member,
         uint16_t vid, Wanted& wanted ) const;
   void takeAway( const Wanted& wanted );
   void putIn( const Wanted& wanted );
   void trunkIs( int trunk, const std::vector< int >& members );
   void vlanIs( uint16_t vid, const Vlan& vlan );
   // True if the call was done; else notes what could not be done.
   bool done( Shim::Rc rc, const std::string& what );

   int unit_;
   Wanted present_; // what the chip took
   std::vector< std::string > problems_;
};

} // namespace Agent
