#pragma once

// Forwarding: brings one chip's ports, link aggregations, VLANs and addresses from what has been
// written to what is planned, by the SDK calls that the difference needs; users before what they
// use when taking away, after it when putting in.
//
// A call that is refused may have been done all the same. Until the next one succeeds, both are
// reckoned with: what was asked for is asked for again, and what may be there is taken away.

#include <optional>
#include <tuple>

#include "Agent/Slices/ChipPlan.h"
#include "Agent/Slices/Refusals.h"

namespace Agent {

class ForwardingWriter {
 public:
   // The refusals outlive this.
   ForwardingWriter( int unit, Refusals& refusals ) : unit_( unit ), refusals_( refusals ) {}

   // Makes the difference; what was refused before is tried again.
   void planIs( const ChipPlan& plan );

 private:
   struct Port {
      std::string name;
      std::optional< bool > enabled = false; // none: the last write was refused
      std::optional< uint16_t > untaggedVlan = 0;
   };
   struct Trunk {
      std::string name;
      std::vector< int > members;
      bool isCertain = true; // the last write was done
   };
   struct Vlan {
      ChipPlan::Vlan held;   // all that may be there
      bool isCertain = true; // it is there
   };
   using Learned = std::tuple< uint16_t, bool, int >; // VLAN; trunk or port; its number

   void removeAddresses( const ChipPlan& plan );
   void restrictPorts( const ChipPlan& plan );
   void removeVlans( const ChipPlan& plan );
   void shrinkTrunks( const ChipPlan& plan );
   void growTrunks( const ChipPlan& plan );
   void openPorts( const ChipPlan& plan );
   void addAddresses( const ChipPlan& plan );
   void forgetLearned();

   void portIsEnabled( int number, Port& port, bool isEnabled );
   void portVlanIs( int number, Port& port, uint16_t vid );
   void trunkIs( int number, Trunk& trunk, const std::vector< int >& members );
   void vlanIs( uint16_t vid, const ChipPlan::Vlan& wanted );
   bool vlanExists( uint16_t vid );
   bool removeFromVlan( uint16_t vid, Vlan& vlan, const ChipPlan::Vlan& wanted );

   const int unit_;
   Refusals& refusals_;
   // What has been written, or may have been.
   std::map< int, Port > ports_;
   std::map< int, Trunk > trunks_;
   std::map< uint16_t, Vlan > vlans_;
   std::map< ChipPlan::AddressKey, std::optional< ChipPlan::Address > > addresses_;
   std::set< Learned > stale_; // where addresses were learned that are to be forgotten
};

} // namespace Agent
