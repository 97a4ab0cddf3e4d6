#include "AgentServices/TcamGroupManager.h"

#include "AgentServices/TcamEntryManager.h"
#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Karvel::TcamStatus;
using Shim::Qualifier;

namespace {

// Of destination 0 and feature 0. The higher ones follow.
constexpr int destinationPriority = 100;
constexpr int featurePriority = 90;

Qualifier portQualifier( const UnitTraits& traits ) {
   return traits.aclGroup ? Qualifier::portClass : Qualifier::inPorts;
}

} // namespace

void TcamGroupManager::unitIs( uint32_t unit, const UnitTraits& traits ) {
   const auto [ at, isNew ] = units_.try_emplace( unit );
   if ( isNew ) {
      at->second.traits = traits;
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

// --- Of a mirror destination -------------------------------------------------------------

Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > TcamGroupManager::mirroringEntryManager(
      uint32_t unit, KarvelMirror::Mtp mtp ) {
   return Zol::make< TcamEntryManager >( destination( unit, mtp ).group );
}

TcamStatus TcamGroupManager::groupMirroringAclDataIs(
      uint32_t unit, const Karvel::MirroringAclGroup& contents ) {
   Destination& at = destination( unit, contents.mtp );
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

// --- Of a feature --------------------------------------------------------------------------

Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > TcamGroupManager::mirroringAclEntryManager(
      uint32_t unit, Karvel::KarvelAclFeature feature ) {
   TcamGroup& group = featureGroup( unit, feature );
   if ( TcamEntryManager* present = group.manager() ) {
      return present;
   }
   return Zol::make< TcamEntryManager >( &group );
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

} // namespace AgentServices
