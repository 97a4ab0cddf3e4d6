#include "PluginMounters/Slice/Ingress/IfpProgrammer.h"

#include <cstdlib>

#include "Platform/Duolog/Duolog.h"
#include "Platform/Karvel/SdkCall.h"
#include "Platform/KarvelTcam/PortMaps.h"
#include "Platform/Zol/Assert.h"

namespace KarvelMirror::Slice {

namespace {

Duolog::Handle trace( "IfpProgrammer" );

using Shim::bcmFieldIpTypeIp;
using Shim::bcmFieldIpTypeIpv4Any;

bool succeeded( Shim::Rc rc ) { return rc == ::Shim::sdk_->QX_BCM_E_NONE(); }

} // namespace

// --- One chip ------------------------------------------------------------------------------

IfpProgrammer::IfpProgrammer( uint32_t unit, Zol::Ptr< const IfpConfigColl > ifpConfigColl,
      Zol::Ptr< IfpStatusColl > ifpStatusColl,
      Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager,
      Zol::Ptr< Karvel::AclSmPluginEntity > aclSmPluginEntity, CommonData scsd,
      Zol::Ptr< const Acl::Config > aclConfig )
      : unit_( unit ), ifpConfigColl_( ifpConfigColl ), ifpStatusColl_( ifpStatusColl ),
        groupManager_( groupManager ), aclSmPluginEntity_( aclSmPluginEntity ), scsd_( scsd ),
        aclConfig_( aclConfig ) {}

void IfpProgrammer::doInit() {
   follow< &IfpProgrammer::handleMtp, IfpConfigColl::Attr::config >( ifpConfigColl() );
}

void IfpProgrammer::doCleanup() {
   for ( Mtp mtp : featureSm().keys() ) {
      deleteMtp( mtp );
   }
}

void IfpProgrammer::handleMtp( Mtp mtp ) {
   Zol::Ptr< const IfpConfig > config = ifpConfigColl()->config( mtp );
   DUOLOG_IN(
         trace, 1, "IfpProgrammer::handleMtp", " MTP: " << mtp << " add: " << bool( config ) );
   Zol::follow< &IfpProgrammerMtpSm::ifpConfig >(
         featureSm( mtp ), config, [ & ] { deleteMtp( mtp ); }, [ & ] { addMtp( mtp ); } );
}

void IfpProgrammer::addMtp( Mtp mtp ) {
   Zol::Ptr< IfpStatus > status = ifpStatusColl()->statusIs( mtp );
   auto entryMgr =
         groupManager()->mirroringAclEntryManager( unit(), mtpToFeature( mtp.value() ) );
   ZOL_ASSERT( entryMgr );
   ZOL_ASSERT( aclSmPluginEntity() );
   ZOL_ASSERT( aclSmPluginEntity()->aclSm() );
   ZOL_ASSERT( aclSmPluginEntity()->aclSm()->aclHelper() );
   DUOLOG_IN( trace, 2, "IfpProgrammer::handleMtp",
         " aclSmPluginEntity: " << aclSmPluginEntity().get() << " mirrorAclSupported "
                                << aclSmPluginEntity()->mirrorAclSupported()
                                << " mirroringAclGroup1EntryManager() "
                                << ( mtp == Mtp( 0 ) ? entryMgr.get() : nullptr )
                                << " mirroringAclEntryManager " << entryMgr.get() );
   featureSmIs( mtp, ifpConfigColl()->config( mtp ), status, entryMgr,
         IfpProgrammerMtpSm::Context{
               unit(), groupManager(), aclSmPluginEntity()->aclSm(), scsd(), aclConfig() } );
}

void IfpProgrammer::deleteMtp( Mtp mtp ) {
   featureSmDel( mtp );
   ifpStatusColl()->statusDel( mtp );
}

// --- One destination -----------------------------------------------------------------------

IfpProgrammerMtpSm::IfpProgrammerMtpSm( Mtp mtp, Zol::Ptr< const IfpConfig > ifpConfig,
      Zol::Ptr< IfpStatus > ifpStatus,
      Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > entryManager, const Context& context )
      : mtp_( mtp ), ifpConfig_( ifpConfig ), ifpStatus_( ifpStatus ),
        entryManager_( entryManager ), groupManager_( context.groupManager ),
        karvelAclHelper_( context.aclSm->aclHelper() ), aclSm_( context.aclSm ),
        unit_( context.unit ), scsd_( context.scsd ), mirroringAclConfig_( context.aclConfig ) {
}

void IfpProgrammerMtpSm::doInit() {
   DUOLOG_IN( trace, 1, "IfpProgrammerMtpSm::doInit", " MTP: " << mtp() );
   ZOL_ASSERT( karvelAclHelper() );
   fwdDropAclIdIs( Ixo::AclKey( "fwdDrop", Acl::ip() ) );
   fwdDropKarvelAclDataIs( karvelAclHelper()->karvelAclDataNew( fwdDropAclId(), feature() ) );
   registerWithAclHelper();
   const Ixo::AclKey defaultGroup( "aclGroupDefault", Acl::ip() );
   AclUdfData udfData;
   udfData.keyIs( defaultGroup );
   mirroringUdfDataIs( defaultGroup, udfData );
   react< &IfpProgrammerMtpSm::handleUpdate, IfpUpdateBase::Attr::updateId >( ifpConfig() );
   handleUpdate();
}

void IfpProgrammerMtpSm::doCleanup() {
   DUOLOG_IN( trace, 1, "IfpProgrammerMtpSm::doCleanup", " MTP: " << mtp() );
   withdrawAcls();
   deregisterFromAclHelper();
   for ( uint32_t id : Zol::Set< uint32_t >( entryIdCache() ) ) {
      entryManager()->releaseEntry( unit(), id );
   }
   entryIdCacheDelAll();
}

void IfpProgrammerMtpSm::registerWithAclHelper() {
   for ( Acl::AclType type : { Acl::ip(), Acl::ipv6(), Acl::mac() } ) {
      karvelAclHelper()->setMirroringKarvelAclTypeDirectionFeatureSm(
            type, Acl::AclDirection::in, feature(), *this );
   }
}

void IfpProgrammerMtpSm::deregisterFromAclHelper() {
   for ( Acl::AclType type : { Acl::ip(), Acl::ipv6(), Acl::mac() } ) {
      karvelAclHelper()->clearMirroringKarvelAclTypeDirectionFeatureSm(
            type, Acl::AclDirection::in, feature(), *this );
   }
}

void IfpProgrammerMtpSm::handleUpdate() {
   DUOLOG_IN( trace, 1, "IfpProgrammerMtpSm::handleUpdate", " MTP: " << mtp() );
   const Orv::UniqueId generation = ifpConfig()->updateId();
   registerWithAclHelper(); // a failed update has deregistered
   forgetReleasedEntries();
   withdrawAcls();
   ProgramResult status = ProgramResult::success;
   for ( uint32_t id : ifpConfig()->rules().keys() ) {
      const IfpRuleData rule = ifpConfig()->rules( id );
      status = programRule( rule );
      if ( status != ProgramResult::success ) {
         break;
      }
   }
   if ( status != ProgramResult::success ) {
      doCleanup();
   }
   ifpStatus()->statusIs( status );
   // Last, so that whoever watches the id sees a complete answer.
   ifpStatus()->updateIdIs( generation );
}

ProgramResult IfpProgrammerMtpSm::programRule( const IfpRuleData& rule ) {
   DUOLOG_IN( trace, 2, "IfpProgrammerMtpSm::handleUpdate",
         " going to iterateRule: " << rule.entryId() );
   DUOLOG_IN( trace, 2, "IfpProgrammerMtpSm::handleUpdate",
         " iterateRule: " << rule.entryId() << " ruleDesc " << rule.ruleDesc() << " aclKey "
                          << rule.aclKey() );
   if ( !( rule.aclKey() == Ixo::AclKey() ) ) {
      // The rule's own entry holds nothing. It may have been a plain rule's.
      if ( !emptyEntry( rule.entryId() ) ) {
         return ProgramResult::entryInstallFailure;
      }
      addMirroringSessionAcls( rule.ruleDesc(), rule );
      return ProgramResult::success;
   }
   if ( !succeeded( qualifyEntry( rule ) ) || !succeeded( installEntry( rule.entryId() ) ) ) {
      return ProgramResult::entryInstallFailure;
   }
   entryIdCacheIs( rule.entryId() );
   return ProgramResult::success;
}

// False if the chip refuses.
bool IfpProgrammerMtpSm::emptyEntry( uint32_t entryId ) {
   if ( !entryIdCacheHas( entryId ) ) {
      return true;
   }
   if ( !succeeded( entryManager()->uninstallEntry( unit(), entryId ) ) ) {
      return false;
   }
   clearEntry( static_cast< int >( entryId ) );
   entryIdCacheDel( entryId );
   return true;
}

void IfpProgrammerMtpSm::forgetReleasedEntries() {
   for ( uint32_t id : Zol::Set< uint32_t >( entryIdCache() ) ) {
      if ( !ifpConfig()->rulesHas( id ) ) {
         entryIdCacheDel( id );
      }
   }
}

// --- Plain rules ---------------------------------------------------------------------------

Shim::Rc IfpProgrammerMtpSm::qualifyEntry( const IfpRuleData& ifpRule ) {
   const int entryId = static_cast< int >( ifpRule.entryId() );
   DUOLOG_IN( trace, 2, "IfpProgrammerMtpSm::qualifyEntry",
         " MTP: " << mtp() << " EntryId: " << entryId );
   clearEntry( entryId );
   Shim::Rc rc = qualifyPorts( ifpRule );
   if ( !succeeded( rc ) ) {
      return rc;
   }
   if ( ifpRule.ruleData().v4() == V4Quals() ) {
      DUOLOG_IN( trace, 3, "IfpProgrammerMtpSm::qualifyEntry", " no v4 rules" );
   } else {
      qualifyV4( ifpRule );
   }
   const Shim::FieldAction action = getMirrorIngressAction( true );
   const uint32_t param0 = ifpRule.actions().param0();
   const uint32_t param1 = ifpRule.actions().param1();
   rc = KARVEL_SDK_CALL_AS(
         bare, trace, bcm_field_action_add, ( unit(), entryId, action, param0, param1 ) );
   ZOL_ASSERT( succeeded( rc ) );
   return rc;
}

// Removes from an entry that is programmed again what its new rule may lack.
void IfpProgrammerMtpSm::clearEntry( int entryId ) {
   if ( !entryIdCacheHas( static_cast< uint32_t >( entryId ) ) ) {
      return;
   }
   Shim::Rc rc =
         KARVEL_SDK_CALL_AS( bare, trace, bcm_field_action_remove_all, ( unit(), entryId ) );
   ZOL_ASSERT( succeeded( rc ) );
   for ( Shim::Qualifier qualifier :
         { Shim::Qualifier::ipType, Shim::Qualifier::srcIp, Shim::Qualifier::dstIp } ) {
      // The old rule may well have lacked it, too.
      rc = KARVEL_SDK_CALL_AS(
            quiet, trace, bcm_field_qualifier_delete, ( unit(), entryId, qualifier ) );
      ZOL_ASSERT( succeeded( rc ) || rc == ::Shim::sdk_->QX_BCM_E_NOT_FOUND() );
   }
}

Shim::Rc IfpProgrammerMtpSm::qualifyPorts( const IfpRuleData& rule ) {
   static const bool simulation = std::getenv( "SIMULATION_VMID" ) != nullptr;
   const int entryId = static_cast< int >( rule.entryId() );
   Shim::PortBitmap pbmp;
   for ( const Plix::IntfId& intf : rule.aclPort() ) {
      if ( simulation ) {
         continue; // simulated interfaces have no chip port
      }
      ZOL_ASSERT( KarvelTcam::intfToPortHas( scsd(), intf ) );
      const Karvel::SysPort port = KarvelTcam::intfToPort( scsd(), intf );
      if ( port.unit() == static_cast< int32_t >( unit() ) ) {
         pbmp.set( static_cast< size_t >( port.port() ) );
      }
   }
   if ( entryManager()->supportsAclGroup() ) {
      // Classes are few and shared with other features, so running out of them is no broken
      // invariant.
      const Shim::Rc rc = entryManager()->qualifyPortsClassId(
            unit(), rule.entryId(), pbmp, Karvel::ClassSharing::shared );
      if ( rc != ::Shim::sdk_->QX_BCM_E_RESOURCE() && !succeeded( rc ) ) {
         Karvel::reportSdkError( trace, "qualifyPortsClassId( unit(), entryId, pbmp, shared )",
               rc, Karvel::SdkErrorForm::bare );
         ZOL_ASSERT( succeeded( rc ) );
      }
      return rc;
   }
   const Shim::PortBitmap mask = KarvelTcam::getPbmpAll( scsd() );
   Shim::Rc rc = KARVEL_SDK_CALL_AS(
         bare, trace, bcm_field_qualify_InPorts, ( unit(), entryId, pbmp, mask ) );
   ZOL_ASSERT( succeeded( rc ) );
   rc = entryManager()->addInPortsForEntry( unit(), rule.entryId(), pbmp, mask );
   ZOL_ASSERT( succeeded( rc ) );
   return rc;
}

void IfpProgrammerMtpSm::qualifyV4( const IfpRuleData& ifpRule ) {
   const int entryId = static_cast< int >( ifpRule.entryId() );
   const V4Quals& v4 = ifpRule.ruleData().v4();
   const bool namesAddresses =
         v4.srcIpMask() != Plix::IpAddr() || v4.dstIpMask() != Plix::IpAddr();
   // A rule with addresses matches all of IPv4, with or without options; one without, any IP.
   Shim::Rc rc = namesAddresses ? KARVEL_SDK_CALL_AS( bare, trace, bcm_field_qualify_IpType,
                                        ( unit(), entryId, bcmFieldIpTypeIpv4Any ) )
                                : KARVEL_SDK_CALL_AS( bare, trace, bcm_field_qualify_IpType,
                                        ( unit(), entryId, bcmFieldIpTypeIp ) );
   ZOL_ASSERT( succeeded( rc ) );
   rc = KARVEL_SDK_CALL_AS( bare, trace, bcm_field_qualify_SrcIp,
         ( unit(), entryId, ifpRule.ruleData().v4().srcIp().value(),
               ifpRule.ruleData().v4().srcIpMask().value() ) );
   ZOL_ASSERT( succeeded( rc ) );
   rc = KARVEL_SDK_CALL_AS( bare, trace, bcm_field_qualify_DstIp,
         ( unit(), entryId, ifpRule.ruleData().v4().dstIp().value(),
               ifpRule.ruleData().v4().dstIpMask().value() ) );
   ZOL_ASSERT( succeeded( rc ) );
}

Shim::Rc IfpProgrammerMtpSm::installEntry( uint32_t entryId ) {
   DUOLOG_IN( trace, 2, "IfpProgrammerMtpSm::installEntry", " installing entry: " << entryId );
   return entryManager()->installEntry( unit(), entryId );
}

ZOL_DEFINE_ENTITY( IfpProgrammerMtpSm );
ZOL_DEFINE_ENTITY( IfpProgrammer );

} // namespace KarvelMirror::Slice
