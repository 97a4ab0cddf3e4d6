#pragma once

// What the SDK's calls take and give: return codes, port bitmaps, qualifiers, actions.

#include <array>
#include <bitset>
#include <cstdint>

#include "Platform/Plix/EthAddr.h"
#include "Platform/Plix/Ip6Addr.h"

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
   ipType,
   srcIp,
   dstIp,
   srcIp6,
   dstIp6,
   ipProtocol,
   dscp,
   ipFrag,
   l4SrcPort,
   l4DstPort,
   tcpControl,
   icmpTypeCode,
   etherType,
   srcMac,
   dstMac,
   mplsLabel,
   mplsInnerLabel,
   dstClassL2,
   rangeCheck,
   count_
};
using QualifierSet = std::bitset< static_cast< size_t >( Qualifier::count_ ) >;

inline constexpr Qualifier bcmFieldQualifyDstClassL2 = Qualifier::dstClassL2;

// What the parser has found behind the EtherType.
enum class FieldIpType : uint8_t {
   any,
   nonIp,
   ip,      // IPv4 or IPv6
   ipv4Any, // with or without options
   ipv4NoOpts,
   ipv4WithOpts,
   ipv6,
   arp,
};
inline constexpr FieldIpType bcmFieldIpTypeIp = FieldIpType::ip;
inline constexpr FieldIpType bcmFieldIpTypeIpv4Any = FieldIpType::ipv4Any;
inline constexpr FieldIpType bcmFieldIpTypeIpv6 = FieldIpType::ipv6;

// Which part of an IPv4 or IPv6 datagram a frame carries.
enum class FieldIpFrag : uint8_t {
   non,        // all of it
   first,      // the first of several
   nonOrFirst, // a layer-4 header
   notFirst,   // no layer-4 header
   any,        // one of several
};

enum class FieldAction : int32_t {
   mirrorIngress = 1, // copy the frame as received; param0 unit, param1 destination
   mirrorEgress,      // copy the frame as sent; param0 unit, param1 destination
   mirrorIngressTo, // copy the frame as received; param0 destination, param1 is not looked
                    // at
   drop,            // do not forward; no parameters
   cosQCpuNew,      // copy to the CPU; param0 its queue
};
inline constexpr FieldAction bcmFieldActionCosQCpuNew = FieldAction::cosQCpuNew;
inline constexpr FieldAction bcmFieldActionDrop = FieldAction::drop;

// What a range checker compares: layer-4 ports of TCP, UDP and SCTP.
enum class FieldRange : uint32_t { srcPort = 0x1, dstPort = 0x2 };

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
