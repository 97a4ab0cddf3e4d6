#pragma once

// What is wanted of the egress field processor: EfpSmConfig by the rules' own numbers, EfpConfig
// by TCAM entries. A new update id says that a generation of rules is complete.

#include "Platform/Orv/UniqueId.h"
#include "Platform/Zol/Entity.h"
#include "PluginMounters/Slice/Egress/EfpCommonTypes.h"

namespace KarvelMirror::Slice {

class EfpUpdateBase : public Zol::Entity {
   ZOL_ENTITY(
         KarvelMirror::Slice, EfpUpdateBase, Zol::Entity, ( VAL, Orv::UniqueId, updateId ) );
};

class EfpSmConfig : public EfpUpdateBase {
   ZOL_ENTITY( KarvelMirror::Slice, EfpSmConfig, EfpUpdateBase, ( CONST, EfpKey, key ),
         ( MAP, uint32_t, EfpRuleData, rules ) );

 public:
   explicit EfpSmConfig( const EfpKey& key ) : key_( key ) {}
   void rulesIs( const EfpRuleData& rule ) { rulesIs( rule.entryId(), rule ); }
};

class EfpConfig : public EfpUpdateBase {
   ZOL_ENTITY( KarvelMirror::Slice, EfpConfig, EfpUpdateBase,
         ( CONST, TcamFeature::EfpFeature, feature ), ( MAP, uint32_t, EfpRuleData, rules ) );

 public:
   explicit EfpConfig( TcamFeature::EfpFeature feature ) : feature_( feature ) {}
   void rulesIs( const EfpRuleData& rule ) { rulesIs( rule.entryId(), rule ); }
};

class EfpSmConfigColl : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror::Slice, EfpSmConfigColl, Zol::Entity,
         ( COLL, EfpKey, EfpSmConfig, config ) );
};

class EfpConfigColl : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror::Slice, EfpConfigColl, Zol::Entity,
         ( COLL, TcamFeature::EfpFeature, EfpConfig, config ) );
};

inline Zol::Ptr< EfpSmConfigColl > efpSmConfigCollFactory() {
   return Zol::make< EfpSmConfigColl >();
}
inline Zol::Ptr< EfpConfigColl > efpConfigCollFactory() { return Zol::make< EfpConfigColl >(); }

} // namespace KarvelMirror::Slice
