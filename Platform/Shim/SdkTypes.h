#pragma once

// What the SDK's calls take and give: return codes, port bitmaps, qualifiers, actions.

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>

#include "Platform/Plix/EthAddr.h"
#include "Platform/Plix/Ip6Addr.h"
#include "Platform/Plix/IpGenAddr.h"

namespace Shim {

// Return code of an SDK call: 0 is success, negative an error (see Sdk::QX_BCM_E_...).
using Rc = int32_t;

// The most chip ports a unit can have; ports are 0 (CPU) to 255.
inline constexpr int maxPorts = 256;
using PortBitmap = std::bitset< maxPorts >;

enum class FieldStage : uint8_t {
   ingress, // looked up after the forwarding decision, before the frame is sent
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
   outerVlanPriority, // 3 bits; ingress
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
   outPort,    // the port that the frame leaves by: egress, not on Tomahawk chips
   mirrorCopy, // egress: 1 for mirror copies, 0 for forwarded frames
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

// The part of an IPv4 or IPv6 datagram that a frame carries.
enum class FieldIpFrag : uint8_t {
   non,        // all of it
   first,      // the first of several
   nonOrFirst, // a part with a layer-4 header
   notFirst,   // a part without a layer-4 header
   any,        // one of several
};

enum class FieldAction : int32_t {
   mirrorIngress = 1, // copy the frame as received; param0 unit, param1 destination
   mirrorEgress,      // copy the frame as sent; param0 unit, param1 destination
   mirrorIngressTo,   // copy the frame as received; param0 destination, param1 ignored
   drop,              // do not forward; no parameters
   cosQCpuNew,        // copy to the CPU; param0 its queue
   // Of the egress stage.
   rpDrop,          // drop frames that the entry's policer marks red; no parameters
   svtagEnable,     // insert a source tag; param0 1. Param0 of the others is a field of it:
   svtagSignature,  // 16 bits, where a frame has its EtherType
   svtagPrio,       // 3 bits
   svtagDeviceId,   // 5 bits
   svtagOffset,     // bytes from the start of the frame: 12 to 64, even
   svtagSubportNum, // 8 bits
};
inline constexpr FieldAction bcmFieldActionCosQCpuNew = FieldAction::cosQCpuNew;
inline constexpr FieldAction bcmFieldActionDrop = FieldAction::drop;
inline constexpr FieldAction bcmFieldActionRpDrop = FieldAction::rpDrop;
inline constexpr FieldAction bcmFieldActionSvtagEnable = FieldAction::svtagEnable;
inline constexpr FieldAction bcmFieldActionSvtagSignature = FieldAction::svtagSignature;
inline constexpr FieldAction bcmFieldActionSvtagPrio = FieldAction::svtagPrio;
inline constexpr FieldAction bcmFieldActionSvtagDeviceId = FieldAction::svtagDeviceId;
inline constexpr FieldAction bcmFieldActionSvtagOffset = FieldAction::svtagOffset;
inline constexpr FieldAction bcmFieldActionSvtagSubportNum = FieldAction::svtagSubportNum;

// What a range checker compares: layer-4 ports of TCP, UDP and SCTP.
enum class FieldRange : uint32_t { srcPort = 0x1, dstPort = 0x2 };

// What an entry counts besides the frames and bytes that it matches.
enum class FieldStat : uint8_t {
   none,
   byColor, // green and red apart
};

// How a policer sorts frames into colours.
enum class PolicerMode : uint8_t {
   committed, // one token bucket: a frame whose length it holds is green, else red
};

// Bits of bcm_policer_config_s::flags.
inline constexpr uint32_t policerByBytes = 0x04; // frames weigh their length; required
inline constexpr uint32_t policerColorBlind =
      0x40; // the colour that a frame may have is ignored; required

// Kilobits are 1000 bits. A frame weighs its bytes on the wire without preamble and frame
// check sequence, the same as counters count.
struct bcm_policer_config_s {
   uint32_t flags;
   PolicerMode mode;
   uint32_t ckbits_sec;   // committed rate, kilobits per second; at least 1
   uint32_t ckbits_burst; // depth of its bucket, kilobits
   uint32_t pkbits_sec;   // peak rate; 0: none
   uint32_t pkbits_burst;
};

struct FieldGroupStatus {
   int32_t entriesUsed = 0;
   int32_t entriesFree = 0; // of the whole stage: groups share it
};

// The headers in front of a copy that is sent through a tunnel: Ethernet, IPv4 (RFC 791) or
// IPv6 (RFC 8200), and GRE (RFC 2784, its key RFC 2890).
struct MirrorTunnel {
   Plix::EthAddr srcMac;
   Plix::EthAddr dstMac;
   uint16_t vid = 0;      // of an 802.1Q tag; 0: none
   Plix::IpGenAddr srcIp; // both of one family
   Plix::IpGenAddr dstIp;
   uint8_t trafficClass = 0; // DSCP in the upper six bits
   uint8_t ttl = 255;        // or hop limit
   uint16_t greProtocol = 0x88be;
   std::optional< uint32_t > greKey;
   // On chips that insert headers by profile: the profile that says how much of these.
   int32_t insertProfile = 0;

   bool operator==( const MirrorTunnel& ) const = default;
};

// Where the copies of one mirror destination go.
struct MirrorDestination {
   enum class Kind : uint8_t { port, trunk };
   Kind kind = Kind::port;
   int32_t id = 0;                            // port number or trunk id
   std::optional< MirrorTunnel > tunnel = {}; // none: copies leave as they are
   // The CoS queue of the copies: 0 to 7; none: the one that the switch controls name.
   std::optional< uint8_t > queue = {};

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
