#include "PluginMounters/Slice/Egress/EfpProgrammer.h"

#include "Platform/Duolog/Duolog.h"
#include "Platform/Flitlog/Flitlog.h"
#include "PluginMounters/Slice/Egress/EfpSm.h"

namespace KarvelMirror::Slice {

namespace {

Duolog::Handle trace( "EfpProgrammer" );

const Flitlog::Message configChange( "KARVEL_CONFIG_CHANGE", Flitlog::Severity::notice,
      "Configuration change requires the Karvel agent %s to restart",
      "Configuration change requires the switch ASIC to be reconfigured, requiring the Karvel "
      "agent to restart.",
      "No action is required." );
const Flitlog::Message unexpectedRestart( "KARVEL_UNEXPECTED_RESTART", Flitlog::Severity::error,
      "Unexpected restart of Karvel agent %s occurred",
      "Unexpected restart of the Karvel agent occurred.",
      "Collect the agent's traces and contact support." );

using Shim::bcmFieldActionRpDrop;
using Shim::bcmFieldActionSvtagDeviceId;
using Shim::bcmFieldActionSvtagEnable;
using Shim::bcmFieldActionSvtagOffset;
using Shim::bcmFieldActionSvtagPrio;
using Shim::bcmFieldActionSvtagSignature;
using Shim::bcmFieldActionSvtagSubportNum;
using Shim::bcmFieldIpTypeIp;
using Shim::bcmFieldIpTypeIpv4Any;
using Shim::bcmFieldIpTypeIpv6;

bool hasIpType( const EfpQuals& quals ) {
   return quals.ipType() != Plix::AddressFamily::unknown;
}
bool hasProtocol( const EfpQuals& quals ) { return quals.protocolMask() != 0; }
bool hasSrcIp4( const EfpQuals& quals ) { return quals.srcIp().v4Addr() != Plix::IpAddr(); }
bool hasSrcIp6( const EfpQuals& quals ) { return quals.srcIp().v6Addr() != Plix::Ip6Addr(); }
bool hasDstIp4( const EfpQuals& quals ) { return quals.dstIp().v4Addr() != Plix::IpAddr(); }
bool hasDstIp6( const EfpQuals& quals ) { return quals.dstIp().v6Addr() != Plix::Ip6Addr(); }
bool hasDscp( const EfpQuals& quals ) { return quals.dscpMask() != 0; }

// The qualifiers that a rule may lack.
constexpr struct {
   Shim::Qualifier qualifier;
   bool ( *isUsed )( const EfpQuals& );
} optionalQualifiers[] = {
   { Shim::Qualifier::ipType, hasIpType },
   { Shim::Qualifier::ipProtocol, hasProtocol },
   { Shim::Qualifier::srcIp, hasSrcIp4 },
   { Shim::Qualifier::srcIp6, hasSrcIp6 },
   { Shim::Qualifier::dstIp, hasDstIp4 },
   { Shim::Qualifier::dstIp6, hasDstIp6 },
   { Shim::Qualifier::dscp, hasDscp },
};

bool hasActions( const EfpRuleData& rule ) {
   return rule.rate() != 0 || rule.efpActions().svtagEnable();
}

} // namespace

// --- One chip ------------------------------------------------------------------------------

EfpProgrammer::EfpProgrammer( uint32_t unit,
      Zol::Ptr< Karvel::KarvelTcamGroupManager > tcamManager,
      Zol::Ptr< const EfpConfigColl > efpConfigColl, Zol::Ptr< EfpStatusColl > efpStatusColl )
      : unit_( unit ), tcamManager_( tcamManager ), efpConfigColl_( efpConfigColl ),
        efpStatusColl_( efpStatusColl ) {}

void EfpProgrammer::doInit() {
   follow< &EfpProgrammer::handleFeature, EfpConfigColl::Attr::config >( efpConfigColl() );
}

void EfpProgrammer::doCleanup() {
   for ( TcamFeature::EfpFeature feature : featureSm().keys() ) {
      deleteFeature( feature );
   }
}

void EfpProgrammer::handleFeature( TcamFeature::EfpFeature feature ) {
   Zol::Ptr< const EfpConfig > config = efpConfigColl()->config( feature );
   DUOLOG_IN( trace, 1, "EfpProgrammer::handleFeature",
         " EfpFeature: " << feature << " add:" << bool( config ) );
   auto add = [ & ] {
      Zol::Ptr< EfpStatus > status = efpStatusColl()->statusIs( feature );
      auto entryMgr = getFeatureEntryMgr( tcamManager(), feature );
      ZOL_ASSERT( entryMgr );
      featureSmIs( feature, unit(), entryMgr, config, status );
   };
   Zol::follow< &EfpProgrammerFeatureSm::efpConfig >(
         featureSm( feature ), config, [ & ] { deleteFeature( feature ); }, add );
}

void EfpProgrammer::deleteFeature( TcamFeature::EfpFeature feature ) {
   featureSmDel( feature );
   efpStatusColl()->statusDel( feature );
}

// --- One feature ---------------------------------------------------------------------------

EfpProgrammerFeatureSm::EfpProgrammerFeatureSm( TcamFeature::EfpFeature feature, uint32_t unit,
      Zol::Ptr< Karvel::KarvelBoundedTcamEntryManager > entryManager,
      Zol::Ptr< const EfpConfig > efpConfig, Zol::Ptr< EfpStatus > efpStatus )
      : feature_( feature ), unit_( unit ), entryManager_( entryManager ),
        efpConfig_( efpConfig ), efpStatus_( efpStatus ) {}

void EfpProgrammerFeatureSm::doInit() {
   react< &EfpProgrammerFeatureSm::handleUpdate, EfpUpdateBase::Attr::updateId >( efpConfig() );
   if ( efpConfig()->updateId() ) {
      handleUpdate();
   }
}

void EfpProgrammerFeatureSm::doCleanup() {
   for ( uint32_t id : Zol::Set< uint32_t >( entryIdCache() ) ) {
      entryManager()->releaseEntry( unit(), id );
   }
   entryIdCacheDelAll();
   programmedDelAll();
}

void EfpProgrammerFeatureSm::handleUpdate() {
   const Zol::String label = "Mirroring rate limit";
   DUOLOG_IN( trace, 1, "EfpProgrammerFeatureSm::handleUpdate",
         " EfpFeature: " << feature() << " start: " << label );
   const Orv::UniqueId generation = efpConfig()->updateId();
   entryIdCacheDelAll();
   forgetReleasedEntries();
   ProgramResult result = ProgramResult::success;
   for ( uint32_t id : efpConfig()->rules().keys() ) {
      const EfpRuleData rule = efpConfig()->rules( id );
      if ( !programEntry( rule ) ) {
         result = ProgramResult::entryInstallFailure;
      }
      const Shim::Rc rc = installEntry( id );
      if ( rc != 0 ) {
         DUOLOG_IN( trace, 0, "EfpProgrammerFeatureSm::handleUpdate",
               " EfpFeature: " << feature() << " failed to install entry: " << id
                               << " with error code: " << rc );
         result = ProgramResult::entryInstallFailure;
         break;
      }
      entryIdCacheIs( id );
   }
   if ( result != ProgramResult::success ) {
      doCleanup();
   }
   efpStatus()->statusIs( result );
   // Last, so that whoever watches the id sees a complete answer.
   efpStatus()->updateIdIs( generation );
}

void EfpProgrammerFeatureSm::forgetReleasedEntries() {
   for ( uint32_t id : programmed().keys() ) {
      if ( !efpConfig()->rulesHas( id ) ) {
         programmedDel( id );
      }
   }
}

bool EfpProgrammerFeatureSm::programEntry( const EfpRuleData& rule ) {
   const bool isCleared = clearEntry( rule );
   const bool isQualified = qualifyEntry( rule );
   const bool isTagged = addSvtagActions( rule );
   const bool isPoliced = attachPolicer( rule );
   programmedIs( rule.entryId(), rule );
   return isCleared && isQualified && isTagged && isPoliced;
}

bool EfpProgrammerFeatureSm::clearEntry( const EfpRuleData& rule ) {
   if ( !programmedHas( rule.entryId() ) ) {
      return true;
   }
   const EfpRuleData before = programmed( rule.entryId() );
   const int entryId = static_cast< int >( rule.entryId() );
   bool isCleared = true;
   if ( hasActions( before ) ) {
      isCleared = checked( "handleUpdate", entryId,
            KARVEL_SDK_OUTCOME( trace, bcm_field_action_remove_all, ( unit(), entryId ) ) );
   }
   if ( before.rate() != 0 && rule.rate() == 0 ) {
      isCleared &= checked( "handleUpdate", entryId,
            { "detachPolicer( unit(), entryId )",
                  entryManager()->detachPolicer( unit(), rule.entryId() ) } );
   }
   for ( const auto& [ qualifier, isUsed ] : optionalQualifiers ) {
      if ( isUsed( before.efpQuals() ) && !isUsed( rule.efpQuals() ) ) {
         isCleared &= checked( "handleUpdate", entryId,
               KARVEL_SDK_OUTCOME(
                     trace, bcm_field_qualifier_delete, ( unit(), entryId, qualifier ) ) );
      }
   }
   return isCleared;
}

bool EfpProgrammerFeatureSm::qualifyEntry( const EfpRuleData& rule ) {
   DUOLOG_IN( trace, 2, "EfpProgrammerFeatureSm::qualifyEntry",
         " EfpFeature: " << feature() << " EntryId: " << rule.entryId() );
   ZOL_ASSERT( rule.outPorts() == 1 );
   const int entryId = static_cast< int >( rule.entryId() );
   return qualifyPort( rule ) &&
         qualified( entryId,
               KARVEL_SDK_OUTCOME(
                     trace, bcm_field_qualify_MirrorCopy, ( unit(), entryId, 1, 1 ) ) ) &&
         qualifyIpType( rule ) &&
         ( !hasProtocol( rule.efpQuals() ) ||
               qualified( entryId,
                     KARVEL_SDK_OUTCOME( trace, bcm_field_qualify_IpProtocol,
                           ( unit(), entryId, rule.efpQuals().protocol(),
                                 rule.efpQuals().protocolMask() ) ) ) ) &&
         qualifySrcIp( rule ) && qualifyDstIp( rule ) && qualifyDscp( rule );
}

bool EfpProgrammerFeatureSm::qualifyPort( const EfpRuleData& rule ) {
   const int entryId = static_cast< int >( rule.entryId() );
   const KarvelTypes::KarvelPort port = *rule.outPort().begin();
   if ( ::Shim::sdk_->QX_SOC_IS_TOMAHAWKX( static_cast< int >( unit() ) ) ) {
      return qualified( entryId,
            KARVEL_SDK_OUTCOME( trace, bcm_field_qualify_DstPort,
                  ( unit(), entryId, port.modId(), ~0, port.port(), ~0 ) ) );
   }
   return qualified( entryId,
         KARVEL_SDK_OUTCOME(
               trace, bcm_field_qualify_OutPort, ( unit(), entryId, port.sdkPort(), ~0 ) ) );
}

bool EfpProgrammerFeatureSm::qualifyIpType( const EfpRuleData& rule ) {
   const int entryId = static_cast< int >( rule.entryId() );
   const EfpQuals& quals = rule.efpQuals();
   if ( quals.ipType() == Plix::AddressFamily::ipv6 ) {
      return qualified( entryId,
            KARVEL_SDK_OUTCOME(
                  trace, bcm_field_qualify_IpType, ( unit(), entryId, bcmFieldIpTypeIpv6 ) ) );
   }
   if ( quals.ipType() != Plix::AddressFamily::ipv4 ) {
      return true;
   }
   // An address says which version it is.
   return hasSrcIp4( quals ) || hasDstIp4( quals )
         ? qualified( entryId,
                 KARVEL_SDK_OUTCOME( trace, bcm_field_qualify_IpType,
                       ( unit(), entryId, bcmFieldIpTypeIp ) ) )
         : qualified( entryId,
                 KARVEL_SDK_OUTCOME( trace, bcm_field_qualify_IpType,
                       ( unit(), entryId, bcmFieldIpTypeIpv4Any ) ) );
}

bool EfpProgrammerFeatureSm::qualifySrcIp( const EfpRuleData& rule ) {
   const int entryId = static_cast< int >( rule.entryId() );
   if ( hasSrcIp4( rule.efpQuals() ) ) {
      return qualified( entryId,
            KARVEL_SDK_OUTCOME( trace, bcm_field_qualify_SrcIp,
                  ( unit(), entryId, rule.efpQuals().srcIp().v4Addr().value(),
                        rule.efpQuals().srcIpMask().v4Addr().value() ) ) );
   }
   const Plix::Ip6Addr addr = rule.efpQuals().srcIp().v6Addr();
   const Plix::Ip6Addr mask = rule.efpQuals().srcIpMask().v6Addr();
   return !hasSrcIp6( rule.efpQuals() ) ||
         qualified( entryId,
               KARVEL_SDK_OUTCOME(
                     trace, bcm_field_qualify_SrcIp6, ( unit(), entryId, addr, mask ) ) );
}

bool EfpProgrammerFeatureSm::qualifyDstIp( const EfpRuleData& rule ) {
   const int entryId = static_cast< int >( rule.entryId() );
   if ( hasDstIp4( rule.efpQuals() ) ) {
      return qualified( entryId,
            KARVEL_SDK_OUTCOME( trace, bcm_field_qualify_DstIp,
                  ( unit(), entryId, rule.efpQuals().dstIp().v4Addr().value(),
                        rule.efpQuals().dstIpMask().v4Addr().value() ) ) );
   }
   const Plix::Ip6Addr addr = rule.efpQuals().dstIp().v6Addr();
   const Plix::Ip6Addr mask = rule.efpQuals().dstIpMask().v6Addr();
   return !hasDstIp6( rule.efpQuals() ) ||
         qualified( entryId,
               KARVEL_SDK_OUTCOME(
                     trace, bcm_field_qualify_DstIp6, ( unit(), entryId, addr, mask ) ) );
}

// The chip's field is the whole byte of the header, with the DSCP in its upper six bits.
bool EfpProgrammerFeatureSm::qualifyDscp( const EfpRuleData& rule ) {
   constexpr int sixBits = 0x3f;
   const int entryId = static_cast< int >( rule.entryId() );
   const int dscp = rule.efpQuals().dscp() & sixBits;
   const int mask = rule.efpQuals().dscpMask() & sixBits;
   return !hasDscp( rule.efpQuals() ) ||
         qualified( entryId,
               KARVEL_SDK_OUTCOME( trace, bcm_field_qualify_DSCP,
                     ( unit(), entryId, dscp << 2, mask << 2 ),
                     "( unit(), entryId, rule.efpQuals().dscp() << 2, "
                     "rule.efpQuals().dscpMask() << 2 )" ) );
}

bool EfpProgrammerFeatureSm::addSvtagActions( const EfpRuleData& rule ) {
   DUOLOG_IN( trace, 2, "EfpProgrammerFeatureSm::addSvtagActions",
         " EfpFeature: " << feature() << " svtag enable: " << rule.efpActions().svtagEnable() );
   const int entryId = static_cast< int >( rule.entryId() );
   if ( !rule.efpActions().svtagEnable() ) {
      return true;
   }
   const auto added = [ & ]( const Karvel::SdkOutcome& outcome ) {
      return checked( "addSvtagActions", entryId, outcome );
   };
   return added( KARVEL_SDK_OUTCOME( trace, bcm_field_action_add,
                ( unit(), entryId, bcmFieldActionSvtagEnable, 1, 1 ) ) ) &&
         added( KARVEL_SDK_OUTCOME( trace, bcm_field_action_add,
               ( unit(), entryId, bcmFieldActionSvtagSignature,
                     rule.efpActions().svtagSignature(), 0 ) ) ) &&
         added( KARVEL_SDK_OUTCOME( trace, bcm_field_action_add,
               ( unit(), entryId, bcmFieldActionSvtagPrio, rule.efpActions().svtagPrio(),
                     0 ) ) ) &&
         added( KARVEL_SDK_OUTCOME( trace, bcm_field_action_add,
               ( unit(), entryId, bcmFieldActionSvtagDeviceId,
                     rule.efpActions().svtagDeviceId(), 0 ) ) ) &&
         added( KARVEL_SDK_OUTCOME( trace, bcm_field_action_add,
               ( unit(), entryId, bcmFieldActionSvtagOffset, rule.efpActions().svtagOffset(),
                     0 ) ) ) &&
         added( KARVEL_SDK_OUTCOME( trace, bcm_field_action_add,
               ( unit(), entryId, bcmFieldActionSvtagSubportNum,
                     rule.efpActions().svtagChannelId(), 0 ) ) );
}

bool EfpProgrammerFeatureSm::attachPolicer( const EfpRuleData& rule ) {
   DUOLOG_IN( trace, 2, "EfpProgrammerFeatureSm::attachPolicer",
         " EfpFeature: " << feature() << " rate: " << rule.rate()
                         << " policerId: " << rule.efpActions().policerId() );
   if ( rule.rate() == 0 ) {
      return true;
   }
   const int entryId = static_cast< int >( rule.entryId() );
   const bool isAttached = checked( "attachPolicer", entryId,
         { "attachPolicer( unit(), entryId, policerId )",
               entryManager()->attachPolicer( unit(), rule.entryId(),
                     rule.efpActions().policerId(), Karvel::PolicerAttach::single ) } );
   const bool isRedDropped = checked( "attachPolicer", entryId,
         KARVEL_SDK_OUTCOME(
               trace, bcm_field_action_add, ( unit(), entryId, bcmFieldActionRpDrop, 0, 0 ) ) );
   return isAttached && isRedDropped;
}

Shim::Rc EfpProgrammerFeatureSm::installEntry( uint32_t entryId ) {
   DUOLOG_IN( trace, 2, "EfpProgrammerFeatureSm::installEntry",
         " EfpFeature: " << feature() << " installing entry: " << entryId );
   return entryManager()->installEntry( unit(), entryId );
}

bool EfpProgrammerFeatureSm::qualified( int entryId, const Karvel::SdkOutcome& outcome ) const {
   return checked( "qualifyEntry", entryId, outcome );
}

bool EfpProgrammerFeatureSm::checked(
      const char* handler, int entryId, const Karvel::SdkOutcome& outcome ) const {
   const auto& [ callText, rc ] = outcome;
   if ( rc < 0 ) {
      Karvel::keepSdkRefusal( outcome );
      DUOLOG_IN( trace, 0, "EfpProgrammerFeatureSm::" << handler,
            " EfpFeature: " << feature() << " EntryId: " << entryId << " API ERROR:" << callText
                            << " (rc:" << rc << ")" );
   }
   return rc >= 0;
}

ZOL_DEFINE_ENTITY( EfpProgrammerFeatureSm );
ZOL_DEFINE_ENTITY( EfpProgrammer );

} // namespace KarvelMirror::Slice
