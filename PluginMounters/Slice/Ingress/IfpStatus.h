#pragma once

// What became of the wanted rules. A status echoes the update id of the configuration that it
// answers; one with another id is not believed.

#include "PluginMounters/Slice/Ingress/IfpConfig.h"
#include "PluginMounters/Slice/Rules/TcamProgramStatus.h"

namespace KarvelMirror::Slice {

class IfpStatus : public IfpUpdateBase {
   ZOL_ENTITY( KarvelMirror::Slice, IfpStatus, IfpUpdateBase, ( CONST, Mtp, mtp ),
         ( VAL, ProgramResult, status ) );

 public:
   explicit IfpStatus( Mtp mtp ) : mtp_( mtp ) {}
};

class IfpSmStatus : public IfpUpdateBase {
   ZOL_ENTITY( KarvelMirror::Slice, IfpSmStatus, IfpUpdateBase, ( CONST, IfpKey, key ),
         ( MAP, uint32_t, IfpRuleData, rules ), // as programmed
         ( VAL, ProgramResult, status ) );

 public:
   explicit IfpSmStatus( const IfpKey& key ) : key_( key ) {}
   void rulesIs( const IfpRuleData& rule ) { rulesIs( rule.entryId(), rule ); }
};

class IfpStatusColl : public Zol::Entity {
   ZOL_ENTITY(
         KarvelMirror::Slice, IfpStatusColl, Zol::Entity, ( COLL, Mtp, IfpStatus, status ) );
};

class IfpSmStatusColl : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror::Slice, IfpSmStatusColl, Zol::Entity,
         ( COLL, IfpKey, IfpSmStatus, status ) );
};

inline Zol::Ptr< IfpStatusColl > ifpStatusCollFactory() { return Zol::make< IfpStatusColl >(); }
inline Zol::Ptr< IfpSmStatusColl > ifpSmStatusCollFactory() {
   return Zol::make< IfpSmStatusColl >();
}

} // namespace KarvelMirror::Slice
