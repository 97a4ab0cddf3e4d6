#include "Platform/Duolog/Duolog.h"
#include "PluginMounters/Slice/Ingress/IfpSm.h"

namespace KarvelMirror::Slice {

namespace {

Duolog::Handle trace( "IfpFeatureSm" );

bool isOfAcl( const IfpRuleData& rule ) { return !( rule.aclKey() == Ixo::AclKey() ); }

} // namespace

IfpFeatureSm::IfpFeatureSm( const IfpKey& key, Zol::Ptr< IfpConfig > ifpConfig,
      Zol::Ptr< const IfpSmConfig > ifpSmConfig, Zol::Ptr< const IfpStatus > ifpStatus,
      Zol::Ptr< IfpSmStatus > ifpSmStatus, uint32_t unit,
      Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > entryManager,
      Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager )
      : key_( key ), ifpConfig_( ifpConfig ), ifpSmConfig_( ifpSmConfig ),
        ifpStatus_( ifpStatus ), ifpSmStatus_( ifpSmStatus ), unit_( unit ),
        entryManager_( entryManager ), groupManager_( groupManager ) {}

void IfpFeatureSm::doInit() {
   // The id is watched, too: a generation with unchanged rules needs its own answer, and is how
   // a failure is retried.
   react< &IfpFeatureSm::updateRules, IfpSmConfig::Attr::rules >( ifpSmConfig() );
   react< &IfpFeatureSm::handleUpdateId, IfpUpdateBase::Attr::updateId >( ifpSmConfig() );
   react< &IfpFeatureSm::handleStatusUpdateId, IfpUpdateBase::Attr::updateId >( ifpStatus() );
   updateRules();
}

void IfpFeatureSm::doCleanup() {
   for ( uint32_t ruleNumber : smEntryToSdkEntry().keys() ) {
      releaseRule( ruleNumber );
   }
}

IfpRules IfpFeatureSm::getExpandedRules(
      const IfpRuleData& rule, uint32_t startEntryId ) const {
   DUOLOG_IN( trace, 4, "IfpFeatureSm::getExpandedRules", " entryId " << startEntryId );
   IfpRuleData expanded = rule;
   expanded.entryIdIs( startEntryId );
   IfpRules result;
   result.rulesIs( startEntryId, std::move( expanded ) );
   return result;
}

// Rules and id of one batch come as two notifications: one pass is enough for both.
void IfpFeatureSm::handleUpdateId() {
   DUOLOG_IN( trace, 1, "IfpFeatureSm::handleUpdateId", " MTP: " << mtp() );
   if ( ifpSmConfig()->updateId() != reviewedId() ) {
      updateRules();
   }
}

void IfpFeatureSm::updateRules() {
   DUOLOG_IN( trace, 1, "IfpFeatureSm::updateRules", " MTP: " << mtp() );
   reviewedIdIs( ifpSmConfig()->updateId() );
   cachedStatusIs( ProgramResult::success );
   Pass pass;
   for ( auto iter = ifpSmConfig()->rules().begin(); iter != ifpSmConfig()->rules().end();
         ++iter ) {
      updateRule( iter.value(), pass );
   }
   releaseStaleRules( pass );
   if ( pass.allocationFailure ) {
      cachedStatusIs( ProgramResult::entryAllocationFailure );
      handleFailure();
   } else if ( pass.rulesChanged ) {
      ifpConfig()->updateIdIs( Orv::UniqueId::fresh() );
   }
   handleStatusUpdateId();
}

void IfpFeatureSm::updateRule( const IfpRuleData& rule, Pass& pass ) {
   const bool isPresent = smEntryToSdkEntryHas( rule.entryId() );
   if ( isPresent && hasOtherKind( rule ) ) {
      releaseRule( rule.entryId() );
      createRule( rule, pass );
   } else if ( isPresent ) {
      reviseRule( rule, pass );
   } else {
      createRule( rule, pass );
   }
}

// Whether the number of this rule was one of another kind. What it was given does not serve then:
// the id of an ACL's rule need not be an entry of the chip.
bool IfpFeatureSm::hasOtherKind( const IfpRuleData& rule ) const {
   const uint32_t baseEntry = smEntryToSdkEntry( rule.entryId() ).entry().begin().key();
   return isOfAcl( ifpConfig()->rules( baseEntry ) ) != isOfAcl( rule );
}

void IfpFeatureSm::reviseRule( const IfpRuleData& rule, Pass& pass ) {
   EntryIdSet entries = smEntryToSdkEntry( rule.entryId() );
   const uint32_t baseEntry = entries.entry().begin().key();
   DUOLOG_IN( trace, 3, "IfpFeatureSm::updateRules", " base entry : " << baseEntry );
   const IfpRules expanded = getExpandedRules( rule, baseEntry );
   for ( auto iter = expanded.rules().begin(); iter != expanded.rules().end(); ++iter ) {
      auto present = ifpConfig()->rules().find( iter.key() );
      const bool isPresent = present != ifpConfig()->rules().end();
      if ( isPresent && present.value() == iter.value() ) {
         continue;
      }
      DUOLOG_IN( trace, 2, "IfpFeatureSm::updateRules",
            " IfpFeature: " << mtp() << " entry " << iter.key() << " has changed from: "
                            << ifpConfig()->rules( iter.key() ) << " to: " << iter.value() );
      ifpConfig()->rulesIs( iter.value() );
      pass.rulesChanged = true;
   }
   for ( uint32_t id : entries.entry().keys() ) {
      if ( !expanded.rulesHas( id ) ) {
         DUOLOG_IN( trace, 2, "IfpFeatureSm::updateRules",
               " releasing no longer needed expanded entry: " << id );
         entryManager()->releaseEntry( unit(), id );
         ifpConfig()->rulesDel( id );
         entries.entryDel( id );
         pass.rulesChanged = true;
      }
   }
   smEntryToSdkEntryIs( rule.entryId(), entries );
}

void IfpFeatureSm::createRule( const IfpRuleData& rule, Pass& pass ) {
   const Karvel::TcamRequestKey requestKey( mtp(), rule.aclKey().aclName(),
         static_cast< uint8_t >( rule.aclKey().aclType() ), rule.entryId(), 0 );
   const uint32_t entryId =
         entryManager()->getEntry( unit(), rule.ruleDesc(), requestKey ).entryId;
   if ( entryId == 0 ) {
      DUOLOG_IN( trace, 0, "IfpFeatureSm::updateRules",
            " could not create rule: " << rule << " error: " << entryId );
      pass.allocationFailure = true;
      return;
   }
   DUOLOG_IN( trace, 2, "IfpFeatureSm::updateRules",
         " created rule: " << rule << " ret: " << entryId );
   EntryIdSet entries;
   const IfpRules expanded = getExpandedRules( rule, entryId );
   for ( auto iter = expanded.rules().begin(); iter != expanded.rules().end(); ++iter ) {
      ifpConfig()->rulesIs( iter.value() );
      entries.entryIs( iter.key(), true );
   }
   smEntryToSdkEntryIs( rule.entryId(), entries );
   pass.rulesChanged = true;
}

void IfpFeatureSm::releaseStaleRules( Pass& pass ) {
   for ( uint32_t ruleNumber : smEntryToSdkEntry().keys() ) {
      if ( !ifpSmConfig()->rulesHas( ruleNumber ) ) {
         releaseRule( ruleNumber );
         pass.rulesChanged = true;
      }
   }
}

void IfpFeatureSm::releaseRule( uint32_t ruleNumber ) {
   for ( uint32_t id : smEntryToSdkEntry( ruleNumber ).entry().keys() ) {
      DUOLOG_IN( trace, 2, "IfpFeatureSm::updateRules",
            " releasing no longer needed entry: " << id );
      ifpConfig()->rulesDel( id );
      entryManager()->releaseEntry( unit(), id );
   }
   smEntryToSdkEntryDel( ruleNumber );
}

void IfpFeatureSm::handleStatusUpdateId() {
   DUOLOG_IN( trace, 1, "IfpFeatureSm::handleStatusUpdateId", " MTP: " << mtp() );
   if ( ifpStatus()->updateId() != ifpConfig()->updateId() ) {
      return; // an answer to an older generation
   }
   if ( ifpStatus()->status() == ProgramResult::success ) {
      ifpSmStatus()->rulesDelAll();
      for ( auto iter = ifpConfig()->rules().begin(); iter != ifpConfig()->rules().end();
            ++iter ) {
         ifpSmStatus()->rulesIs( iter.value() );
      }
   } else if ( ifpStatus()->status() == ProgramResult::entryInstallFailure ) {
      cachedStatusIs( ProgramResult::entryInstallFailure );
      handleFailure();
   }
   ifpSmStatus()->statusIs(
         cachedStatus() == ProgramResult::success ? ifpStatus()->status() : cachedStatus() );
   ifpSmStatus()->updateIdIs( ifpSmConfig()->updateId() );
}

void IfpFeatureSm::handleFailure() {
   DUOLOG_IN( trace, 0, "IfpFeatureSm::handleFailure",
         " MTP: " << mtp() << " failure: " << cachedStatus() );
   for ( uint32_t id : ifpConfig()->rules().keys() ) {
      DUOLOG_IN(
            trace, 2, "IfpFeatureSm::handleFailure", " releasing existing entry : " << id );
      ifpConfig()->rulesDel( id );
      entryManager()->releaseEntry( unit(), id );
   }
   smEntryToSdkEntryDelAll();
   ifpConfig()->rulesDelAll();
   ifpConfig()->updateIdIs( Orv::UniqueId::fresh() );
}

} // namespace KarvelMirror::Slice
