#include <algorithm>
#include <limits>

#include "Platform/Duolog/Duolog.h"
#include "Platform/Shim/Sdk.h"
#include "PluginMounters/Slice/Egress/EfpSm.h"

namespace KarvelMirror::Slice {

namespace {

Duolog::Handle trace( "EfpFeatureSm" );

} // namespace

EfpFeatureSm::EfpFeatureSm( const EfpKey& key, const Context& context,
      Zol::Ptr< const EfpSmConfig > efpSmConfig, Zol::Ptr< EfpSmStatus > efpSmStatus,
      Zol::Ptr< EfpConfig > efpConfig, Zol::Ptr< const EfpStatus > efpStatus )
      : key_( key ), unit_( context.unit ), tcamManager_( context.tcamManager ),
        entryManager_( context.entryManager ), efpSmConfig_( efpSmConfig ),
        efpSmStatus_( efpSmStatus ), efpConfig_( efpConfig ), efpStatus_( efpStatus ) {}

void EfpFeatureSm::doInit() {
   react< &EfpFeatureSm::updateRules, EfpUpdateBase::Attr::updateId >( efpSmConfig() );
   react< &EfpFeatureSm::handleStatusUpdateId, EfpUpdateBase::Attr::updateId >( efpStatus() );
   if ( efpSmConfig()->updateId() ) {
      updateRules();
   }
}

void EfpFeatureSm::doCleanup() { releaseAll(); }

// --- A generation of rules -----------------------------------------------------------------

void EfpFeatureSm::updateRules() {
   DUOLOG_IN( trace, 1, "EfpFeatureSm::updateRules", " EfpFeature: " << feature() << " start" );
   cachedStatusIs( ProgramResult::success );
   startEntryIdIs( 0 );
   std::map< uint32_t, uint32_t > policersInUse; // to their rates
   const size_t rulesBefore = rules().size();
   Plan plan;
   for ( uint32_t ruleNumber : efpSmConfig()->rules().keys() ) {
      const EfpRuleData rule = efpSmConfig()->rules( ruleNumber );
      uint32_t policerId = 0;
      if ( rule.rate() != 0 ) {
         policerId = getPolicer( rule.rate() );
         policersInUse[ policerId ] = rule.rate();
      }
      const EfpRules expanded = getExpandedRules( rule, startEntryId(), policerId );
      startEntryIdIs( startEntryId() + static_cast< uint32_t >( expanded.rules().size() ) );
      plan[ ruleNumber ] = place( rule, expanded );
   }
   // Releases come first: they make room for new entries.
   Pass pass;
   releaseStaleRules( pass );
   for ( const auto& [ ruleNumber, placements ] : plan ) {
      releaseLeftovers( ruleNumber, placements, pass );
   }
   for ( const auto& [ ruleNumber, placements ] : plan ) {
      if ( !pass.allocationFailure ) {
         carryOut( ruleNumber, placements, pass );
      }
   }
   ZOL_ASSERT_AS(
         "allocationFailure", pass.allocationFailure || rules().size() == startEntryId() );
   ZOL_ASSERT_AS( "rulesChanged", pass.rulesChanged || rules().size() == rulesBefore );
   if ( pass.allocationFailure ) {
      cachedStatusIs( ProgramResult::entryAllocationFailure );
      handleFailure();
      return;
   }
   releaseUnusedPolicers( policersInUse );
   efpConfig()->updateIdIs( efpSmConfig()->updateId() );
   handleStatusUpdateId();
}

EfpRules EfpFeatureSm::getExpandedRules(
      const EfpRuleData& rule, uint32_t firstEntry, uint32_t policerId ) const {
   EfpRules result;
   uint32_t number = firstEntry;
   for ( const KarvelTypes::KarvelPort& port : rule.outPort() ) {
      EfpRuleData expanded = rule;
      expanded.outPortDelAll();
      expanded.outPortIs( port );
      EfpActions actions = rule.efpActions();
      actions.policerIdIs( policerId );
      expanded.efpActionsIs( actions );
      expanded.entryIdIs( number );
      result.rulesIs( number, expanded );
      ++number;
   }
   return result;
}

// An entry stays with its port. Entries whose port has gone are reused for new ports, so that a
// change works in a full TCAM.
std::vector< EfpFeatureSm::Placement > EfpFeatureSm::place(
      const EfpRuleData& rule, const EfpRules& expanded ) {
   std::vector< Placement > placements;
   for ( auto iter = expanded.rules().begin(); iter != expanded.rules().end(); ++iter ) {
      const uint32_t tmp = iter.value().entryId();
      ZOL_ASSERT( tmp == iter.key() );
      placements.push_back( { 0, iter.value() } );
   }
   std::map< KarvelTypes::KarvelPort, uint32_t > held;
   const EntryIdSet entries = smEntryToSdkEntry( rule.entryId() );
   for ( uint32_t id : entries.entry().keys() ) {
      held[ *rules().find( id ).value().outPort().begin() ] = id;
   }
   for ( Placement& placement : placements ) {
      if ( auto same = held.extract( *placement.rule.outPort().begin() ) ) {
         placement.entryId = same.mapped();
      }
   }
   for ( Placement& placement : placements ) {
      if ( placement.entryId == 0 && !held.empty() ) {
         placement.entryId = held.extract( held.begin() ).mapped();
      }
   }
   return placements;
}

void EfpFeatureSm::releaseStaleRules( Pass& pass ) {
   for ( uint32_t ruleNumber : smEntryToSdkEntry().keys() ) {
      if ( efpSmConfig()->rulesHas( ruleNumber ) ) {
         continue;
      }
      for ( uint32_t id : smEntryToSdkEntry( ruleNumber ).entry().keys() ) {
         DUOLOG_IN( trace, 2, "EfpFeatureSm::updateRules",
               " EfpFeature: " << feature() << " releasing no longer needed entry: " << id );
         releaseEntry( id );
         pass.rulesChanged = true;
      }
      smEntryToSdkEntryDel( ruleNumber );
   }
}

void EfpFeatureSm::releaseLeftovers(
      uint32_t ruleNumber, const std::vector< Placement >& placements, Pass& pass ) {
   EntryIdSet entries = smEntryToSdkEntry( ruleNumber );
   for ( uint32_t id : entries.entry().keys() ) {
      const bool isUsed = std::any_of( placements.begin(), placements.end(),
            [ id ]( const Placement& placement ) { return placement.entryId == id; } );
      if ( !isUsed ) {
         DUOLOG_IN( trace, 2, "EfpFeatureSm::updateRules",
               " EfpFeature: " << feature()
                               << " releasing cached no longer needed expanded entry: " << id );
         releaseEntry( id );
         entries.entryDel( id );
         pass.rulesChanged = true;
      }
   }
   smEntryToSdkEntryIs( ruleNumber, entries );
}

// Ends where no entry is left; what was done until then is recorded.
void EfpFeatureSm::carryOut(
      uint32_t ruleNumber, const std::vector< Placement >& placements, Pass& pass ) {
   EntryIdSet entries = smEntryToSdkEntry( ruleNumber );
   for ( const Placement& placement : placements ) {
      EfpRuleData rule = placement.rule;
      rule.entryIdIs( placement.entryId );
      if ( placement.entryId != 0 ) {
         const EfpRuleData before = efpConfig()->rules( placement.entryId );
         if ( !( before == rule ) ) {
            DUOLOG_IN( trace, 2, "EfpFeatureSm::updateRules",
                  " EfpFeature: " << feature() << " rule: " << ruleNumber
                                  << " has changed from: " << before << " to: " << rule );
            pass.rulesChanged = true;
         }
      } else if ( !allocate( rule ) ) {
         pass.allocationFailure = true;
         break;
      } else {
         pass.rulesChanged = true;
      }
      entries.entryIs( rule.entryId(), true );
      efpConfig()->rulesIs( rule );
   }
   smEntryToSdkEntryIs( ruleNumber, entries );
}

bool EfpFeatureSm::allocate( EfpRuleData& rule ) {
   const uint32_t id =
         entryManager()->getEntryWithStats( unit(), rule.ruleDesc(), Shim::FieldStat::byColor );
   if ( id == 0 ) {
      DUOLOG_IN( trace, 0, "EfpFeatureSm::updateRules",
            " EfpFeature: " << feature() << " could not create rule: " << rule
                            << " error: no entry is left" );
      return false;
   }
   rule.entryIdIs( id );
   return true;
}

void EfpFeatureSm::releaseEntry( uint32_t entryId ) {
   efpConfig()->rulesDel( entryId );
   entryManager()->releaseEntry( unit(), entryId );
}

// --- Policers ------------------------------------------------------------------------------

uint32_t EfpFeatureSm::getPolicer( uint32_t rate ) {
   DUOLOG_IN( trace, 2, "EfpFeatureSm::getPolicer",
         " EfpFeature: " << feature() << " Rate: " << rate );
   if ( rateToPolicerHas( rate ) ) {
      return rateToPolicer( rate );
   }
   Shim::bcm_policer_config_s config;
   ::Shim::sdk_->bcm_policer_config_t_init( &config );
   config.mode = ::Shim::sdk_->QX_BCM_POLICER_MODE( static_cast< int >( unit() ) );
   config.flags |= Shim::policerByBytes | Shim::policerColorBlind;
   config.ckbits_sec = rate;
   const uint64_t burst = uint64_t{ rate } * 3 >> 1;
   config.ckbits_burst = static_cast< uint32_t >(
         std::min< uint64_t >( burst, std::numeric_limits< uint32_t >::max() ) );
   uint32_t policerId = 0;
   const bool polCreated = tcamManager()->createPolicer( unit(), config, &policerId );
   ZOL_ASSERT( polCreated );
   rateToPolicerIs( rate, policerId );
   return policerId;
}

uint32_t EfpFeatureSm::releasePolicer( uint32_t rate ) {
   DUOLOG_IN( trace, 2, "EfpFeatureSm::releasePolicer",
         " EfpFeature: " << feature() << " Rate: " << rate );
   ZOL_ASSERT( rateToPolicerHas( rate ) );
   const uint32_t policerId = rateToPolicer( rate );
   tcamManager()->removePolicer( unit(), policerId );
   rateToPolicerDel( rate );
   return policerId;
}

void EfpFeatureSm::releaseUnusedPolicers( const std::map< uint32_t, uint32_t >& inUse ) {
   for ( uint32_t rate : rateToPolicer().keys() ) {
      if ( !inUse.contains( rateToPolicer( rate ) ) ) {
         releasePolicer( rate );
      }
   }
   policerIdCacheDelAll();
   for ( const auto& [ policerId, rate ] : inUse ) {
      policerIdCacheIs( policerId, rate );
   }
}

// --- What became of it ---------------------------------------------------------------------

void EfpFeatureSm::handleStatusUpdateId() {
   DUOLOG_IN( trace, 1, "EfpFeatureSm::handleStatusUpdateId", " EfpFeature: " << feature() );
   const Orv::UniqueId generation = efpConfig()->updateId();
   const bool isAnswered = efpSmStatus()->updateId() == generation;
   if ( efpStatus()->updateId() != generation || isAnswered ) {
      return;
   }
   const bool hasFailed = efpStatus()->status() != ProgramResult::success;
   if ( hasFailed ) {
      cachedStatusIs( efpStatus()->status() );
   }
   // After a failed install these are the rules that were tried: whoever logs the failure needs
   // to know whether they have rates.
   efpSmStatus()->rulesDelAll();
   for ( auto iter = efpConfig()->rules().begin(); iter != efpConfig()->rules().end();
         ++iter ) {
      efpSmStatus()->rulesIs( iter.value() );
   }
   efpSmStatus()->statusIs( cachedStatus() );
   efpSmStatus()->updateIdIs( generation );
   if ( hasFailed ) {
      handleFailure();
      efpSmStatus()->rulesDelAll(); // the update id above has notified all readers
   }
}

void EfpFeatureSm::handleFailure() {
   DUOLOG_IN( trace, 0, "EfpFeatureSm::handleFailure",
         " EfpFeature: " << feature() << " failure: " << cachedStatus() );
   releaseAll();
   efpConfig()->rulesDelAll();
   // A failed allocation leaves the generation without rules; this is its first update id here.
   efpConfig()->updateIdIs( efpSmConfig()->updateId() );
   handleStatusUpdateId();
}

void EfpFeatureSm::releaseAll() {
   for ( uint32_t ruleNumber : smEntryToSdkEntry().keys() ) {
      for ( uint32_t id : smEntryToSdkEntry( ruleNumber ).entry().keys() ) {
         DUOLOG_IN( trace, 2, "EfpFeatureSm::handleFailure",
               " EfpFeature: " << feature() << " releasing existing entry : " << id );
         efpConfig()->rulesDel( id );
         entryManager()->releaseEntry( unit(), id );
      }
   }
   smEntryToSdkEntryDelAll();
   for ( uint32_t rate : rateToPolicer().keys() ) {
      releasePolicer( rate );
   }
   policerIdCacheDelAll();
}

} // namespace KarvelMirror::Slice
