#pragma once

// What is wanted of the ingress field processor: IfpSmConfig by the rules' own numbers, IfpConfig
// by TCAM entries. A new update id marks a new generation of rules.

#include "Platform/Orv/UniqueId.h"
#include "Platform/Zol/Entity.h"
#include "PluginMounters/Slice/Ingress/IfpCommonTypes.h"

namespace KarvelMirror::Slice {

class IfpUpdateBase : public Zol::Entity {
   ZOL_ENTITY(
         KarvelMirror::Slice, IfpUpdateBase, Zol::Entity, ( VAL, Orv::UniqueId, updateId ) );
};

class IfpSmConfig : public IfpUpdateBase {
   ZOL_ENTITY( KarvelMirror::Slice, IfpSmConfig, IfpUpdateBase, ( CONST, IfpKey, key ),
         ( MAP, uint32_t, IfpRuleData, rules ) );

 public:
   explicit IfpSmConfig( const IfpKey& key ) : key_( key ) {}
   void rulesIs( const IfpRuleData& rule ) { rulesIs( rule.entryId(), rule ); }
};

class IfpConfig : public IfpUpdateBase {
   ZOL_ENTITY( KarvelMirror::Slice, IfpConfig, IfpUpdateBase, ( CONST, Mtp, mtp ),
         ( MAP, uint32_t, IfpRuleData, rules ) );

 public:
   explicit IfpConfig( Mtp mtp ) : mtp_( mtp ) {}
   void rulesIs( const IfpRuleData& rule ) { rulesIs( rule.entryId(), rule ); }
};

class IfpSmConfigColl : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror::Slice, IfpSmConfigColl, Zol::Entity,
         ( COLL, IfpKey, IfpSmConfig, config ) );
};

class IfpConfigColl : public Zol::Entity {
   ZOL_ENTITY(
         KarvelMirror::Slice, IfpConfigColl, Zol::Entity, ( COLL, Mtp, IfpConfig, config ) );
};

inline Zol::Ptr< IfpSmConfigColl > ifpSmConfigCollFactory() {
   return Zol::make< IfpSmConfigColl >();
}
inline Zol::Ptr< IfpConfigColl > ifpConfigCollFactory() { return Zol::make< IfpConfigColl >(); }

} // namespace KarvelMirror::Slice
