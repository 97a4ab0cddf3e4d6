#pragma once

// The way of one frame through a chip:
//
//    receive -> parse -> classify (VLAN) -> forward (learn, find, drop)
//            -> ingress lookup: once for the frame, and once per destination in the groups
//               that ask for the destination
//            -> mirror copies of the frame as received
//            -> per egress port, in ascending order: tag, send, mirror copies as sent
//    whatever leaves passes the egress stage: see EgressStage.h
//
// All of a frame's matches apply, whatever their group. What one of them drops is not sent, not
// even to the other destinations of a flooded frame, but its copies as received are. A frame
// that forwarding drops is looked up and copied too (its key says drop), unless its port is
// disabled: then it never came in. A frame gives one copy per mirror destination as received,
// and one per mirror destination and egress port as sent. Copies are neither looked up at
// ingress nor copied again, and VLANs do not concern them.

#include <array>
#include <cstdint>
#include <vector>

#include "ChipModel/Egress/EgressStage.h"
#include "ChipModel/Egress/EgressTagger.h"
#include "ChipModel/Fields/FieldProcessor.h"
#include "ChipModel/Forwarder.h"
#include "ChipModel/Lookup/LookupKey.h"
#include "ChipModel/Packets/Frame.h"
#include "ChipModel/PipelineObserver.h"
#include "ChipModel/Tables/Counters.h"
#include "ChipModel/Tables/ForwardingTables.h"

namespace ChipModel {

class Pipeline {
 public:
   // `unit` is also the module id that destinations carry. References must outlive this.
   Pipeline( int unit, ForwardingTables& tables, FieldProcessor& fields );

   // Null: what leaves is counted and forgotten.
   void sinkIs( FrameSink* sink ) { egress_.sinkIs( sink ); }
   void observerIs( PipelineObserver* observer ) {
      observer_ = observer;
      egress_.observerIs( observer );
   }

   // One frame arrives at a port of this chip. Never allocates; whatever is in the frame,
   // it is forwarded or counted as dropped.
   void receive( int port, const FrameView& frame );

   const PortCounters& counters( int port ) const {
      return counters_[ static_cast< size_t >( port ) ];
   }
   // Matched actions that name another unit, or a destination number that the chip does not
   // have. Copies for a destination that is not set are counted as lost there.
   uint64_t strayCopies() const { return strayCopies_; }
   // Frames that entries copied to the CPU, once each.
   uint64_t cpuCopies() const { return cpuCopies_; }

 private:
   // What the matches of a lookup want: sets of mirror destinations, a bit each, whether the
   // frame is not to go on, and whether the CPU gets it.
   struct Mirrors {
      uint32_t ingress = 0;
      uint32_t egress = 0;
      bool drop = false;
      bool toCpu = false;

      void add( const Mirrors& other ) {
         ingress |= other.ingress;
         egress |= other.egress;
         drop |= other.drop;
         toCpu |= other.toCpu;
      }
   };
   // The frame in hand.
   struct Pass {
      FrameView frame;
      ParsedFrame parsed;
      Decision decision;
      LookupKey key;
      bool keyHasHeaders = false;
      Mirrors mirrors;      // what all of its copies have in common
      bool perCopy = false; // egress copies were looked up one by one
   };
   void fillKey( Pass& pass ) const;
   void setDestination( Pass& pass, int egressPort ) const;
   // Looks the frame up and fills its mirrors, and copyMirrors_ where they differ by copy.
   void lookUp( Pass& pass );
   Mirrors lookUp( const Pass& pass, FieldProcessor::GroupChoice choice, int egressPort );
   void apply( const Match& match, Mirrors& mirrors );
   void addDestination( uint32_t destination, uint32_t& set );
   bool isFirstCount( const Match& match );

   void transmit( Pass& pass, LazyFlowHash& hash );
   PortCounters& countersOf( int port ) { return counters_[ static_cast< size_t >( port ) ]; }

   int unit_;
   ForwardingTables& tables_;
   FieldProcessor& fields_;
   Forwarder forwarder_;
   EgressTagger tagger_;
   PipelineObserver* observer_ = nullptr;
   bool busy_ = false;
   PortCounterTable counters_{};
   EgressStage egress_;
   uint64_t strayCopies_ = 0;
   uint64_t cpuCopies_ = 0;
   // Of the frame in hand: per egress port what that copy adds to the mirrors of all
   // copies, and the entries that were counted while its copies were looked up.
   std::array< uint32_t, Shim::maxPorts > copyMirrors_{};
   std::vector< int > countedEntries_;
};

} // namespace ChipModel
