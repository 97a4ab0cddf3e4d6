#pragma once

// What the SDK's calls take and give: return codes, port bitmaps, qualifiers, actions.

#include <array>
#include <bitset>
#include <cstdint>

#include "Platform/Plix/EthAddr.h"

namespace Shim {

// Return code of an SDK call: 0 is success, negative an error (see Sdk::QX_BCM_E_...).
using Rc = int32_t;

// The most chip ports a unit can have; ports are 0 (CPU) to 255.
inline constexpr int maxPorts = 256;
using PortBitmap = std::bitset< maxPorts >;

enum class FieldStage : uint8_t {
   ingress, // looked up when a frame has been forwarded in thought: destination is known
   egress,  // looked up for every frame that is about to leave
};

// What an entry can match on. A group names the set that its entries may use.
enum class Qualifier : uint8_t {
   inPorts,
   portClass, // the class bits of the ingress port ("AclGroup" chips only)
   dstPort,
   dstTrunk,
   drop,
   outerVlanId,
   count_
};
using QualifierSet = std::bitset< static_cast< size_t >( Qualifier::count_ ) >;

enum class FieldAction : int32_t {
   mirrorIngress = 1, // copy the frame as received; param0 unit, param1 destination
   mirrorEgress,      // copy the frame as sent; param0 unit, param1 destination
};

struct FieldGroupStatus {
   int32_t entriesUsed = 0;
   int32_t entriesFree = 0; // of the whole stage: groups share it
};

// Where the copies of one mirror destination go.
struct MirrorDestination {
   enum class Kind : uint8_t { port, trunk };
   Kind kind = Kind::port;
   int32_t id = 0; // port number or trunk id

   bool operator==( const MirrorDestination& ) const = default;
};

struct L2Addr {
   Plix::EthAddr mac;
   uint16_t vid = 0;
   bool isTrunk = false;
   int32_t destination = 0; // port number, or trunk id
   bool isStatic = true;    // static addresses neither age nor move
};

} // namespace Shim
