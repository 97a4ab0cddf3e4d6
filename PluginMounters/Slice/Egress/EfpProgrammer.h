#pragma once

// Writes the egress rules of a chip into its TCAM: one machine per feature, which writes every
// generation of rules in full and answers it.

#include "Platform/Karvel/SdkCall.h"
#include "Platform/Karvel/TcamServices.h"
#include "Platform/Zol/Sm.h"
#include "PluginMounters/Slice/Egress/EfpStatus.h"

namespace KarvelMirror::Slice {

class EfpProgrammerFeatureSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, EfpProgrammerFeatureSm, Zol::EntitySm,
         ( CONST, TcamFeature::EfpFeature, feature ), ( CONST, uint32_t, unit ),
         ( CONST, Zol::Ptr< Karvel::KarvelBoundedTcamEntryManager >, entryManager ),
         ( CONST, Zol::Ptr< const EfpConfig >, efpConfig ),
         ( CONST, Zol::Ptr< EfpStatus >, efpStatus ),
         ( SET, uint32_t, entryIdCache ), // installed in this generation
         // The rule that each live entry holds.
         ( MAP, uint32_t, EfpRuleData, programmed ) );

 public:
   EfpProgrammerFeatureSm( TcamFeature::EfpFeature feature, uint32_t unit,
         Zol::Ptr< Karvel::KarvelBoundedTcamEntryManager > entryManager,
         Zol::Ptr< const EfpConfig > efpConfig, Zol::Ptr< EfpStatus > efpStatus );

 private:
   void doInit() override;
   void doCleanup() override;
   void handleUpdate();

   // Writes an entry up to its install. False if a call was refused: the entry may match more
   // or do less than its rule says, so the whole generation must not stay.
   bool programEntry( const EfpRuleData& rule );
   // Removes from an entry that is programmed again what its new rule lacks.
   bool clearEntry( const EfpRuleData& rule );
   void forgetReleasedEntries();
   // Ends at the first refused call.
   bool qualifyEntry( const EfpRuleData& rule );
   bool qualifyPort( const EfpRuleData& rule );
   bool qualifyIpType( const EfpRuleData& rule );
   bool qualifySrcIp( const EfpRuleData& rule );
   bool qualifyDstIp( const EfpRuleData& rule );
   bool qualifyDscp( const EfpRuleData& rule );
   bool addSvtagActions( const EfpRuleData& rule );
   bool attachPolicer( const EfpRuleData& rule );
   // 0 on success.
   Shim::Rc installEntry( uint32_t entryId );
   // False, and traced, if the call has failed.
   bool checked( const char* handler, int entryId, const Karvel::SdkOutcome& outcome ) const;
   bool qualified( int entryId, const Karvel::SdkOutcome& outcome ) const;
};

class EfpProgrammer : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, EfpProgrammer, Zol::EntitySm, ( CONST, uint32_t, unit ),
         ( CONST, Zol::Ptr< Karvel::KarvelTcamGroupManager >, tcamManager ),
         ( CONST, Zol::Ptr< const EfpConfigColl >, efpConfigColl ),
         ( CONST, Zol::Ptr< EfpStatusColl >, efpStatusColl ),
         ( COLL, TcamFeature::EfpFeature, EfpProgrammerFeatureSm, featureSm ) );

 public:
   EfpProgrammer( uint32_t unit, Zol::Ptr< Karvel::KarvelTcamGroupManager > tcamManager,
         Zol::Ptr< const EfpConfigColl > efpConfigColl,
         Zol::Ptr< EfpStatusColl > efpStatusColl );

 private:
   void doInit() override;
   void doCleanup() override;
   void handleFeature( TcamFeature::EfpFeature feature );
   void deleteFeature( TcamFeature::EfpFeature feature );
};

} // namespace KarvelMirror::Slice
