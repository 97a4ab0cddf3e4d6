#include "ChipModel/Fields/FieldRules.h"

#include "ChipModel/Fields/FieldCatalogue.h"
#include "ChipModel/Fields/FieldProcessor.h"
#include "ChipModel/Profile.h"

namespace ChipModel {

using Shim::FieldAction;
using Shim::FieldStage;

namespace {

bool isThere( Presence presence, const Profile& profile ) {
   switch ( presence ) {
   case Presence::never:
      return false;
   case Presence::always:
      return true;
   case Presence::withPortClasses:
      return profile.aclGroup;
   case Presence::onTomahawk:
      return profile.tomahawkFamily;
   case Presence::notOnTomahawk:
      return !profile.tomahawkFamily;
   }
   return false;
}

} // namespace

Shim::QualifierSet stageQualifiers( const Profile& profile, FieldStage stage ) {
   Shim::QualifierSet set;
   for ( const FieldRow& row : fieldCatalogue ) {
      const Presence presence = stage == FieldStage::ingress ? row.ingress : row.egress;
      set.set( static_cast< size_t >( row.qualifier ), isThere( presence, profile ) );
   }
   return set;
}

bool isAction( const Profile& profile, FieldStage stage, const ActionValue& action ) {
   const auto destinations = static_cast< uint32_t >( profile.mirrorDestinations );
   const bool ingress = stage == FieldStage::ingress;
   const uint32_t value = action.param0;
   switch ( action.action ) {
   case FieldAction::mirrorIngress:
   case FieldAction::mirrorEgress:
      return ingress && action.param1 < destinations;
   case FieldAction::mirrorIngressTo:
      return ingress && value < destinations;
   case FieldAction::cosQCpuNew:
      return ingress;
   case FieldAction::drop:
      return true;
   case FieldAction::rpDrop:
      return !ingress;
   case FieldAction::svtagEnable:
      return !ingress && value == 1;
   case FieldAction::svtagSignature:
      return !ingress && value <= 0xffff;
   case FieldAction::svtagPrio:
      return !ingress && value <= 7;
   case FieldAction::svtagDeviceId:
      return !ingress && value <= 31;
   case FieldAction::svtagOffset:
      return !ingress && value >= 12 && value <= 64 && value % 2 == 0;
   case FieldAction::svtagSubportNum:
      return !ingress && value <= 255;
   }
   return false;
}

bool mirrorsTo( const ActionValue& action, uint32_t unit, uint32_t destination ) {
   switch ( action.action ) {
   case FieldAction::mirrorIngress:
   case FieldAction::mirrorEgress:
      return action.param0 == unit && action.param1 == destination;
   case FieldAction::mirrorIngressTo:
      return action.param0 == destination;
   default:
      return false;
   }
}

} // namespace ChipModel
