#pragma once

// What became of the wanted rules. A status echoes the update id of the configuration that it
// answers; one with another id is not believed.

#include "PluginMounters/Slice/Egress/EfpConfig.h"
#include "PluginMounters/Slice/Rules/TcamProgramStatus.h"

namespace KarvelMirror::Slice {

class EfpStatus : public EfpUpdateBase {
   ZOL_ENTITY( KarvelMirror::Slice, EfpStatus, EfpUpdateBase,
         ( CONST, TcamFeature::EfpFeature, feature ), ( VAL, ProgramResult, status ) );

 public:
   explicit EfpStatus( TcamFeature::EfpFeature feature ) : feature_( feature ) {}
};

class EfpSmStatus : public EfpUpdateBase {
   ZOL_ENTITY( KarvelMirror::Slice, EfpSmStatus, EfpUpdateBase, ( CONST, EfpKey, key ),
         ( MAP, uint32_t, EfpRuleData,
               rules ), // in the chip; while a failed install is reported: those tried
         ( VAL, ProgramResult, status ) );

 public:
   explicit EfpSmStatus( const EfpKey& key ) : key_( key ) {}
   void rulesIs( const EfpRuleData& rule ) { rulesIs( rule.entryId(), rule ); }
};

class EfpStatusColl : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror::Slice, EfpStatusColl, Zol::Entity,
         ( COLL, TcamFeature::EfpFeature, EfpStatus, status ) );
};

class EfpSmStatusColl : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror::Slice, EfpSmStatusColl, Zol::Entity,
         ( COLL, EfpKey, EfpSmStatus, status ) );
};

inline Zol::Ptr< EfpStatusColl > efpStatusCollFactory() { return Zol::make< EfpStatusColl >(); }
inline Zol::Ptr< EfpSmStatusColl > efpSmStatusCollFactory() {
   return Zol::make< EfpSmStatusColl >();
}

} // namespace KarvelMirror::Slice
