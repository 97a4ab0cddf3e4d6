#pragma once

// One TCAM entry's match: ports, trunks and groups of qualifiers. Every qualifier is a value
// with a mask; a mask of zero does not match on the field.

#include "Platform/Karvel/RangeCheckerDesc.h"
#include "Platform/KarvelTypes/KarvelPort.h"
#include "Platform/Plix/EthAddr.h"
#include "Platform/Plix/Ip6Addr.h"
#include "Platform/Plix/IpAddr.h"
#include "Platform/Zol/Value.h"

namespace KarvelMirror {

class CommonQuals : public Zol::Value {
   ZOL_VALUE( KarvelMirror, CommonQuals, ( VAL, uint32_t, drop ),     // the packet's drop state
         ( VAL, uint32_t, dropMask ), ( VAL, uint32_t, outerVlanId ), // 12 bits
         ( VAL, uint32_t, outerVlanIdMask ) );
};

class L4Quals : public Zol::Value {
   ZOL_VALUE( KarvelMirror, L4Quals, ( VAL, uint16_t, srcPort ), ( VAL, uint16_t, srcPortMask ),
         ( VAL, uint16_t, dstPort ), ( VAL, uint16_t, dstPortMask ) );
};

class V4Quals : public Zol::Value {
   ZOL_VALUE( KarvelMirror, V4Quals, ( VAL, Plix::IpAddr, srcIp ),
         ( VAL, Plix::IpAddr, srcIpMask ), ( VAL, Plix::IpAddr, dstIp ),
         ( VAL, Plix::IpAddr, dstIpMask ),
         ( VAL, uint32_t, ipType ), // the field processor's classification
         ( VAL, uint32_t, ipTypeMask ), ( VAL, uint32_t, dscp ), ( VAL, uint32_t, dscpMask ),
         ( VAL, uint32_t, ipFrag ), // a selector, without mask
         ( VAL, uint32_t, ipProtocol ), ( VAL, uint32_t, ipProtocolMask ),
         ( VAL, uint32_t, tcpControl ), // TCP flag bits (RFC 9293)
         ( VAL, uint32_t, tcpControlMask ), ( VAL, uint32_t, ttl ),
         ( VAL, uint32_t, ttlMask ) );
};

class V6Quals : public Zol::Value {
   ZOL_VALUE( KarvelMirror, V6Quals, ( VAL, Plix::Ip6Addr, srcIp ),
         ( VAL, Plix::Ip6Addr, srcIpMask ), ( VAL, Plix::Ip6Addr, dstIp ),
         ( VAL, Plix::Ip6Addr, dstIpMask ), ( VAL, uint32_t, ipType ),
         ( VAL, uint32_t, ipTypeMask ), ( VAL, uint32_t, trafficClass ),
         ( VAL, uint32_t, trafficClassMask ), ( VAL, uint32_t, tcpControl ),
         ( VAL, uint32_t, tcpControlMask ), ( VAL, uint32_t, hopLimit ),
         ( VAL, uint32_t, hopLimitMask ) );
};

class MacQuals : public Zol::Value {
   ZOL_VALUE( KarvelMirror, MacQuals, ( VAL, Plix::EthAddr, dstMac ),
         ( VAL, Plix::EthAddr, dstMacMask ), ( VAL, Plix::EthAddr, srcMac ),
         ( VAL, Plix::EthAddr, srcMacMask ), ( VAL, uint16_t, etherType ),
         ( VAL, uint16_t, etherTypeMask ) );
};

// A user-defined field: `length` bytes at `offset` from `base`.
class UdfQual : public Zol::Value {
   ZOL_VALUE( KarvelMirror, UdfQual, ( VAL, Karvel::UdfOffsetBase, base ),
         ( VAL, uint32_t, offset ), ( VAL, uint32_t, length ), ( VAL, uint32_t, data ),
         ( VAL, uint32_t, mask ) );
};

class RuleData : public Zol::Value {
   ZOL_VALUE( KarvelMirror, RuleData,
         ( VAL, uint32_t, entryId ),                // the rule's number in its ACL
         ( SET, KarvelTypes::KarvelPort, inPort ),  // empty: any port
         ( SET, KarvelTypes::KarvelPort, outPort ), // destination ports to match
         ( SET, int32_t, outLag ),                  // destination trunks to match
         ( VAL, CommonQuals, common ), ( VAL, MacQuals, mac ), ( VAL, V4Quals, v4 ),
         ( VAL, V6Quals, v6 ), ( VAL, L4Quals, l4 ), ( SET, UdfQual, udf ),
         ( SET, Karvel::RangeCheckerDesc, rangeChecker ) ); // layer-4 port ranges

 public:
   explicit RuleData( uint32_t entryId = 0 ) : entryId_( entryId ) {}
   // True unless the rule is the default one with entryId 0.
   explicit operator bool() const { return !( *this == RuleData() ); }
};

} // namespace KarvelMirror
