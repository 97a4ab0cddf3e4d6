#pragma once

// The last stage of a chip: all that leaves passes here, forwarded frames and mirror copies.
//
//    copy: find its destination's port -> put it into its tunnel -> egress lookup -> police
//          -> insert a source tag -> send
//
// A frame leaves by the CoS queue of its priority; a copy by the one that its destination names,
// else by that of the switch controls, else by the frame's.
//
// The lookup sees a frame as it leaves: of a tunnelled copy the outer headers, of any other the
// frame's own; its VLAN is that of its outermost tag. Every group answers with one match, and all
// of them apply: each policer weighs the frame, and what one of them finds red, for an entry that
// drops red, is not sent; of a source tag's fields each is taken from the first group that has it.
// A source tag comes after the lookup: it counts in what is counted as sent, and is not weighed.
// A frame that ends before the tag's offset, or would become too long with it, is not sent.
//
// A frame that is dropped here yields no egress copy. An egress copy does not carry the source tag
// of its original. The lookup is skipped while no entry is installed; for forwarded frames also
// while every entry matches mirror copies only. No allocation.

#include <array>
#include <cstdint>

#include "ChipModel/Egress/EgressEditor.h"
#include "ChipModel/Egress/Encapsulator.h"
#include "ChipModel/Fields/FieldProcessor.h"
#include "ChipModel/Lookup/LookupKey.h"
#include "ChipModel/Packets/FlowHash.h"
#include "ChipModel/Packets/Frame.h"
#include "ChipModel/Packets/Parser.h"
#include "ChipModel/PipelineObserver.h"
#include "ChipModel/Tables/Counters.h"
#include "ChipModel/Tables/ForwardingTables.h"

namespace ChipModel {

using PortCounterTable = std::array< PortCounters, Shim::maxPorts >; // by port

class EgressStage {
 public:
   // References must outlive this.
   EgressStage( int unit, ForwardingTables& tables, FieldProcessor& fields,
         PortCounterTable& counters );
   EgressStage( const EgressStage& ) = delete;
   EgressStage& operator=( const EgressStage& ) = delete;

   void sinkIs( FrameSink* sink ) { sink_ = sink; }
   void observerIs( PipelineObserver* observer ) { observer_ = observer; }

   // Starts a frame. Everything sent until the next call belongs to it. Its ingress key may have
   // the headers or not. Both must stay until then.
   void frameIs(
         const ParsedFrame& parsed, const LookupKey& key, bool keyHasHeaders, bool flooded );

   // A forwarded frame leaves by its port. False if it does not.
   bool forward( SentFrame& frame );
   // A copy for each destination, a bit each.
   void mirror( uint32_t destinations, SentFrame copy, LazyFlowHash& hash );

 private:
   // What the matches of a lookup want.
   struct Verdict {
      Outcome outcome;
      uint32_t tagFields = 0; // a bit per action
      SourceTag tag;

      bool isSent() const { return outcome.kind == Outcome::Kind::sent; }
      bool isTagged() const;
   };

   Outcome send( MirrorTable::Entry& destination, SentFrame& copy );
   // The port by which copies for a destination leave; -1: none.
   int mirrorPort( const Shim::MirrorDestination& destination, LazyFlowHash& hash ) const;
   // The headers of a frame that leaves without a tunnel.
   LookupKey& keyOf( const SentFrame& frame );
   Verdict lookUp( const SentFrame& frame, LookupKey& key );
   static void apply( const Match& match, Color color, Verdict& verdict );
   static void takeTagField( const ActionValue& action, Verdict& verdict );
   void sent( const SentFrame& frame );
   void ended( const SentFrame& frame, const Outcome& outcome ) {
      if ( observer_ != nullptr ) {
         observer_->ended( frame, outcome );
      }
   }

   int unit_;
   ForwardingTables& tables_;
   FieldProcessor& fields_;
   PortCounterTable& counters_;
   EgressEditor editor_;
   Encapsulator encapsulator_;
   uint16_t identification_ = 0; // of the next IPv4 tunnel packet
   FrameSink* sink_ = nullptr;
   PipelineObserver* observer_ = nullptr;

   // The frame in hand, and, once something of it has been looked up, its key: of the form of it
   // (as received, tagged, untagged) that begins at formData_.
   const ParsedFrame* parsed_ = nullptr;
   uint8_t frameQueue_ = 0; // by its priority (IEEE 802.1Q)
   uint8_t copyQueue_ = 0;  // of copies whose destination names none
   const LookupKey* ingressKey_ = nullptr;
   bool ingressKeyHasHeaders_ = false;
   bool keyHasHeaders_ = false;
   uint16_t etherType_ = 0; // that the key's headers begin with, and the bytes behind it
   uint32_t payload_ = 0;
   bool hasForm_ = false;
   const uint8_t* formData_ = nullptr;
   LookupKey key_;
};

} // namespace ChipModel
