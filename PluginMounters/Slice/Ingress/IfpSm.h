#pragma once

// The feature machines of the ingress field processor: they give every wanted rule of a
// destination a TCAM entry, keep it while the rule stays, take it back when the rule goes, and
// turn the programmer's answer into the feature's status.
//
//    IfpSmConfig ──► IfpFeatureSm ──► IfpConfig ──► the programmer
//    IfpSmStatus ◄── IfpFeatureSm ◄── IfpStatus ◄──┘
//
// A destination has all of its rules, or none: whatever fails takes all of them back.

#include "Platform/Karvel/TcamServices.h"
#include "Platform/Zol/Sm.h"
#include "PluginMounters/Slice/Ingress/IfpStatus.h"
#include "PluginMounters/Slice/Rules/EntryIdSet.h"

namespace KarvelMirror::Slice {

// The ACL feature of a destination: 0 to 3 are features 1 to 4.
Karvel::KarvelAclFeature mtpToFeature( uint8_t mtp );

// The expansion of one configured rule, by TCAM entry.
class IfpRules : public Zol::Value {
   ZOL_VALUE( KarvelMirror::Slice, IfpRules, ( MAP, uint32_t, IfpRuleData, rules ) );
};

class IfpFeatureSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, IfpFeatureSm, Zol::EntitySm, ( CONST, IfpKey, key ),
         ( CONST, Zol::Ptr< IfpConfig >, ifpConfig ),
         ( CONST, Zol::Ptr< const IfpSmConfig >, ifpSmConfig ),
         ( CONST, Zol::Ptr< const IfpStatus >, ifpStatus ),
         ( CONST, Zol::Ptr< IfpSmStatus >, ifpSmStatus ), ( CONST, uint32_t, unit ),
         ( CONST, Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager >, entryManager ),
         ( CONST, Zol::Ptr< Karvel::KarvelTcamGroupManager >, groupManager ),
         ( VAL, ProgramResult, cachedStatus ), // of the last updateRules()
         ( VAL, Orv::UniqueId, reviewedId ),   // likewise
         ( MAP, uint32_t, EntryIdSet, smEntryToSdkEntry ) );

 public:
   IfpFeatureSm( const IfpKey& key, Zol::Ptr< IfpConfig > ifpConfig,
         Zol::Ptr< const IfpSmConfig > ifpSmConfig, Zol::Ptr< const IfpStatus > ifpStatus,
         Zol::Ptr< IfpSmStatus > ifpSmStatus, uint32_t unit,
         Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > entryManager,
         Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager );

 private:
   void doInit() override;
   void doCleanup() override;

   void updateRules();
   void handleUpdateId();
   void handleStatusUpdateId();

   // The outcome of one pass over the rules.
   struct Pass {
      bool rulesChanged = false;
      bool allocationFailure = false;
   };
   void updateRule( const IfpRuleData& rule, Pass& pass );
   bool hasOtherKind( const IfpRuleData& rule ) const;
   void reviseRule( const IfpRuleData& rule, Pass& pass );
   void createRule( const IfpRuleData& rule, Pass& pass );
   void releaseStaleRules( Pass& pass );
   void releaseRule( uint32_t ruleNumber );
   IfpRules getExpandedRules( const IfpRuleData& rule, uint32_t startEntryId ) const;
   void handleFailure();

   Mtp mtp() const { return key().mtp(); }
};

class IfpSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, IfpSm, Zol::EntitySm, ( CONST, uint32_t, unit ),
         ( CONST, Zol::Ptr< IfpConfigColl >, ifpConfigColl ),
         ( CONST, Zol::Ptr< const IfpSmConfigColl >, ifpSmConfigColl ),
         ( CONST, Zol::Ptr< const IfpStatusColl >, ifpStatusColl ),
         ( CONST, Zol::Ptr< IfpSmStatusColl >, ifpSmStatusColl ),
         ( CONST, Zol::Ptr< Karvel::KarvelTcamGroupManager >, groupManager ),
         ( COLL, IfpKey, IfpFeatureSm, featureSm ) );

 public:
   IfpSm( uint32_t unit, Zol::Ptr< IfpConfigColl > ifpConfigColl,
         Zol::Ptr< const IfpSmConfigColl > ifpSmConfigColl,
         Zol::Ptr< const IfpStatusColl > ifpStatusColl,
         Zol::Ptr< IfpSmStatusColl > ifpSmStatusColl,
         Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager );

 private:
   void doInit() override;
   void doCleanup() override;

   void handleIfpSmConfig( const IfpKey& key );
   void handleIfpStatus( Mtp mtp );
   void addFeature( Mtp mtp );
   void deleteFeature( Mtp mtp );
   Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > getEntryManager( Mtp mtp );
};

} // namespace KarvelMirror::Slice
