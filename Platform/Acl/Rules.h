#pragma once

// What ACLs say: filters, rules, and the ordered list of an ACL's rules.
//
// Every field is a value with a mask; a mask of zero does not match on the field.

#include <vector>

#include "Platform/Acl/AclType.h"
#include "Platform/Plix/EthAddr.h"
#include "Platform/Plix/IntfId.h"
#include "Platform/Plix/Ip6Addr.h"
#include "Platform/Plix/IpAddr.h"
#include "Platform/Zol/Ptr.h"
#include "Platform/Zol/RangeChecked.h"
#include "Platform/Zol/Value.h"

namespace Acl {

ZOL_ENUM( RuleAction, uint8_t, ( deny, 0 ), ( permit, 1 ) );

// The fragments of an IP datagram that a rule is for (RFC 791, RFC 8200 section 4.5).
ZOL_ENUM( Fragments, uint8_t, ( any, 0 ), ( whole, 1 ), // datagrams that are not fragmented
      ( wholeOrFirst, 2 ),                              // all frames with a layer-4 header
      ( first, 3 ),                                     // the first fragment of several
      ( later, 4 ) );                                   // fragments without layer-4 header

// Layer-4 ports, both ends included.
class PortRange : public Zol::Value {
   ZOL_VALUE( Acl, PortRange, ( VAL, uint16_t, low ), ( VAL, uint16_t, high, 65535 ) );

 public:
   PortRange() = default;
   PortRange( uint16_t low, uint16_t high ) : low_( low ), high_( high ) {}
   bool isAny() const { return low() == 0 && high() == 65535; }
};

// What an IP or IPv6 ACL's rule matches. An IP ACL uses the IPv4 addresses, an IPv6 ACL the
// others.
class IpFilter : public Zol::Value {
   ZOL_VALUE( Acl, IpFilter, ( VAL, Plix::IpAddr, srcIp ), ( VAL, Plix::IpAddr, srcIpMask ),
         ( VAL, Plix::IpAddr, dstIp ), ( VAL, Plix::IpAddr, dstIpMask ),
         ( VAL, Plix::Ip6Addr, srcIp6 ), ( VAL, Plix::Ip6Addr, srcIp6Mask ),
         ( VAL, Plix::Ip6Addr, dstIp6 ), ( VAL, Plix::Ip6Addr, dstIp6Mask ),
         ( VAL, uint8_t, proto ), // the protocol, or the next header behind all extensions
         ( VAL, uint8_t, protoMask ), ( VAL, PortRange, srcPort ),
         ( VAL, PortRange, dstPort ), // of TCP, UDP and SCTP
         ( VAL, uint8_t, tcpFlags ),  // RFC 9293 section 3.1: FIN is bit 0
         ( VAL, uint8_t, tcpFlagsMask ), ( VAL, uint8_t, dscp ), // 6 bits (RFC 2474)
         ( VAL, uint8_t, dscpMask ), ( VAL, uint8_t, ecn ),      // 2 bits (RFC 3168)
         ( VAL, uint8_t, ecnMask ),
         ( VAL, uint16_t, icmp ), // type in the upper byte, code in the lower one
         ( VAL, uint16_t, icmpMask ), ( VAL, Fragments, fragments ),
         ( VAL, uint16_t, vlanId ), // outer VLAN, 12 bits
         ( VAL, uint16_t, vlanIdMask ) );

 public:
   // Whether it matches fields that only whole datagrams and first fragments carry.
   bool matchesL4() const {
      return !srcPort().isAny() || !dstPort().isAny() || tcpFlagsMask() != 0 || icmpMask() != 0;
   }
};

// What a MAC ACL's rule matches.
ZOL_RANGE( MplsLabelRange, Acl::MacFilter::mplsLabel, 0, 0xFFFFF, 0xFFFFF );
ZOL_RANGE( MplsInnerLabelRange, Acl::MacFilter::mplsInnerLabel, 0, 0xFFFFF, 0xFFFFF );

class MacFilter : public Zol::Value {
   ZOL_VALUE( Acl, MacFilter, ( VAL, Plix::EthAddr, srcMac ),
         ( VAL, Plix::EthAddr, srcMacMask ), ( VAL, Plix::EthAddr, dstMac ),
         ( VAL, Plix::EthAddr, dstMacMask ), ( VAL, uint16_t, etherType ),
         ( VAL, uint16_t, etherTypeMask ), ( VAL, uint16_t, vlanId ), // outer VLAN, 12 bits
         ( VAL, uint16_t, vlanIdMask ),
         ( VAL, Zol::RangeChecked< MplsLabelRange >, mplsLabel ), // outermost, 20 bits
         ( VAL, uint32_t, mplsLabelMask ),
         ( VAL, Zol::RangeChecked< MplsInnerLabelRange >, mplsInnerLabel ), // the next one
         ( VAL, uint32_t, mplsInnerLabelMask ),
         ( VAL, uint8_t, vlanPriority ), // of the outer VLAN tag, 3 bits; 0 without a tag
         ( VAL, uint8_t, vlanPriorityMask ) );
};

// One rule. Only the filter of the ACL's kind counts.
class RuleConfig : public Zol::Value {
   ZOL_VALUE( Acl, RuleConfig, ( VAL, uint32_t, ruleId ), // the user's number for it
         ( VAL, Zol::String, name ), ( VAL, RuleAction, action ),
         ( SET, Plix::IntfId,
               intf ), // only on these of the ACL's interfaces; empty: on all
         ( VAL, IpFilter, ip ), ( VAL, MacFilter, mac ) );
};

// The rules of one version of an ACL, in the order in which they are tried. A list never
// changes: a new version is a new list, so that holders can compare by pointer.
class RuleList : public Zol::RefCounted {
 public:
   explicit RuleList( std::vector< RuleConfig > ordered ) : rules( std::move( ordered ) ) {}
   const std::vector< RuleConfig > rules;
};

} // namespace Acl
