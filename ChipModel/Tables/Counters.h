#pragma once

// What a chip counts, and why it drops frames. Bytes are lengths on the wire, without the
// frame check sequence.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Platform/Shim/Memory.h"

namespace ChipModel {

// In the order in which a frame is checked: a frame is dropped for the first that holds.
enum class DropReason : uint8_t {
   none,
   portDisabled,         // received on a port that is not enabled
   tooLong,              // more than maxFrameBytes
   tooShort,             // ends before its EtherType, or inside its outer tag
   sourceMulticast,      // no station has a group address
   reservedAddress,      // 01:80:c2:00:00:00 to 0f never pass a bridge (IEEE 802.1Q 8.6.3)
   noUntaggedVlan,       // untagged, and the port has no VLAN for such frames
   vlanUnknown,          // in a VLAN that does not exist
   vlanMismatch,         // the ingress port is not in the frame's VLAN
   destinationOnIngress, // the destination is where the frame came from
   noMember,             // no enabled port of the VLAN to send it to
   filtered,             // an entry of the field processors says so
   count_
};
inline constexpr size_t dropReasonCount = static_cast< size_t >( DropReason::count_ );

// Short text for people: "VLAN mismatch".
constexpr std::string_view dropReasonName( DropReason reason ) {
   constexpr std::array< std::string_view, dropReasonCount > names{ "none", "port disabled",
      "too long", "too short", "multicast source", "reserved address", "no untagged VLAN",
      "unknown VLAN", "VLAN mismatch", "destination on ingress port", "no member to send to",
      "filtered" };
   return names[ static_cast< size_t >( reason ) ];
}

struct FrameCount {
   uint64_t packets = 0;
   uint64_t bytes = 0;

   bool operator==( const FrameCount& ) const = default;
};

struct PortCounters {
   uint64_t rxFrames = 0; // all that an enabled port received, dropped ones included
   uint64_t rxBytes = 0;
   uint64_t txFrames = 0; // forwarded, without mirror copies
   uint64_t txBytes = 0;
   uint64_t txMirrorFrames = 0; // mirror copies
   uint64_t txMirrorBytes = 0;
   uint64_t txKeptBack = 0; // forwarded frames that the egress stage did not let out
   std::array< FrameCount, Shim::cosQueues > queues{}; // all that was sent, by CoS queue
   std::array< uint64_t, dropReasonCount > drops{};    // by DropReason, at the ingress port

   bool operator==( const PortCounters& ) const = default;
};

// What a policer finds: whether a frame keeps to its rate.
enum class Color : uint8_t { green, red };

struct ColorCounters {
   FrameCount green;
   FrameCount red;

   void add( Color color, uint32_t frameBytes ) {
      FrameCount& count = color == Color::green ? green : red;
      ++count.packets;
      count.bytes += frameBytes;
   }
   bool operator==( const ColorCounters& ) const = default;
};

// Copies made for one mirror destination.
struct MirrorCounters {
   uint64_t frames = 0; // left the chip
   uint64_t bytes = 0;
   uint64_t dropped = 0;       // the destination's port, or all of its trunk's, cannot send
   uint64_t lost = 0;          // the destination was not set
   uint64_t policedFrames = 0; // an entry of the egress stage has a policer that found it red
   uint64_t policedBytes = 0;
   uint64_t filtered = 0; // an entry of the egress stage drops it
   uint64_t tooLong = 0;  // it does not fit into the tunnel's packet, or takes no source tag

   bool operator==( const MirrorCounters& ) const = default;
};

} // namespace ChipModel
