#pragma once

// The feature machines of the egress field processor: they give every wanted rule of a feature a
// TCAM entry per port and a policer per rate, keep both while they are wanted, and turn the
// programmer's answer into the feature's status.
//
//    EfpSmConfig ──► EfpFeatureSm ──► EfpConfig ──► the programmer
//    EfpSmStatus ◄── EfpFeatureSm ◄── EfpStatus ◄──┘
//
// One update id runs through all four. A feature has all of its rules, or none: whatever fails
// takes all of them back, and the next generation starts from nothing.

#include <map>

#include "Platform/Karvel/TcamServices.h"
#include "Platform/Zol/Sm.h"
#include "PluginMounters/Slice/Egress/EfpStatus.h"
#include "PluginMounters/Slice/Rules/EntryIdSet.h"

namespace KarvelMirror::Slice {

// The feature's entry manager; null if there is no such feature.
Zol::Ptr< Karvel::KarvelBoundedTcamEntryManager > getFeatureEntryMgr(
      Zol::Ptr< Karvel::KarvelTcamGroupManager > tcamManager, TcamFeature::EfpFeature feature );

// Rules for one port each.
class EfpRules : public Zol::Value {
   ZOL_VALUE( KarvelMirror::Slice, EfpRules, ( MAP, uint32_t, EfpRuleData, rules ) );
};

class EfpFeatureSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, EfpFeatureSm, Zol::EntitySm, ( CONST, EfpKey, key ),
         ( CONST, uint32_t, unit ),
         ( CONST, Zol::Ptr< Karvel::KarvelTcamGroupManager >, tcamManager ),
         ( CONST, Zol::Ptr< Karvel::KarvelBoundedTcamEntryManager >, entryManager ),
         ( CONST, Zol::Ptr< const EfpSmConfig >, efpSmConfig ),
         ( CONST, Zol::Ptr< EfpSmStatus >, efpSmStatus ),
         ( CONST, Zol::Ptr< EfpConfig >, efpConfig ),
         ( CONST, Zol::Ptr< const EfpStatus >, efpStatus ),
         ( MAP, uint32_t, EntryIdSet, smEntryToSdkEntry ),
         ( MAP, uint32_t, uint32_t, rateToPolicer ),
         ( MAP, uint32_t, uint32_t, policerIdCache ), // to the rate, of the last generation
         ( VAL, uint32_t, startEntryId ),             // of the next rule's expansion
         ( VAL, ProgramResult, cachedStatus ) );      // of the last updateRules()

 public:
   // What a feature machine works with.
   struct Context {
      uint32_t unit = 0;
      Zol::Ptr< Karvel::KarvelTcamGroupManager > tcamManager;
      Zol::Ptr< Karvel::KarvelBoundedTcamEntryManager > entryManager;
   };

   EfpFeatureSm( const EfpKey& key, const Context& context,
         Zol::Ptr< const EfpSmConfig > efpSmConfig, Zol::Ptr< EfpSmStatus > efpSmStatus,
         Zol::Ptr< EfpConfig > efpConfig, Zol::Ptr< const EfpStatus > efpStatus );

   // The expanded rules in use, by TCAM entry: those handed to the programmer.
   const Zol::Map< uint32_t, EfpRuleData >& rules() const { return efpConfig_->rules(); }

 private:
   void doInit() override;
   void doCleanup() override;

   void updateRules();
   void handleStatusUpdateId();

   // The entry that a rule of an expansion gets; 0: a new one.
   struct Placement {
      uint32_t entryId = 0;
      EfpRuleData rule;
   };
   // Keyed by the requester's rule number.
   using Plan = std::map< uint32_t, std::vector< Placement > >;

   // What one pass has come to; the rules that are in place afterwards have to agree with it.
   struct Pass {
      bool rulesChanged = false;
      bool allocationFailure = false;
   };

   std::vector< Placement > place( const EfpRuleData& rule, const EfpRules& expanded );
   void releaseStaleRules( Pass& pass );
   void releaseLeftovers(
         uint32_t ruleNumber, const std::vector< Placement >& placements, Pass& pass );
   void carryOut( uint32_t ruleNumber, const std::vector< Placement >& placements, Pass& pass );
   bool allocate( EfpRuleData& rule );
   void releaseEntry( uint32_t entryId );

   EfpRules getExpandedRules(
         const EfpRuleData& rule, uint32_t firstEntry, uint32_t policerId ) const;
   uint32_t getPolicer( uint32_t rate );
   uint32_t releasePolicer( uint32_t rate );
   void releaseUnusedPolicers( const std::map< uint32_t, uint32_t >& inUse );
   void releaseAll();
   void handleFailure();

   TcamFeature::EfpFeature feature() const { return key().feature(); }
};

class EfpSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, EfpSm, Zol::EntitySm, ( CONST, uint32_t, unit ),
         ( CONST, Zol::Ptr< EfpConfigColl >, efpConfig ),
         ( CONST, Zol::Ptr< const EfpSmConfigColl >, efpSmConfig ),
         ( CONST, Zol::Ptr< const EfpStatusColl >, efpStatus ),
         ( CONST, Zol::Ptr< EfpSmStatusColl >, efpSmStatus ),
         ( CONST, Zol::Ptr< Karvel::KarvelTcamGroupManager >, tcamManager ),
         ( COLL, EfpKey, EfpFeatureSm, featureSm ) );

 public:
   EfpSm( uint32_t unit, Zol::Ptr< EfpConfigColl > efpConfig,
         Zol::Ptr< const EfpSmConfigColl > efpSmConfig,
         Zol::Ptr< const EfpStatusColl > efpStatus, Zol::Ptr< EfpSmStatusColl > efpSmStatus,
         Zol::Ptr< Karvel::KarvelTcamGroupManager > tcamManager );

 private:
   void doInit() override;
   void doCleanup() override;

   void handleEfpSmConfig( const EfpKey& key );
   void handleEfpStatus( TcamFeature::EfpFeature feature );
   void addFeature( TcamFeature::EfpFeature feature );
   void deleteFeature( TcamFeature::EfpFeature feature );
   Zol::Ptr< Karvel::KarvelBoundedTcamEntryManager > getEntryManager(
         TcamFeature::EfpFeature feature ) const;
};

} // namespace KarvelMirror::Slice
