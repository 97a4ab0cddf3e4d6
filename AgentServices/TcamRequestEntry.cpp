#include "AgentServices/TcamRequestEntry.h"

#include <functional>
#include <tuple>

#include "Platform/Karvel/SdkCall.h"
#include "Platform/KarvelMirror/Features.h"

namespace AgentServices {

using KarvelTcam::ActionType;
using KarvelTcam::CounterType;
using KarvelTcam::EntryRequest;
using KarvelTcam::FeatureActionType;
using KarvelTcam::QualifierType;
using Shim::Rc;
using Shim::Sdk;

namespace {

Duolog::Handle trace( "TcamRequestEntry" );

// The priority of mirror destination 0's group; the higher ones follow.
constexpr int groupPriority = 100;

auto parts( const TcamRequestEntry& entry ) {
   return std::tie(
         entry.dstPort, entry.dstTrunk, entry.action, entry.unit, entry.destination );
}

// The action that a type stands for, if an entry for `feature` may have it.
std::optional< Shim::FieldAction > fieldAction( FeatureActionType feature, ActionType type ) {
   if ( feature == FeatureActionType::mirrorEgress && type == ActionType::mirrorEgress ) {
      return Shim::FieldAction::mirrorEgress;
   }
   if ( feature == FeatureActionType::mirrorIngress && type == ActionType::mirrorIngress ) {
      return Shim::FieldAction::mirrorIngress;
   }
   return {};
}

bool actionIs( TcamRequestEntry& entry, const EntryRequest& request ) {
   if ( request.actionParams().size() != 1 ) {
      return false;
   }
   const auto only = request.actionParams().begin();
   const auto action = fieldAction( request.featureAction(), only.key() );
   const KarvelTcam::Action& params = only.value();
   if ( !action || params.type() != only.key() || !params.paramHas( 0 ) ||
         !params.paramHas( 1 ) ) {
      return false;
   }
   entry.action = *action;
   entry.unit = params.param( 0 );
   entry.destination = params.param( 1 );
   return true;
}

bool qualifiersAre( TcamRequestEntry& entry, const EntryRequest& request ) {
   const auto& values = request.qualifier();
   for ( auto iter = values.begin(); iter != values.end(); ++iter ) {
      if ( iter.key() != QualifierType::dstTrunk ) {
         return false;
      }
      entry.dstTrunk = iter.value();
   }
   const auto& ports = request.portQualifier();
   for ( auto iter = ports.begin(); iter != ports.end(); ++iter ) {
      if ( iter.key() != QualifierType::dstPort ) {
         return false;
      }
      entry.dstPort = iter.value();
   }
   return true;
}

// The chip counts the packets and bytes of every entry, whether they are asked for or not.
bool canCount( KarvelTcam::CounterSet counters ) {
   counters.counterIs( CounterType::packets, false );
   counters.counterIs( CounterType::bytes, false );
   return counters == KarvelTcam::CounterSet();
}

Rc qualifyPorts( const KarvelTcam::IntfProfile& profile, uint32_t unit,
      TcamEntryManager& entries, Karvel::EntryId id ) {
   if ( profile.match() == KarvelTcam::IntfMatch::classId ) {
      return entries.qualifyPortsClassId(
            unit, id, profile.ports(), Karvel::ClassSharing::shared );
   }
   return entries.addInPortsForEntry( unit, id, profile.ports(), profile.mask() );
}

} // namespace

bool TcamRequestEntry::operator==( const TcamRequestEntry& other ) const {
   return ports == other.ports && parts( *this ) == parts( other );
}

bool TcamRequestEntry::operator<( const TcamRequestEntry& other ) const {
   if ( ports != other.ports ) {
      return std::less<>()( ports.get(), other.ports.get() );
   }
   return parts( *this ) < parts( other );
}

std::optional< TcamRequestEntry > requestEntry( const EntryRequest& request ) {
   TcamRequestEntry entry;
   entry.ports = request.intfProfile();
   if ( request.classData().stage() != KarvelTcam::LookupStage::ingress ||
         !canCount( request.counterSet() ) || !actionIs( entry, request ) ||
         !qualifiersAre( entry, request ) ) {
      return {};
   }
   return entry;
}

Rc writeEntry( const TcamRequestEntry& contents, uint32_t unit, TcamEntryManager& entries,
      Karvel::EntryId entryId ) {
   const int chip = static_cast< int >( unit );
   const int id = static_cast< int >( entryId );
   Rc rc = Sdk::QX_BCM_E_NONE();
   if ( contents.ports ) {
      rc = qualifyPorts( *contents.ports, unit, entries, entryId );
   }
   if ( rc == Sdk::QX_BCM_E_NONE() && contents.dstPort ) {
      const KarvelTcam::PortQualifier& port = *contents.dstPort;
      rc = KARVEL_SDK_CALL( trace, bcm_field_qualify_DstPort,
            ( chip, id, port.modId(), port.modIdMask(), port.portId(), port.portIdMask() ) );
   }
   if ( rc == Sdk::QX_BCM_E_NONE() && contents.dstTrunk ) {
      const int trunk = static_cast< int >( contents.dstTrunk->data() );
      const uint32_t mask = contents.dstTrunk->mask();
      rc = KARVEL_SDK_CALL( trace, bcm_field_qualify_DstTrunk, ( chip, id, trunk, mask ) );
   }
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      const Shim::FieldAction action = contents.action;
      const uint32_t param0 = contents.unit;
      const uint32_t param1 = contents.destination;
      rc = KARVEL_SDK_CALL( trace, bcm_field_action_add, ( chip, id, action, param0, param1 ) );
   }
   return rc == Sdk::QX_BCM_E_NONE() ? entries.installEntry( unit, entryId ) : rc;
}

GroupPurpose requestGroupPurpose( KarvelTcam::FeatureGroupType group, bool hasPortClasses ) {
   using Shim::Qualifier;
   GroupPurpose purpose{ qualifierSet(
         { Qualifier::inPorts, Qualifier::dstPort, Qualifier::dstTrunk } ) };
   if ( hasPortClasses ) {
      purpose.qualifiers |= qualifierSet( { Qualifier::portClass } );
   }
   purpose.priority = groupPriority - KarvelMirror::mtpOf( group ).value();
   return purpose;
}

} // namespace AgentServices
