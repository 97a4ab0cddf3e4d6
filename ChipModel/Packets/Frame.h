#pragma once

// Frames on their way into and out of a chip.
//
//    struct Collector : ChipModel::FrameSink {
//       void sent( const ChipModel::SentFrame& out ) override { ... copy out.frame.data ...
//       }
//    };
//
// Nobody owns bytes here: a sink that keeps a frame copies it before it returns.

#include <cstdint>

namespace ChipModel {

// The longest frame that a chip takes, in bytes: the longest IP packet with its Ethernet
// header and a generous stack of tags.
inline constexpr uint32_t maxFrameBytes = 65'600;

// One frame without its frame check sequence, starting at the destination MAC.
struct FrameView {
   uint64_t timeNs = 0;
   const uint8_t* data = nullptr;
   uint32_t length = 0;     // bytes at `data`
   uint32_t wireLength = 0; // bytes the frame had before a capture cut it; at least `length`
};

enum class CopyKind : uint8_t {
   forwarded,
   // Copies, inside the tunnel of their mirror destination if it has one:
   ingressMirror, // the frame as it was received, byte for byte
   egressMirror,  // the frame as it left `egressPort`, without a source tag
};

struct SentFrame {
   int unit = 0;
   int port = 0; // the port it leaves by
   CopyKind kind = CopyKind::forwarded;
   int mirrorDestination = -1; // index of the mirror destination table; -1 if forwarded
   int ingressPort = 0;        // where the frame came in
   int egressPort = -1;        // egressMirror: the port whose sending was copied; else -1
   FrameView frame;            // valid during the call only
   uint8_t queue = 0;          // the CoS queue of the port that it leaves by
};

// Takes what leaves a chip. It may read tables; it must not hand a frame to the same chip.
class FrameSink {
 public:
   virtual ~FrameSink() = default;
   virtual void sent( const SentFrame& frame ) = 0;
};

} // namespace ChipModel
