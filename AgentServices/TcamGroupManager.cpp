#include "AgentServices/TcamGroupManager.h"

#include "AgentServices/TcamEntryManager.h"
#include "Platform/KarvelMirror/Features.h"
#include "Platform/Shim/Sdk.h"
#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Karvel::TcamStatus;
using Shim::Qualifier;

namespace {

// The priority of destination 0's and feature 0's groups; the higher ones follow.
constexpr int destinationPriority = 100;
constexpr int featurePriority = 90;

Qualifier portQualifier( const UnitTraits& traits ) {
   return traits.aclGroup ? Qualifier::portClass : Qualifier::inPorts;
}

// The group of an egress feature: what its rules match copies by.
GroupPurpose egressPurpose( uint32_t unit, Karvel::KarvelTcamFeature feature ) {
   const bool byModule = ::Shim::sdk_->QX_SOC_IS_TOMAHAWKX( static_cast< int >( unit ) );
   GroupPurpose purpose{ qualifierSet( { byModule ? Qualifier::dstPort : Qualifier::outPort,
                               Qualifier::mirrorCopy } ),
      feature.value(), Shim::FieldStage::egress };
   if ( feature == KarvelMirror::greRateLimitFeature ) {
      purpose.qualifiers |= qualifierSet( { Qualifier::ipType, Qualifier::srcIp,
            Qualifier::dstIp, Qualifier::ipProtocol, Qualifier::dscp } );
   }
   return purpose;
}

} // namespace

void TcamGroupManager::unitIs( uint32_t unit, const UnitTraits& traits ) {
   const auto [ at, isNew ] = units_.try_emplace( unit );
   if ( isNew ) {
      at->second.traits = traits;
      at->second.policers = Zol::make< PolicerManager >( unit );
      if ( traits.aclGroup ) {
         at->second.classes = Zol::make< PortClassManager >( unit, traits.classBits );
      }
   }
   ZOL_ASSERT( at->second.traits == traits );
}

TcamGroupManager::Unit& TcamGroupManager::unitOf( uint32_t unit ) {
   const auto known = units_.find( unit );
   ZOL_ASSERT( known != units_.end() );
   return known->second;
}

Zol::Ptr< PortClassManager > TcamGroupManager::portClasses( uint32_t unit ) {
   return unitOf( unit ).classes;
}

// --- Mirror destinations -----------------------------------------------------------------

Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > TcamGroupManager::mirroringEntryManager(
      uint32_t unit, KarvelMirror::Mtp mtp ) {
   return Zol::make< TcamEntryManager >( destination( unit, mtp ).group );
}

TcamStatus TcamGroupManager::groupMirroringAclDataIs(
      uint32_t unit, const Karvel::MirroringAclGroup& contents ) {
   Destination& at = destination( unit, contents.mtp );
   const RefusalNote note( at.group->lastRefusal() );
   if ( contents.type < 0 ) {
      return tcamStatus( at.group->takeAway() );
   }
   if ( at.group->isWanted() && at.contents == contents ) {
      return TcamStatus::success;
   }
   at.contents = contents;
   return at.group->renew();
}

TcamGroupManager::Destination& TcamGroupManager::destination(
      uint32_t unit, KarvelMirror::Mtp mtp ) {
   Unit& of = unitOf( unit );
   Destination& place = of.destinations[ mtp ];
   if ( !place.group ) {
      const GroupPurpose purpose{ qualifierSet( { portQualifier( of.traits ),
                                        Qualifier::dstPort, Qualifier::dstTrunk,
                                        Qualifier::drop, Qualifier::outerVlanId } ),
         destinationPriority - mtp.value() };
      place.group = Zol::make< TcamGroup >( unit, purpose, GroupLife::asTold, of.classes );
   }
   return place;
}

// --- Features ------------------------------------------------------------------------------

Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > TcamGroupManager::mirroringAclEntryManager(
      uint32_t unit, Karvel::KarvelAclFeature feature ) {
   TcamGroup& group = featureGroup( unit, feature );
   if ( TcamEntryManager* present = group.manager() ) {
      return present;
   }
   return Zol::make< TcamEntryManager >( &group, EntriesOfAcls::numbers );
}

TcamStatus TcamGroupManager::groupMirroringAclDataIs(
      uint32_t unit, Karvel::KarvelAclFeature feature, const Karvel::MirroringAclMetadata& ) {
   TcamGroup& group = featureGroup( unit, feature );
   return group.isWanted() ? TcamStatus::success : group.renew();
}

TcamGroup& TcamGroupManager::featureGroup( uint32_t unit, Karvel::KarvelAclFeature feature ) {
   Unit& of = unitOf( unit );
   Zol::Ptr< TcamGroup >& place = of.features[ feature ];
   if ( !place ) {
      const GroupPurpose purpose{ qualifierSet( { portQualifier( of.traits ), Qualifier::ipType,
                                        Qualifier::srcIp, Qualifier::dstIp } ),
         featurePriority - feature.value() };
      place = Zol::make< TcamGroup >( unit, purpose, GroupLife::withEntries, of.classes );
   }
   return *place;
}

// --- The egress stage --------------------------------------------------------------------

Zol::Ptr< Karvel::KarvelBoundedTcamEntryManager > TcamGroupManager::boundedEntryManager(
      Karvel::KarvelTcamFeature feature ) {
   if ( feature != KarvelMirror::portRateLimitFeature &&
         feature != KarvelMirror::greRateLimitFeature ) {
      return nullptr;
   }
   Zol::Ptr< BoundedEntryManager >& manager = bounded_[ feature ];
   if ( !manager ) {
      manager = Zol::make< BoundedEntryManager >();
   }
   bool isThere = false;
   for ( auto& [ unit, of ] : units_ ) {
      if ( of.traits.egressEntries > 0 ) {
         isThere = true;
         manager->unitIs( unit, egressPurpose( unit, feature ),
               static_cast< size_t >( of.traits.egressEntries ), of.policers );
      }
   }
   return isThere ? manager : nullptr;
}

bool TcamGroupManager::createPolicer(
      uint32_t unit, const Shim::bcm_policer_config_s& config, uint32_t* policerId ) {
   // What the chip refuses here it is asked for again when it is attached: that answer counts.
   LastRefusal passing;
   const RefusalNote note( passing );
   return unitOf( unit ).policers->create( config, policerId );
}

Shim::Rc TcamGroupManager::removePolicer( uint32_t unit, uint32_t policerId ) {
   return unitOf( unit ).policers->remove( policerId );
}

// --- For reports -----------------------------------------------------------------------------

LastRefusal TcamGroupManager::lastRefusal( uint32_t unit, KarvelMirror::Mtp mtp ) {
   return destination( unit, mtp ).group->lastRefusal();
}

LastRefusal TcamGroupManager::lastRefusal( uint32_t unit, Karvel::KarvelAclFeature feature ) {
   return featureGroup( unit, feature ).lastRefusal();
}

LastRefusal TcamGroupManager::lastRefusal( uint32_t unit, Karvel::KarvelTcamFeature feature ) {
   const auto at = bounded_.find( feature );
   return at == bounded_.end() ? LastRefusal() : at->second->lastRefusal( unit );
}

ZOL_DEFINE_ENTITY( TcamGroupManager );

} // namespace AgentServices
