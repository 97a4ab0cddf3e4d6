#include "PluginMounters/Slice/Ingress/SliceMtpIfpConfigSm.h"

#include "Platform/Duolog/Duolog.h"
#include "Platform/Flitlog/Flitlog.h"
#include "Platform/Zol/Assert.h"

namespace KarvelMirror::Slice {

namespace {

Duolog::Handle trace( "SliceMtpIfpConfigSm" );

const Flitlog::Message tcamResourceFull( "KARVEL_MIRRORING_TCAM_RESOURCE_FULL",
      Flitlog::Severity::error,
      "Hardware resources are insufficient to program TCAM rules for mirroring.",
      "The switch is unable to program TCAM rules for mirroring due to insufficient hardware "
      "resources.",
      "Reconfigure the system to clear up hardware resources like removing egress ACLs. "
      "Reapply "
      "mirror configuration once hardware resources become available." );

} // namespace

// --- One destination's program information -------------------------------------------------

void MtpIfpInfoSm::doInit() {
   using Info = MtpProgramInfo::Attr;
   const auto& info = mtpProgramInfo();
   react< static_cast< void ( MtpIfpInfoSm::* )( const SourcePort& ) >(
                &MtpIfpInfoSm::handleSrcPort ),
         Info::srcPort >( info );
   react< &MtpIfpInfoSm::handleChange, Info::acl >( info );
   react< &MtpIfpInfoSm::handleChange, Info::ipMatch >( info );
   react< &MtpIfpInfoSm::handleChange, Info::ipMatchIntf >( info );
   react< &MtpIfpInfoSm::handleChange, Info::session >( info );
   follow< &MtpIfpInfoSm::handleAclPorts, Info::aclPorts >( info );
}

void MtpIfpInfoSm::handleSrcPort( const SourcePort& source ) {
   handleSrcPort( KarvelCentral::KarvelModPort(
         source.modId(), static_cast< uint32_t >( source.port() ) ) );
}

void MtpIfpInfoSm::handleSrcPort( const KarvelCentral::KarvelModPort& port ) {
   DUOLOG_IN( trace, 1, "MtpIfpInfoSm::handleSrcPort",
         " Mtp: " << mtp() << " modId: " << port.modId() << "portId: " << std::hex
                  << port.port() << std::dec );
   configSm_.backlogAdd( "MtpIfpInfoSm::handleSrcPort", MtpIfpBacklog::recompute() );
}

void MtpIfpInfoSm::handleAclPorts( const AclKey& acl ) {
   DUOLOG_IN( trace, 1, "MtpIfpInfoSm::handleAclPorts",
         " Mtp: " << mtp() << " acl: " << acl.aclName() );
   if ( Zol::Ptr< const AclPorts > ports = mtpProgramInfo()->aclPorts( acl ) ) {
      react< &MtpIfpInfoSm::handleChange, AclPorts::Attr::intf >( ports );
      react< &MtpIfpInfoSm::handleChange, AclPorts::Attr::subIntf >( ports );
   }
   handleChange();
}

void MtpIfpInfoSm::handleChange() {
   DUOLOG_IN( trace, 1, "MtpIfpInfoSm::handleChange", " Mtp: " << mtp() );
   configSm_.backlogAdd( "MtpIfpInfoSm::handleChange", MtpIfpBacklog::recompute() );
}

// --- One destination's status --------------------------------------------------------------

void MtpIfpStatusSm::doInit() {
   react< &MtpIfpStatusSm::handleIfpSmStatus, IfpSmStatusColl::Attr::status >(
         ifpSmStatusColl() );
   react< &MtpIfpStatusSm::handleUpdateId, IfpUpdateBase::Attr::updateId >( ifpSmConfig() );
   handleIfpSmStatus( key() );
}

void MtpIfpStatusSm::doCleanup() { programStatus()->ifpProgramStatusDel( key().mtp() ); }

void MtpIfpStatusSm::handleIfpSmStatus( const IfpKey& changed ) {
   DUOLOG_IN( trace, 2, "MtpIfpStatusSm::handleIfpSmStatus", " MTP: " << changed.mtp() );
   Zol::Ptr< const IfpSmStatus > present = ifpSmStatusColl()->status( key() );
   if ( changed != key() || present == ifpSmStatus() ) {
      return;
   }
   if ( ifpSmStatus() ) {
      ignore( *ifpSmStatus() );
   }
   ifpSmStatusIs( present );
   if ( present ) {
      // Within a generation the status may change without a new id.
      react< &MtpIfpStatusSm::handleUpdateId, IfpSmStatus::Attr::status >( present );
      react< &MtpIfpStatusSm::handleUpdateId, IfpUpdateBase::Attr::updateId >( present );
   }
}

void MtpIfpStatusSm::handleUpdateId() {
   DUOLOG_IN( trace, 1, "MtpIfpStatusSm::handleUpdateId", " MTP: " << key().mtp() );
   if ( !ifpSmStatus() || ifpSmStatus()->updateId() != ifpSmConfig()->updateId() ) {
      DUOLOG_IN( trace, 1, "MtpIfpStatusSm::handleUpdateId", " programming not yet complete" );
      return;
   }
   const ProgramResult status = ifpSmStatus()->status();
   if ( judgedId() == ifpSmStatus()->updateId() && judgedStatus() == status ) {
      return;
   }
   judgedIdIs( ifpSmStatus()->updateId() );
   judgedStatusIs( status );
   programStatus()->ifpProgramStatusIs( key().mtp(), toProgramStatus( status ) );
   if ( status != ProgramResult::unknown && status != ProgramResult::success ) {
      DUOLOG_IN(
            trace, 0, "MtpIfpStatusSm::handleUpdateId", " programming status: " << status );
      tcamResourceFull.log();
   }
}

// --- Rules ---------------------------------------------------------------------------------

MtpIfpHelper::MtpIfpHelper( Zol::Ptr< const LogicalFapMtpProgramInfo > lfMtpProgramInfo,
      Zol::Ptr< IfpSmConfigColl > ifpSmConfigColl,
      Zol::Ptr< const Karvel::KarvelCommonSmData > scsd,
      Zol::Ptr< const Acl::Config > aclConfig )
      : lfMtpProgramInfo_( lfMtpProgramInfo ), ifpSmConfigColl_( ifpSmConfigColl ),
        scsd_( scsd ), aclConfig_( aclConfig ) {}

void MtpIfpHelper::updateIfp() {
   DUOLOG_IN( trace, 1, "MtpIfpHelper::updateIfp" );
   for ( Mtp mtp : lfMtpProgramInfo_->mtpProgramInfo().keys() ) {
      DUOLOG_IN( trace, 2, "MtpIfpHelper::updateIfp", " mtpIter mtp " << mtp );
      // One generation, one notification.
      Zol::Batch batch;
      const Zol::Ptr< const MtpProgramInfo > info = lfMtpProgramInfo_->mtpProgramInfo( mtp );
      uint32_t count = addIfpAclRules( *info );
      count = addIfpIpRules( *info, count );
      updateFeatureConfig( mtp, count );
   }
}

uint32_t MtpIfpHelper::addIfpAclRules( const MtpProgramInfo& info ) {
   uint32_t count = 0;
   for ( const AclKey& acl : info.acl() ) {
      IfpRuleData rule( count++ );
      rule.ruleDescIs( info.session() );
      rule.aclKeyIs( Ixo::AclKey( acl.aclName(), acl.aclType() ) );
      if ( Zol::Ptr< const AclPorts > ports = info.aclPorts( acl ) ) {
         for ( const Plix::IntfId& intf : ports->intf() ) {
            rule.aclPortIs( intf );
         }
         for ( const Plix::IntfId& intf : ports->subIntf() ) {
            rule.aclPortIs( intf );
         }
      }
      writeRule( info.mtp(), rule );
   }
   return count;
}

uint32_t MtpIfpHelper::addIfpIpRules( const MtpProgramInfo& info, uint32_t count ) {
   DUOLOG_IN( trace, 2, "MtpIfpHelper::updateIfp", "addIfpIpRules" );
   if ( info.ipMatchIntf().empty() ) {
      return count; // without a port a rule matches nothing
   }
   for ( const IpMatch& match : info.ipMatch() ) {
      IfpRuleData rule( count++ );
      rule.ruleDescIs( info.session() );
      for ( const Plix::IntfId& intf : info.ipMatchIntf() ) {
         rule.aclPortIs( intf );
      }
      V4Quals v4;
      v4.srcIpIs( match.srcIp() );
      v4.srcIpMaskIs( match.srcIpMask() );
      v4.dstIpIs( match.dstIp() );
      v4.dstIpMaskIs( match.dstIpMask() );
      RuleData ruleData;
      ruleData.v4Is( v4 );
      rule.ruleDataIs( ruleData );
      writeRule( info.mtp(), rule );
   }
   return count;
}

void MtpIfpHelper::writeRule( Mtp mtp, const IfpRuleData& rule ) {
   IfpRuleData complete = rule;
   IfpActions actions;
   actions.param0Is( mtp.value() );
   complete.actionsIs( actions );
   ifpSmConfigColl_->configIs( IfpKey( mtp ) )->rulesIs( complete );
}

void MtpIfpHelper::updateFeatureConfig( Mtp mtp, uint32_t count ) {
   DUOLOG_IN(
         trace, 2, "MtpIfpHelper::updateFeatureConfig", " mtp " << mtp << " count " << count );
   Zol::Ptr< IfpSmConfig > config = ifpSmConfigColl_->config( IfpKey( mtp ) );
   if ( !config ) {
      DUOLOG_IN( trace, 2, "MtpIfpHelper::updateFeatureConfig", " no mtp" );
      return;
   }
   // Numbers have no gaps: the highest is one less than how many there are.
   for ( auto last = static_cast< uint32_t >( config->rules().size() ); last > count; --last ) {
      config->rulesDel( last - 1 );
   }
   if ( count > 0 ) {
      config->updateIdIs( Orv::UniqueId::fresh() );
   } else {
      ifpSmConfigColl_->configDel( IfpKey( mtp ) );
   }
}

// --- The slice -----------------------------------------------------------------------------

MtpIfpConfigSm::MtpIfpConfigSm( LogicalFap::LogicalFapId logicalFap,
      Zol::Ptr< const LogicalFapMtpProgramInfo > lfMtpProgramInfo,
      Zol::Ptr< IfpSmConfigColl > ifpSmConfigColl,
      Zol::Ptr< const IfpSmStatusColl > ifpSmStatusColl,
      Zol::Ptr< SliceMtpProgramStatus > programStatus,
      Zol::Ptr< const Karvel::KarvelCommonSmData > scsd,
      Zol::Ptr< Orv::TaskScheduler > taskScheduler, Zol::Ptr< const Acl::Config > aclConfig )
      : logicalFap_( logicalFap ), lfMtpProgramInfo_( lfMtpProgramInfo ),
        ifpSmConfigColl_( ifpSmConfigColl ), ifpSmStatusColl_( ifpSmStatusColl ),
        programStatus_( programStatus ), scsd_( scsd ), taskScheduler_( taskScheduler ),
        aclConfig_( aclConfig ),
        ifpHelper_( lfMtpProgramInfo, ifpSmConfigColl, scsd, aclConfig ) {}

void MtpIfpConfigSm::doInit() {
   react< &MtpIfpConfigSm::handleMtpInfo, LogicalFapMtpProgramInfo::Attr::mtpProgramInfo >(
         lfMtpProgramInfo() );
   follow< &MtpIfpConfigSm::handleIfp, IfpSmConfigColl::Attr::config >( ifpSmConfigColl() );
   handleInitialized();
}

void MtpIfpConfigSm::doCleanup() {
   taskDel();
   for ( Mtp mtp : mtpSm().keys() ) {
      deleteMtp( mtp );
   }
}

void MtpIfpConfigSm::handleInitialized() {
   DUOLOG_IN( trace, 1, "MtpIfpConfigSm::handleInitialized" );
   ZOL_ASSERT( aclConfig() );
   for ( Mtp mtp : lfMtpProgramInfo()->mtpProgramInfo().keys() ) {
      mtpSmIs( mtp, lfMtpProgramInfo()->mtpProgramInfo( mtp ), *this );
   }
   backlogAdd( "MtpIfpConfigSm::handleInitialized", MtpIfpBacklog::recompute() );
   initializedIs( true );
}

void MtpIfpConfigSm::handleMtpInfo( Mtp mtp ) {
   Zol::Ptr< const MtpProgramInfo > info = lfMtpProgramInfo()->mtpProgramInfo( mtp );
   DUOLOG_IN( trace, 1, "MtpIfpConfigSm::handleMtpInfo",
         " Mtp: " << mtp << " add: " << bool( info ) );
   Zol::follow< &MtpIfpInfoSm::mtpProgramInfo >(
         mtpSm( mtp ), info, [ & ] { deleteMtp( mtp ); },
         [ & ] { mtpSmIs( mtp, info, *this ); } );
   backlogAdd( "MtpIfpConfigSm::handleMtpInfo", MtpIfpBacklog::recompute() );
}

void MtpIfpConfigSm::deleteMtp( Mtp mtp ) {
   mtpSmDel( mtp );
   ifpSmConfigColl()->configDel( IfpKey( mtp ) );
}

void MtpIfpConfigSm::handleIfp( const IfpKey& key ) {
   DUOLOG_IN( trace, 2, "MtpIfpConfigSm::handleIfp", " Mtp: " << key.mtp() );
   Zol::Ptr< const IfpSmConfig > config = ifpSmConfigColl()->config( key );
   Zol::follow< &MtpIfpStatusSm::ifpSmConfig >(
         ifpStatusSm( key ), config, [ & ] { ifpStatusSmDel( key ); },
         [ & ] { ifpStatusSmIs( key, config, ifpSmStatusColl(), programStatus() ); } );
}

void MtpIfpConfigSm::backlogAdd( const char* handler, MtpIfpBacklog::BacklogType type ) {
   MtpIfpBacklog pending = backlog();
   pending.backlogIs( type );
   backlogIs( pending );
   taskIs();
   DUOLOG_IN( trace, 2, handler, " backlog len: " << pending.backlogs() );
}

void MtpIfpConfigSm::taskIs() {
   if ( !task_ ) {
      task_.emplace( taskScheduler(), *this, [ this ] {
         reviewIfpBacklog();
         taskDel();
         if ( initialized() && !backlog().backlog().empty() ) {
            taskIs(); // marked during the review
         }
      } );
      task_->schedule();
   }
}

void MtpIfpConfigSm::reviewIfpBacklog() {
   DUOLOG_IN( trace, 1, "MtpIfpConfigSm::reviewIfpBacklog" );
   if ( !initialized() ) {
      DUOLOG_IN( trace, 1, "MtpIfpConfigSm::reviewIfpBacklog", " not initialized " );
      return;
   }
   if ( backlog().backlog().empty() ) {
      DUOLOG_IN( trace, 1, "MtpIfpConfigSm::reviewIfpBacklog", " no backlog" );
      return;
   }
   backlogDel();
   ifpHelper_.updateIfp();
}

ZOL_DEFINE_ENTITY( MtpIfpInfoSm );
ZOL_DEFINE_ENTITY( MtpIfpStatusSm );
ZOL_DEFINE_ENTITY( MtpIfpConfigSm );

} // namespace KarvelMirror::Slice
