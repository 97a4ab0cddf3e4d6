#pragma once

// Callbacks for tools that explain what the chip did with each frame.

#include <cstdint>
#include <string_view>

#include "ChipModel/Fields/FieldProcessor.h"
#include "ChipModel/Forwarder.h"
#include "ChipModel/Lookup/LookupKey.h"
#include "ChipModel/Packets/Frame.h"

namespace ChipModel {

// What became of a frame that was to leave.
struct Outcome {
   enum class Kind : uint8_t {
      sent,
      notSet,   // copies: the mirror destination is not set
      noPort,   // copies: the destination's port, or all of its trunk's, cannot send
      tooLong,  // it does not fit into the tunnel's packet, or takes no source tag
      policed,  // an entry's policer finds it red
      filtered, // an entry drops it
   };
   Kind kind = Kind::sent;
   int entry = 0;        // policed or filtered: by this one, the first in the order of groups
   uint32_t policer = 0; // policed: by this one

   bool operator==( const Outcome& ) const = default;
};

// Short text for people: "mirror destination not set".
constexpr std::string_view outcomeName( Outcome::Kind kind ) {
   switch ( kind ) {
   case Outcome::Kind::sent:
      return "sent";
   case Outcome::Kind::notSet:
      return "mirror destination not set";
   case Outcome::Kind::noPort:
      return "no port to leave by";
   case Outcome::Kind::tooLong:
      return "too long";
   case Outcome::Kind::policed:
      return "policed";
   case Outcome::Kind::filtered:
      return "filtered";
   }
   return "unknown";
}

// Hears how each frame was decided, and what became of it. While one is set, headers are parsed
// and tunnels built also where no entry looks at them.
class PipelineObserver {
 public:
   virtual ~PipelineObserver() = default;
   // Before anything of the frame is sent, and before it is looked up.
   virtual void decided( int unit, const FrameView& frame, const Decision& decision ) = 0;
   // The frame decided last is looked up in these groups. `egressPort` is the port of the copy
   // that is looked up; -1 for the frame as a whole. The key is valid during the call only.
   virtual void lookedUp(
         const LookupKey& key, FieldProcessor::GroupChoice choice, int egressPort ) = 0;
   // An entry matches in the lookup said last.
   virtual void matched( const Match& match, int egressPort ) = 0;

   // A copy, before its source tag is inserted, or a forwarded frame is looked up at egress. Not
   // called while the egress stage has nothing to look up.
   virtual void lookedUpAtEgress( const SentFrame&, const LookupKey& ) {}
   // An entry matches in that lookup; green if it has no policer.
   virtual void matchedAtEgress( const Match&, Color ) {}
   // What became of a mirror copy, or of a forwarded frame that was looked up at egress; after it
   // was sent, if it was. The port of a copy that finds none is -1.
   virtual void ended( const SentFrame&, const Outcome& ) {}
};

} // namespace ChipModel
