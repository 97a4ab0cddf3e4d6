#include "ChipModel/Fields/FieldRules.h"

#include <initializer_list>

#include "ChipModel/Fields/FieldProcessor.h"
#include "ChipModel/Profile.h"

namespace ChipModel {

namespace {

using Shim::FieldAction;
using Shim::FieldStage;
using Shim::Qualifier;
using Shim::QualifierSet;

QualifierSet setOf( std::initializer_list< Qualifier > list ) {
   QualifierSet set;
   for ( Qualifier qualifier : list ) {
      set.set( static_cast< size_t >( qualifier ) );
   }
   return set;
}

} // namespace

QualifierSet stageQualifiers( const Profile& profile, FieldStage stage ) {
   const QualifierSet egressOnly = setOf( { Qualifier::outPort, Qualifier::mirrorCopy } );
   if ( stage == FieldStage::ingress ) {
      const QualifierSet missing =
            profile.aclGroup ? QualifierSet() : setOf( { Qualifier::portClass } );
      return ~( egressOnly | missing );
   }
   const QualifierSet ingressOnly = setOf( { Qualifier::inPorts, Qualifier::portClass,
         Qualifier::dstTrunk, Qualifier::drop, Qualifier::mplsLabel, Qualifier::mplsInnerLabel,
         Qualifier::dstClassL2, Qualifier::rangeCheck } );
   const QualifierSet missing =
         setOf( { profile.tomahawkFamily ? Qualifier::outPort : Qualifier::dstPort } );
   return ~( ingressOnly | missing );
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

} // namespace ChipModel
