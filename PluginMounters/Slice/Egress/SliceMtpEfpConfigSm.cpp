#include "PluginMounters/Slice/Egress/SliceMtpEfpConfigSm.h"

#include "Platform/Duolog/Duolog.h"
#include "Platform/Flitlog/Flitlog.h"

namespace KarvelMirror::Slice {

namespace {

Duolog::Handle trace( "SliceMtpEfpConfigSm" );

const Flitlog::Message rateLimitResourceFull( "KARVEL_MIRRORING_RATELIMIT_HW_RESOURCE_FULL",
      Flitlog::Severity::error,
      "Hardware resources are insufficient to program rate limit for mirroring session.",
      "The switch is unable to program rate limit for mirroring session due to insufficient "
      "hardware resources.",
      "Reconfigure the system to clear up hardware resources like removing egress/out ACLs. "
      "Reapply mirror rate limit configuration once hardware resources become available." );
const Flitlog::Message greTcamResourceFull( "KARVEL_MIRRORING_GRE_TCAM_RESOURCE_FULL",
      Flitlog::Severity::error,
      "Hardware resources are insufficient to program TCAM GRE rules for mirroring.",
      "The switch is unable to program TCAM GRE rules for mirroring due to insufficient "
      "hardware resources.",
      "Reconfigure the system to clear up hardware resources like removing egress ACLs. "
      "Reapply "
      "mirror configuration once hardware resources become available." );

RateLimitKind kindOf( const EfpKey& key ) {
   return key.feature() == TcamFeature::EfpFeature::efpGreRateLimit ? RateLimitKind::gre
                                                                    : RateLimitKind::port;
}

} // namespace

// --- What is watched -----------------------------------------------------------------------

void MtpEfpInfoSm::doInit() {
   react< &MtpEfpInfoSm::handleDstPort, MtpProgramInfo::Attr::dstPort >( mtpProgramInfo() );
}

void MtpEfpInfoSm::handleDstPort( const DstPort& dstPort ) {
   DUOLOG_IN( trace, 1, "MtpEfpInfoSm::handleDstPort", " tunnelIdx: " << dstPort.tunnelIdx() );
   configSm_.backlogAdd( MtpEfpBacklog::recompute() );
}

void MtpEfpTunnelSm::doInit() {
   react< &MtpEfpTunnelSm::handleChange, Tunnel::Attr::parameters >( tunnel() );
   react< &MtpEfpTunnelSm::handleChange, Tunnel::Attr::active >( tunnel() );
}

void MtpEfpTunnelSm::handleChange() {
   DUOLOG_IN( trace, 2, "MtpEfpTunnelSm::handleChange", " tunnelId: " << tunnelId() );
   configSm_.backlogAdd( MtpEfpBacklog::recompute() );
}

// --- One feature's status ------------------------------------------------------------------

void MtpEfpStatusSm::doInit() {
   react< &MtpEfpStatusSm::handleEfpSmStatus, EfpSmStatusColl::Attr::status >(
         efpSmStatusColl() );
   handleEfpSmStatus( key() );
}

void MtpEfpStatusSm::doCleanup() { programStatus()->efpProgramStatusDel( kindOf( key() ) ); }

void MtpEfpStatusSm::handleEfpSmStatus( const EfpKey& changed ) {
   DUOLOG_IN(
         trace, 2, "MtpEfpStatusSm::handleEfpSmStatus", " feature: " << changed.feature() );
   Zol::Ptr< const EfpSmStatus > present = efpSmStatusColl()->status( key() );
   if ( changed != key() || present == efpSmStatus() ) {
      return;
   }
   if ( efpSmStatus() ) {
      ignore( *efpSmStatus() );
   }
   efpSmStatusIs( present );
   if ( present ) {
      react< &MtpEfpStatusSm::handleUpdateId, EfpUpdateBase::Attr::updateId >( present );
   }
}

void MtpEfpStatusSm::handleUpdateId() {
   const TcamFeature::EfpFeature feature = key().feature();
   if ( efpSmStatus()->updateId() != efpSmConfig()->updateId() ) {
      DUOLOG_IN( trace, 1, "MtpEfpStatusSm::handleUpdateId",
            " feature: " << feature << " programming not yet complete" );
      return;
   }
   const ProgramResult status = efpSmStatus()->status();
   const bool isRated = hasRate();
   DUOLOG_IN( trace, 1, "MtpEfpStatusSm::handleUpdateId",
         " feature: " << feature << " programming status: " << status
                      << " hasRate: " << isRated );
   programStatus()->efpProgramStatusIs( kindOf( key() ), toProgramStatus( status ) );
   if ( status != ProgramResult::success ) {
      ( isRated ? rateLimitResourceFull : greTcamResourceFull ).log();
   }
}

bool MtpEfpStatusSm::hasRate() const {
   bool isRated = false;
   for ( uint32_t id : efpSmStatus()->rules().keys() ) {
      const EfpRuleData rule = efpSmStatus()->rules( id );

      if ( rule.rate() != 0 ) {
         isRated = true;
      } else {
         ZOL_ASSERT_AS( "iter->efpActions().svtagEnable()", rule.efpActions().svtagEnable() );
      }
   }
   return isRated;
}

// --- The slice -----------------------------------------------------------------------------

MtpEfpConfigSm::MtpEfpConfigSm( uint32_t unit,
      Zol::Ptr< const LogicalFapMtpProgramInfo > mtpInfoConfig,
      Zol::Ptr< EfpSmConfigColl > efpSmConfigColl,
      Zol::Ptr< const EfpSmStatusColl > efpSmStatusColl,
      Zol::Ptr< SliceMtpProgramStatus > programStatus,
      Zol::Ptr< const Karvel::KarvelCommonSmData > scsd,
      Zol::Ptr< Orv::TaskScheduler > scheduler )
      : unit_( unit ), mtpInfoConfig_( mtpInfoConfig ), efpSmConfigColl_( efpSmConfigColl ),
        efpSmStatusColl_( efpSmStatusColl ), programStatus_( programStatus ), scsd_( scsd ),
        scheduler_( scheduler ), efpHelper_( mtpInfoConfig, efpSmConfigColl, scsd ) {}

void MtpEfpConfigSm::doInit() {
   react< &MtpEfpConfigSm::handleMtpInfo, LogicalFapMtpProgramInfo::Attr::mtpProgramInfo >(
         mtpInfoConfig() );
   react< &MtpEfpConfigSm::handleTunnel, LogicalFapMtpProgramInfo::Attr::tunnel >(
         mtpInfoConfig() );
   using CommonData = Karvel::KarvelCommonSmData::Attr;
   react< &MtpEfpConfigSm::handlePort, CommonData::portType >( scsd() );
   react< &MtpEfpConfigSm::handlePort, CommonData::karvelPortChannel >( scsd() );
   react< &MtpEfpConfigSm::handlePort, CommonData::sourceTag >( scsd() );
   follow< &MtpEfpConfigSm::handleEfp, EfpSmConfigColl::Attr::config >( efpSmConfigColl() );
   handleInitialized();
}

void MtpEfpConfigSm::doCleanup() {
   taskDel();
   for ( const EfpKey& key : efpSmConfigColl()->config().keys() ) {
      efpSmConfigColl()->configDel( key );
   }
}

void MtpEfpConfigSm::handleInitialized() {
   DUOLOG_IN( trace, 1, "MtpEfpConfigSm::handleInitialized" );
   for ( Mtp mtp : mtpInfoConfig()->mtpProgramInfo().keys() ) {
      handleMtpInfo( mtp );
   }
   for ( TunnelId id : mtpInfoConfig()->tunnel().keys() ) {
      handleTunnel( id );
   }
   initializedIs( true );
}

void MtpEfpConfigSm::handleMtpInfo( Mtp mtp ) {
   Zol::Ptr< const MtpProgramInfo > info = mtpInfoConfig()->mtpProgramInfo( mtp );
   DUOLOG_IN( trace, 1, "MtpEfpConfigSm::handleMtpInfo",
         " Mtp: " << mtp << " add: " << bool( info ) );
   Zol::follow< &MtpEfpInfoSm::mtpProgramInfo >(
         mtpSm( mtp ), info, [ & ] { mtpSmDel( mtp ); },
         [ & ] { mtpSmIs( mtp, info, *this ); } );
   backlogAdd( MtpEfpBacklog::recompute() );
}

void MtpEfpConfigSm::handleTunnel( TunnelId id ) {
   Zol::Ptr< const Tunnel > tunnel = mtpInfoConfig()->tunnel( id );
   DUOLOG_IN( trace, 1, "MtpEfpConfigSm::handleTunnel",
         " tunnelId: " << id << " add: " << bool( tunnel ) );
   Zol::follow< &MtpEfpTunnelSm::tunnel >(
         tunnelSm( id ), tunnel, [ & ] { tunnelSmDel( id ); },
         [ & ] { tunnelSmIs( id, tunnel, *this ); } );
   backlogAdd( MtpEfpBacklog::recompute() );
}

void MtpEfpConfigSm::handlePort() {
   DUOLOG_IN( trace, 2, "MtpEfpConfigSm::handlePort" );
   backlogAdd( MtpEfpBacklog::recompute() );
}

void MtpEfpConfigSm::handleEfp( const EfpKey& key ) {
   DUOLOG_IN( trace, 2, "MtpEfpConfigSm::handleEfp", " EfpFeature: " << key.feature() );
   Zol::Ptr< const EfpSmConfig > config = efpSmConfigColl()->config( key );
   Zol::follow< &MtpEfpStatusSm::efpSmConfig >(
         efpStatusSm( key ), config, [ & ] { efpStatusSmDel( key ); },
         [ & ] { efpStatusSmIs( key, config, efpSmStatusColl(), programStatus() ); } );
}

void MtpEfpConfigSm::backlogAdd( MtpEfpBacklog::BacklogType type ) {
   MtpEfpBacklog pending = backlog();
   pending.backlogIs( type );
   backlogIs( pending );
   taskIs();
}

void MtpEfpConfigSm::taskIs() {
   if ( !task_ ) {
      task_.emplace( scheduler(), *this, [ this ] {
         reviewBacklog();
         taskDel();
         if ( initialized() && !backlog().backlog().empty() ) {
            taskIs(); // marked during the review
         }
      } );
      task_->schedule();
   }
}

void MtpEfpConfigSm::reviewBacklog() {
   DUOLOG_IN( trace, 1, "MtpEfpConfigSm::reviewBacklog" );
   if ( initialized() && !backlog().backlog().empty() ) {
      backlogDel();
      efpHelper_.updateEfp();
   }
}

ZOL_DEFINE_ENTITY( MtpEfpInfoSm );
ZOL_DEFINE_ENTITY( MtpEfpTunnelSm );
ZOL_DEFINE_ENTITY( MtpEfpStatusSm );
ZOL_DEFINE_ENTITY( MtpEfpConfigSm );

} // namespace KarvelMirror::Slice
