#pragma once

// Frames as the members of their VLAN send them: with exactly the VLAN's tag, or without
// any (IEEE 802.1Q). Inner tags stay. A priority tag becomes the VLAN's tag and keeps its
// priority; a tag that is there already is kept as it is; a new one is a customer tag of
// priority 0.
//
// Each form is made at most once per frame, in a fixed buffer. Frames are not padded to the
// minimum of the wire.

#include <cstdint>
#include <memory>

#include "ChipModel/Packets/Frame.h"
#include "ChipModel/Packets/Parser.h"

namespace ChipModel {

class EgressTagger {
 public:
   EgressTagger();

   // The next frame: forwarded in VLAN `vid`, at most maxFrameBytes long, with an
   // EtherType. `frame` and `parsed` must stay until the one after it.
   void frameIs( const FrameView& frame, const ParsedFrame& parsed, uint16_t vid );

   const FrameView& tagged();
   const FrameView& untagged();

 private:
   static constexpr uint32_t tagBytes = 4;
   static constexpr uint32_t addressBytes = 12; // what stands before the outer tag

   struct Form {
      std::unique_ptr< uint8_t[] > buffer;
      FrameView view;
      bool made = false;
   };
   // Starts a form whose outer tag takes `newBytes` where it took `oldBytes` before.
   uint8_t* rewrite( Form& form, uint32_t oldBytes, uint32_t newBytes );

   const FrameView* frame_ = nullptr;
   const ParsedFrame* parsed_ = nullptr;
   uint16_t vid_ = 0;
   Form tagged_;
   Form untagged_;
};

} // namespace ChipModel
