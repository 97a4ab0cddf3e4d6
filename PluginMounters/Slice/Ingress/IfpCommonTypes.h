#pragma once

// The rules of ingress mirroring, as the machines of the ingress field processor hand them down.

#include "Platform/Ixo/AclTypes.h"
#include "Platform/KarvelMirror/Mtp.h"
#include "PluginMounters/Slice/Rules/RuleData.h"

namespace KarvelMirror::Slice {

// The parameters of a rule's field-processor action.
class IfpActions : public Zol::Value {
   ZOL_VALUE( KarvelMirror::Slice, IfpActions, ( VAL, uint32_t, param0 ),
         ( VAL, uint32_t, param1 ) );
};

// The key of the collections per feature.
class IfpKey : public Zol::Value {
   ZOL_VALUE( KarvelMirror::Slice, IfpKey, ( VAL, Mtp, mtp ) );

 public:
   IfpKey() = default;
   explicit IfpKey( Mtp mtp ) : mtp_( mtp ) {}
};

class IfpRuleData : public Zol::Value {
   ZOL_VALUE( KarvelMirror::Slice, IfpRuleData,
         ( VAL, uint32_t, entryId ), // in IfpSmConfig: the rule number; else the TCAM entry id
         ( VAL, Zol::String, ruleDesc ), // the session that it serves
         ( VAL, Ixo::AclKey, aclKey ),   // empty: a plain rule
         ( SET, Plix::IntfId, aclPort ), // where it applies
         ( VAL, RuleData, ruleData ), ( VAL, IfpActions, actions ) );

 public:
   explicit IfpRuleData( uint32_t entryId = 0 ) : entryId_( entryId ) {}
   // True unless every attribute is the default one.
   explicit operator bool() const { return !( *this == IfpRuleData() ); }
};

} // namespace KarvelMirror::Slice
