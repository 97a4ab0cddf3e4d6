// The part of the ingress programmer that mirrors by ACLs.

#include <algorithm>
#include <vector>

#include "Platform/Duolog/Duolog.h"
#include "Platform/Karvel/SdkCall.h"
#include "Platform/Zol/Assert.h"
#include "PluginMounters/Slice/Ingress/IfpProgrammer.h"

namespace KarvelMirror::Slice {

namespace {

Duolog::Handle trace( "IfpProgrammerAcl" );

using Shim::bcmFieldActionCosQCpuNew;
using Shim::bcmFieldActionDrop;
using Shim::bcmFieldQualifyDstClassL2;

constexpr uint32_t vlanIdBits = 0xfff;
constexpr uint32_t anyLength = 0; // rules do not look at the length of a packet

bool succeeded( Shim::Rc rc ) { return rc == ::Shim::sdk_->QX_BCM_E_NONE(); }

// The part of a filter that every fragment of a datagram can be matched against.
Acl::IpFilter withoutL4( Acl::IpFilter filter ) {
   filter.srcPortDel();
   filter.dstPortDel();
   filter.tcpFlagsDel();
   filter.tcpFlagsMaskDel();
   filter.icmpDel();
   filter.icmpMaskDel();
   return filter;
}

// The protocols of what a rule matches that names none, but something that only they have.
std::vector< uint8_t > protocolsWith( const Acl::IpFilter& filter, Acl::AclType aclType ) {
   constexpr uint8_t icmp = 1, tcp = 6, udp = 17, icmp6 = 58, sctp = 132;
   if ( filter.tcpFlagsMask() != 0 ) {
      return { tcp };
   }
   if ( filter.icmpMask() != 0 ) {
      return { aclType == Acl::ipv6() ? icmp6 : icmp };
   }
   return { tcp, udp, sctp };
}

// What later fragments have to match to belong to a rule. They have no layer-4 header, so a rule
// that names fields of it alone is for those of every protocol that has them.
std::vector< Acl::IpFilter > fragmentFilters(
      const Acl::IpFilter& filter, Acl::AclType aclType ) {
   Acl::IpFilter l3 = withoutL4( filter );
   l3.fragmentsIs( Acl::Fragments::later );
   if ( l3.protoMask() != 0 ) {
      return { l3 };
   }
   std::vector< Acl::IpFilter > filters;
   for ( const uint8_t protocol : protocolsWith( filter, aclType ) ) {
      l3.protoIs( protocol );
      l3.protoMaskIs( 0xff );
      filters.push_back( l3 );
   }
   return filters;
}

// Whether a rule names an outer VLAN other than this one.
bool contradicts( const Acl::IpFilter& filter, uint16_t vlanId ) {
   return ( ( filter.vlanId() ^ vlanId ) & filter.vlanIdMask() ) != 0;
}
bool contradicts( const Acl::MacFilter& filter, uint16_t vlanId ) {
   return ( ( filter.vlanId() ^ vlanId ) & filter.vlanIdMask() ) != 0;
}

} // namespace

// --- One ACL -------------------------------------------------------------------------------

bool IfpProgrammerMtpSm::addMirroringSessionAcls(
      const Zol::String& sessionName, const IfpRuleData& rule ) {
   DUOLOG_IN( trace, 1, "IfpProgrammerMtpSm::addMirroringSessionAcls",
         " Mirroring session: " << sessionName );
   const Ixo::AclKey& key = rule.aclKey();
   Zol::Ptr< const Acl::AclTypeConfig > aclTypeCfg =
         mirroringAclConfig()->aclTypeConfig( key.aclType() );
   ZOL_ASSERT( aclTypeCfg );
   Zol::Ptr< const Acl::AclConfig > aclCfg = aclTypeCfg->acl( key.aclName() );
   if ( !aclCfg || !aclCfg->currCfg() || mirroringKarvelAclDataHas( key ) ) {
      DUOLOG_IN( trace, 0, "IfpProgrammerMtpSm::addMirroringSessionAcls",
            " no acl to apply for session: " << sessionName << " acl: " << key );
      return false;
   }
   DUOLOG_IN( trace, 1, "IfpProgrammerMtpSm::addMirroringSessionAcls",
         " Programming " << key.aclType() << " acl: " << key.aclName() );
   const Zol::Ptr< const Acl::RuleList > rules = aclCfg->currCfg();
   AclBuild build = startAcl( sessionName, rule );
   if ( createAcl( build, *rules ) != Ixo::aclCreateErrorNone() ) {
      DUOLOG( trace, 0,
            "Failed to create acl for session: " << sessionName << " Not applying acl "
                                                 << key.aclName() );
      DUOLOG( trace, 0, "There was an error while creating acl " << key.aclName() );
      withdrawAcl( key );
      return false;
   }
   DUOLOG( trace, 2, "Trying to add mirroring action to acl " << key.aclName() );
   const AclCreateError err = addMirrorDestinationToAcl(
         *build.aclData, build.karvelAclData.get(), rule.actions().param0() );
   ZOL_ASSERT( err == Ixo::aclCreateErrorNone() );
   if ( actionState_ == ActionState::dropsTraffic ) {
      noteProblem( build, AclCreateError::aclCreateErrorHardware );
   }
   const bool isApplied = actionState_ != ActionState::dropsTraffic &&
         applyAcl( build ) == Ixo::aclCreateErrorNone();
   if ( isApplied && actionState_ == ActionState::incomplete ) {
      noteProblem( build, AclCreateError::aclCreateErrorIncomplete );
   }
   if ( !isApplied ) {
      DUOLOG( trace, 0, "There was an error while applying acl " << key.aclName() );
      withdrawAcl( key );
      return false;
   }
   DUOLOG( trace, 3, "sacl Key " << key );
   mirroringAclCurrConfigIs( key, rules );
   return true;
}

IfpProgrammerMtpSm::AclBuild IfpProgrammerMtpSm::startAcl(
      const Zol::String& sessionName, const IfpRuleData& rule ) {
   const Ixo::AclKey& key = rule.aclKey();
   AclBuild build;
   build.sessionName = sessionName;
   build.aclData = mirrorAclDataIs( key );
   build.aclData->fragMapIs()->infoDelAll();
   build.karvelAclData = karvelAclHelper()->karvelAclDataNew( key, feature() );
   mirroringKarvelAclDataIs( key, build.karvelAclData );
   build.unitData = build.karvelAclData->unitDataIs( unit() );
   build.udfData.keyIs( key );
   Zol::Set< uint16_t > vlanIds;
   for ( const Plix::IntfId& intf : rule.aclPort() ) {
      DUOLOG( trace, 3, "Found interface: " << intf.name() );
      if ( intf.isSubIntf() ) {
         build.subIntfPorts.intfIs( intf );
         vlanIds.insert( intf.vlanId() );
      } else {
         build.ports.intfIs( intf );
      }
   }
   // Sub-interfaces with the same outer VLAN share their entries.
   uint32_t subRuleNum = 0;
   for ( uint16_t vlanId : vlanIds ) {
      build.unitData->sessionSrcSubIntfEntriesIs( ++subRuleNum, vlanId );
   }
   return build;
}

Ixo::AclCreateError IfpProgrammerMtpSm::createAcl(
      AclBuild& build, const Acl::RuleList& rules ) {
   const Zol::String prefix = build.sessionName + " " + build.aclName() + "|";
   Zol::String name;
   for ( const Acl::RuleConfig& rule : rules.rules ) {
      DUOLOG( trace, 3, " Trying to program rule: " << rule );
      name.assign( prefix ).append( rule.name() );
      const AclCreateError error = build.aclType() == Acl::mac()
            ? createMirroringMacAclRule( build, rule, name )
            : createMirroringIpAclRule( build, rule, name );
      if ( error != Ixo::aclCreateErrorNone() ) {
         return error;
      }
   }
   return Ixo::aclCreateErrorNone();
}

Ixo::AclCreateError IfpProgrammerMtpSm::applyAcl( AclBuild& build ) {
   for ( const Ixo::IxoPortList* list : { &build.ports, &build.subIntfPorts } ) {
      for ( const Plix::IntfId& intf : list->intf() ) {
         DUOLOG( trace, 3,
               " Trying to apply mirroring acl " << build.aclName() << " to intf "
                                                 << intf.name() );
         tryAddingVlanQualifier( *build.unitData, intf );
         if ( addPortToMirroringAcl( build.aclData->aclKey(), intf ) ) {
            DUOLOG( trace, 2, "Applying mirroring acl " << build.aclName() );
         } else {
            DUOLOG( trace, 2, " Didn't dirty the acl " << build.aclName() );
         }
      }
   }
   DUOLOG( trace, 3, "Going to update inports qualifier for interface sources" );
   build.unitData->sessionSrcIntfListIs( build.ports );
   DUOLOG( trace, 3, "Going to update inports qualifier for subinterface sources" );
   build.unitData->sessionSrcSubIntfListIs( build.subIntfPorts );
   AclCreateError error = karvelAclHelper()->updateAclPortsInUnits( *build.karvelAclData );
   if ( error == Ixo::aclCreateErrorNone() && unitDirty( unit() ) ) {
      DUOLOG( trace, 2, "Trying to commit mirroring acl " << build.aclName() );
      error = karvelAclHelper()->commitAcl( *build.karvelAclData, unit() );
      unitDirtyDel( unit() );
   }
   if ( error == Ixo::aclCreateErrorNone() ) {
      mirroringUdfDataIs( build.aclData->aclKey(), build.udfData );
   }
   return error;
}

bool IfpProgrammerMtpSm::addPortToMirroringAcl(
      const Ixo::AclKey& aclKey, const Plix::IntfId& intf ) {
   Ixo::IxoPortList ports = aclToIntf( aclKey );
   if ( ports.intfHas( intf ) ) {
      return false;
   }
   ports.intfIs( intf );
   aclToIntfIs( aclKey, ports );
   unitDirtyIs( unit(), true );
   return true;
}

void IfpProgrammerMtpSm::withdrawAcl( const Ixo::AclKey& aclKey ) {
   if ( auto karvelAclData = mirroringKarvelAclData( aclKey ) ) {
      karvelAclHelper()->withdrawAcl( *karvelAclData );
   }
   mirroringKarvelAclDataDel( aclKey );
   mirrorAclDataDel( aclKey );
   mirroringUdfDataDel( aclKey );
   mirroringAclCurrConfigDel( aclKey );
   aclToIntfDel( aclKey );
}

void IfpProgrammerMtpSm::withdrawAcls() {
   for ( const Ixo::AclKey& aclKey : mirroringKarvelAclData().keys() ) {
      withdrawAcl( aclKey );
   }
}

// --- Its rules -----------------------------------------------------------------------------

Ixo::AclCreateError IfpProgrammerMtpSm::createMirroringIpAclRule(
      AclBuild& build, const Acl::RuleConfig& ruleConfig, const Zol::String& name ) {
   const Acl::AclType aclType = build.aclType();
   ZOL_ASSERT( ( aclType == Acl::ip() ) || ( aclType == Acl::ipv6() ) );
   const Acl::IpFilter& filter = ruleConfig.ip();
   const Karvel::IpAclRuleData ruleData = karvelAclHelper()->createIpAclRuleData(
         aclType, ruleConfig, filter.ecn(), filter.ecnMask() );
   const uint32_t ruleNum = build.nextRuleNum++;
   DUOLOG( trace, 3, "ruleNum = " << ruleNum << ", creating ip rule" );
   IpAclRuleHelperReturnValue result =
         createMirroringIpAclRuleHelper( build, ruleData, ruleNum, name );
   // Fragments without layer-4 header may well belong to what a rule permits, so they are
   // mirrored with it. A rule that denies does not decide on what it cannot see.
   if ( ruleConfig.action() == Acl::RuleAction::permit && filter.matchesL4() &&
         filter.fragments() == Acl::Fragments::any ) {
      for ( const Acl::IpFilter& fragments : fragmentFilters( filter, aclType ) ) {
         if ( result.error() == Ixo::aclCreateErrorNone() &&
               checkMirroringIpFragRule( build, ruleConfig, fragments, ruleNum ) ) {
            result = createMirroringIpFragRule(
                  build, ruleData, fragments, build.nextRuleNum++, name );
         }
      }
   }
   return result.error();
}

IfpProgrammerMtpSm::IpAclRuleHelperReturnValue IfpProgrammerMtpSm::
      createMirroringIpAclRuleHelper( AclBuild& build, const Karvel::IpAclRuleData& ruleData,
            uint32_t ruleNum, const Zol::String& name ) {
   IpAclRuleHelperReturnValue result;
   // Sub-rule 0 is for the ports as a whole, the others each for one outer VLAN.
   auto create = [ & ]( uint32_t subRuleNum, uint16_t vlanId ) {
      DUOLOG( trace, 4,
            "AclType:" << ruleData.aclType << "RuleNum:" << ruleNum << "SubRuleNum:"
                       << subRuleNum << "ecnData:" << uint32_t{ ruleData.ecnData } << "ecnMask:"
                       << uint32_t{ ruleData.ecnMask } << "sport:" << ruleData.filter.srcPort()
                       << "dport:" << ruleData.filter.dstPort()
                       << "tcpFlag:" << uint32_t{ ruleData.filter.tcpFlags() }
                       << "ipLen:" << anyLength << "subIntf:" << vlanId );
      AclCreateError error = karvelAclHelper()->createIpAclRule(
            *build.karvelAclData, unit(), ruleNum, subRuleNum, ruleData, name );
      if ( error == Ixo::aclCreateErrorNone() && vlanId != 0 ) {
         error = addOuterVlan( build, ruleNum, subRuleNum, vlanId );
      }
      tryAddingUdfQualifiers( *build.unitData, build.udfData, ruleNum, subRuleNum );
      result.errorIs( error );
      if ( error != Ixo::aclCreateErrorNone() ) {
         return false;
      }
      result.rulesProgrammedIs( result.rulesProgrammed() + 1 );
      return true;
   };
   if ( !build.ports.intf().empty() && !create( 0, 0 ) ) {
      return result;
   }
   const auto& subIntfEntries = build.unitData->sessionSrcSubIntfEntries();
   for ( auto iter = subIntfEntries.begin(); iter != subIntfEntries.end(); ++iter ) {
      if ( !contradicts( ruleData.filter, iter.value() ) &&
            !create( iter.key(), iter.value() ) ) {
         break;
      }
   }
   return result;
}

bool IfpProgrammerMtpSm::checkMirroringIpFragRule( AclBuild& build,
      const Acl::RuleConfig& ruleConfig, const Acl::IpFilter& fragments, uint32_t ruleNum ) {
   const Zol::Ptr< Ixo::AclFragMap > fragMap = build.aclData->fragMap();
   if ( fragMap->infoHas( fragments ) ) {
      return false;
   }
   if ( ruleConfig.intf().empty() ) {
      fragMap->infoIs( fragments, ruleNum );
   }
   return true;
}

IfpProgrammerMtpSm::IpAclRuleHelperReturnValue IfpProgrammerMtpSm::createMirroringIpFragRule(
      AclBuild& build, const Karvel::IpAclRuleData& ruleData, const Acl::IpFilter& fragments,
      uint32_t ruleNum, const Zol::String& name ) {
   DUOLOG( trace, 3, "ruleNum = " << ruleNum << " creating ip frag rule" );
   Karvel::IpAclRuleData fragRuleData = ruleData;
   fragRuleData.filter = fragments;
   return createMirroringIpAclRuleHelper( build, fragRuleData, ruleNum, name );
}

Ixo::AclCreateError IfpProgrammerMtpSm::createMirroringMacAclRule(
      AclBuild& build, const Acl::RuleConfig& ruleConfig, const Zol::String& name ) {
   const Acl::AclType aclType = build.aclType();
   ZOL_ASSERT( aclType == Acl::mac() );
   const uint32_t ruleNum = build.nextRuleNum++;
   AclCreateError error = Ixo::aclCreateErrorNone();
   if ( !build.ports.intf().empty() ) {
      error = karvelAclHelper()->createMacAclRule(
            *build.karvelAclData, unit(), ruleNum, 0, ruleConfig, name );
   }
   const auto& subIntfEntries = build.unitData->sessionSrcSubIntfEntries();
   for ( auto iter = subIntfEntries.begin();
         iter != subIntfEntries.end() && error == Ixo::aclCreateErrorNone(); ++iter ) {
      if ( contradicts( ruleConfig.mac(), iter.value() ) ) {
         continue;
      }
      error = karvelAclHelper()->createMacAclRule(
            *build.karvelAclData, unit(), ruleNum, iter.key(), ruleConfig, name );
      if ( error == Ixo::aclCreateErrorNone() ) {
         error = addOuterVlan( build, ruleNum, iter.key(), iter.value() );
      }
   }
   return error;
}

Ixo::AclCreateError IfpProgrammerMtpSm::addOuterVlan(
      const AclBuild& build, uint32_t ruleNum, uint32_t subRuleNum, uint16_t vlanId ) {
   const AclCreateError error = maybeAddOuterVlanIdQualifier(
         *build.unitData, ruleNum, subRuleNum, vlanId, vlanIdBits );
   if ( error != Ixo::aclCreateErrorNone() ) {
      noteProblem( build, error );
   }
   return error;
}

Ixo::AclCreateError IfpProgrammerMtpSm::maybeAddOuterVlanIdQualifier(
      const Karvel::KarvelAclUnitData& unitData, uint32_t ruleNum, uint32_t subRuleNum,
      uint32_t vlanId, uint32_t vlanMask ) {
   DUOLOG( trace, 3,
         "vlanId = " << vlanId << ", ruleNum = " << ruleNum
                     << ", subRuleNum = " << subRuleNum );
   const uint32_t unit = unitData.unit();
   for ( const Karvel::AclEntry& entry : unitData.entries().ofSubRule( ruleNum, subRuleNum ) ) {
      DUOLOG(
            trace, 3, " unit: " << unit << " vlanId: " << vlanId << " vlanMask: " << vlanMask );
      const Shim::Rc rc = KARVEL_SDK_CALL_AS( rv, trace, bcm_field_qualify_OuterVlanId,
            ( unit, entry.entryId, vlanId, vlanMask ),
            "( unit, entryIter.key(), vlanId, vlanMask )" );
      if ( !succeeded( rc ) ) {
         return AclCreateError::aclCreateErrorHardware;
      }
   }
   return Ixo::aclCreateErrorNone();
}

void IfpProgrammerMtpSm::tryAddingUdfQualifiers(
      const Karvel::KarvelAclUnitData&, const AclUdfData&, uint32_t, uint32_t ) {}

void IfpProgrammerMtpSm::tryAddingVlanQualifier(
      const Karvel::KarvelAclUnitData&, const Plix::IntfId& ) {}

// --- Its action ----------------------------------------------------------------------------

Ixo::AclCreateError IfpProgrammerMtpSm::addMirrorDestinationToAcl( const Ixo::AclData& aclData,
      const Karvel::KarvelAclData* saclData, uint32_t mirrorDestId ) {
   DUOLOG_IN( trace, 2, "IfpProgrammerMtpSm::addMirrorDestinationToAcl",
         " Mirror dest Id: " << mirrorDestId );
   ZOL_ASSERT_AS( "saclData != __null", saclData );
   actionState_ = ActionState::done;
   Zol::Ptr< const Karvel::KarvelAclUnitData > unitData = saclData->unitData( unit() );
   if ( unitData ) {
      for ( const Karvel::AclEntry& entry : unitData->entries().all() ) {
         DUOLOG( trace, 3, "Trying to add mirroring action to acl rule num " << entry.ruleNum );
         mirrorByEntry( aclData.aclKey(), unitData->unit(), entry.entryId, mirrorDestId );
      }
   }
   return Ixo::aclCreateErrorNone();
}

void IfpProgrammerMtpSm::mirrorByEntry(
      const Ixo::AclKey& acl, uint32_t unit, Karvel::EntryId entry, uint32_t mirrorDestId ) {
   uint32_t newQ = 0;
   uint32_t utemp = 0;
   const Presence cpu = presence( KARVEL_SDK_OUTCOME( trace, bcm_field_action_get,
         ( unit, entry, bcmFieldActionCosQCpuNew, &newQ, &utemp ),
         "( unit, entryIter.key(), bcmFieldActionCosQCpuNew, &newQ, &utemp )" ) );
   const Presence drop = presence( KARVEL_SDK_OUTCOME( trace, bcm_field_action_get,
         ( unit, entry, bcmFieldActionDrop, &utemp, &utemp ),
         "( unit, entryIter.key(), bcmFieldActionDrop, &utemp, &utemp )" ) );
   auto describe = [ & ]( const char* what ) {
      return Zol::String( what ) + acl.aclName() + " acl entry " + std::to_string( entry ) +
            " mirror dest Id " + std::to_string( mirrorDestId );
   };
   // Packets that the agent traps for itself on its lowest queue are not mirrored, nor is what an
   // entry matches of which it is unknown whether it denies.
   const bool goesToCpu = cpu == Presence::present && newQ == 0;
   const bool isKnown = cpu != Presence::unknown && drop != Presence::unknown;
   const bool mirrors = isKnown && !goesToCpu && drop == Presence::absent;
   if ( goesToCpu ) {
      DUOLOG( trace, 2, describe( "CPU entry: no mirror action for acl " ) );
   } else if ( drop == Presence::present ) {
      DUOLOG( trace, 2, "Drop entry: Remove drop, no mirror action for acl " << acl.aclName() );
   } else if ( mirrors ) {
      DUOLOG( trace, 2, describe( "Add ingress mirror action for acl " ) );
   } else {
      actionStateIs( ActionState::incomplete );
   }
   Shim::Rc rc = KARVEL_SDK_CALL_AS(
         rv, trace, bcm_field_action_remove_all, ( unit, entry ), "( unit, entryIter.key() )" );
   if ( !succeeded( rc ) ) {
      DUOLOG( trace, 0, describe( "ERROR removing all forwarding actions for acl " ) );
      const bool mayDrop = drop != Presence::absent &&
            !succeeded( KARVEL_SDK_CALL_AS( rv, trace, bcm_field_action_remove,
                  ( unit, entry, bcmFieldActionDrop ),
                  "( unit, entryIter.key(), bcmFieldActionDrop )" ) );
      actionStateIs( mayDrop ? ActionState::dropsTraffic : ActionState::incomplete );
   }
   rc = KARVEL_SDK_CALL_AS( rv, trace, bcm_field_qualifier_delete,
         ( unit, entry, bcmFieldQualifyDstClassL2 ),
         "( unit, entryIter.key(), bcmFieldQualifyDstClassL2 )" );
   if ( !succeeded( rc ) ) {
      DUOLOG( trace, 0, describe( "ERROR removing DstClassL2 for acl " ) );
      actionStateIs( ActionState::incomplete );
   }
   if ( !mirrors ) {
      return;
   }
   rc = KARVEL_SDK_CALL_AS( rv, trace, bcm_field_action_add,
         ( unit, entry, getMirrorIngressAction( true ), mirrorDestId, 0 ),
         "( unit, entryIter.key(), action, param0, param1 )" );
   if ( !succeeded( rc ) ) {
      DUOLOG( trace, 0, describe( "ERROR adding ingress mirror action for acl " ) );
      actionStateIs( ActionState::incomplete );
   }
}

// An entry without the action is an answer, not a failure.
IfpProgrammerMtpSm::Presence IfpProgrammerMtpSm::presence( const Karvel::SdkOutcome& outcome ) {
   const Shim::Rc notFound = ::Shim::sdk_->QX_BCM_E_NOT_FOUND();
   const Shim::Rc rc =
         Karvel::reportUnless( notFound, trace, outcome, Karvel::SdkErrorForm::rv );
   if ( succeeded( rc ) ) {
      return Presence::present;
   }
   return rc == notFound ? Presence::absent : Presence::unknown;
}

void IfpProgrammerMtpSm::actionStateIs( ActionState state ) {
   actionState_ = std::max( actionState_, state );
}

// Reports errors of the SDK calls made here to the ACL helper, which knows those of its own.
void IfpProgrammerMtpSm::noteProblem( const AclBuild& build, AclCreateError error ) {
   karvelAclHelper()->aclProblemIs( *build.karvelAclData, unit(), error );
}

} // namespace KarvelMirror::Slice
