#pragma once

// The rules of egress mirroring, as the machines of the egress field processor hand them down.

#include "Platform/KarvelTypes/KarvelPort.h"
#include "Platform/Plix/IpGenAddr.h"
#include "Platform/Zol/Text.h"
#include "Platform/Zol/Value.h"
#include "PluginMounters/Slice/Rules/TcamFeatures.h"

namespace KarvelMirror::Slice {

// What an egress rule matches: headers of the copy as it leaves.
class EfpQuals : public Zol::Value {
   ZOL_VALUE( KarvelMirror::Slice, EfpQuals, ( VAL, Plix::AddressFamily, ipType ),
         ( VAL, Plix::IpGenAddr, srcIp ), ( VAL, Plix::IpGenAddr, srcIpMask ),
         ( VAL, Plix::IpGenAddr, dstIp ), ( VAL, Plix::IpGenAddr, dstIpMask ),
         ( VAL, uint8_t, protocol ), ( VAL, uint8_t, protocolMask ),
         ( VAL, uint8_t, dscp ), // 6 bits, as its mask
         ( VAL, uint8_t, dscpMask ) );
};

// What an egress rule does besides letting copies through.
class EfpActions : public Zol::Value {
   ZOL_VALUE( KarvelMirror::Slice, EfpActions, ( VAL, uint32_t, policerId ), // 0: none
         ( VAL, bool, svtagEnable ), // a source tag with what follows
         ( VAL, uint16_t, svtagSignature ), ( VAL, uint8_t, svtagPrio ),
         ( VAL, uint8_t, svtagDeviceId ), ( VAL, uint8_t, svtagOffset ),
         ( VAL, uint32_t, svtagChannelId ) );
};

// Human-readable purposes of rules. A rule's becomes the name of its entries.
class EfpRuleDesc : public Zol::Value {
   ZOL_VALUE( KarvelMirror::Slice, EfpRuleDesc );

 public:
   static constexpr const char* efpGre = "EFP GRE";
   static constexpr const char* efpGreRateLimit = "EFP GRE Rate Limit";
   static constexpr const char* portRateLimit = "EFP Port Rate Limit";
};

class EfpRuleData : public Zol::Value {
   ZOL_VALUE( KarvelMirror::Slice, EfpRuleData,
         ( VAL, uint32_t, entryId ), // in EfpSmConfig: the rule number; else the TCAM entry id
         ( SET, KarvelTypes::KarvelPort, outPort ), // exactly one in EfpConfig
         ( VAL, EfpActions, efpActions ), ( VAL, EfpQuals, efpQuals ),
         ( VAL, uint32_t, rate ),          // kilobits per second; 0: no limit
         ( VAL, Zol::String, ruleDesc ) ); // one of EfpRuleDesc

 public:
   explicit EfpRuleData( uint32_t entryId = 0 ) : entryId_( entryId ) {}
};

// The key of the collections per feature.
class EfpKey : public Zol::Value {
   ZOL_VALUE( KarvelMirror::Slice, EfpKey, ( VAL, TcamFeature::EfpFeature, feature ) );

 public:
   EfpKey() = default;
   explicit EfpKey( TcamFeature::EfpFeature feature ) : feature_( feature ) {}
};

} // namespace KarvelMirror::Slice
