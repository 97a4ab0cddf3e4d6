#pragma once

// VLAN-aware forwarding (IEEE 802.1Q): which VLAN a frame is in, what is learned from it,
// where it goes, or why it goes nowhere.

#include <cstdint>

#include "ChipModel/Packets/FlowHash.h"
#include "ChipModel/Packets/Parser.h"
#include "ChipModel/Tables/Counters.h"
#include "ChipModel/Tables/ForwardingTables.h"
#include "ChipModel/Tables/PortMask.h"

namespace ChipModel {

// All that is decided about one frame.
struct Decision {
   int ingressPort = 0;
   uint16_t vid = 0; // the VLAN it is classified in, whether that exists or not; 0: none
   DropReason drop = DropReason::none;
   bool flooded = false; // the destination is a group, or not known
   PortMask egress;      // the ports that send it; of a trunk the one chosen by hash
};

class Forwarder {
 public:
   // `tables` must outlive this.
   explicit Forwarder( ForwardingTables& tables ) : tables_( tables ) {}

   // The VLAN of a frame received at a port: that of its tag, else the port's VLAN for
   // untagged frames. 0: none, or not to be known.
   uint16_t classify( int port, const ParsedFrame& frame ) const;

   // Decides, for a frame received on an enabled port and classified in `vid`.
   Decision decide( int port, const ParsedFrame& frame, uint16_t vid, LazyFlowHash& hash );

 private:
   DropReason ingressCheck( int port, const ParsedFrame& frame, uint16_t vid ) const;
   void flood( Decision& decision, const PortMask& eligible, LazyFlowHash& hash ) const;
   void direct( Decision& decision, L2Destination destination, const PortMask& eligible,
         LazyFlowHash& hash ) const;

   ForwardingTables& tables_;
};

} // namespace ChipModel
