#include "Platform/Duolog/Duolog.h"
#include "PluginMounters/Slice/Ports/KarvelMirrorSliceSm.h"

namespace KarvelMirror {

namespace {

Duolog::Handle trace( "SliceRootSm" );

} // namespace

SliceRootSm::SliceRootSm( uint16_t unit, Zol::Ptr< const Acl::Config > aclConfig,
      Zol::Ptr< const LogicalFapMtpProgramInfoColl > lfMtpProgramInfoColl,
      Zol::Ptr< const SliceCapability > sliceCapability,
      Zol::Ptr< SliceMtpProgramStatus > sliceMtpProgramStatus, CommonData scsd,
      Zol::Ptr< TcamHelperConfig > tcamHelperConfig,
      Zol::Ptr< const TcamHelperStatus > tcamHelperStatus,
      Zol::Ptr< const Mirroring::Config > mirroringConfig )
      : unit_( unit ), aclConfig_( aclConfig ), lfMtpProgramInfoColl_( lfMtpProgramInfoColl ),
        sliceCapability_( sliceCapability ), sliceMtpProgramStatus_( sliceMtpProgramStatus ),
        scsd_( scsd ), tcamHelperConfig_( tcamHelperConfig ),
        tcamHelperStatus_( tcamHelperStatus ), mirroringConfig_( mirroringConfig ) {}

void SliceRootSm::doInit() {
   react< &SliceRootSm::handleLogicalFapInfo,
         LogicalFapMtpProgramInfoColl::Attr::lfMtpProgramInfo >( lfMtpProgramInfoColl() );
   handleLogicalFapInfo();
}

void SliceRootSm::doCleanup() {
   for ( Mtp mtp : mtpSm().keys() ) {
      deleteMtp( mtp );
   }
}

void SliceRootSm::handleLogicalFapInfo() {
   const LogicalFap::LogicalFapId fap = scsd()->logicalFapId();
   Zol::Ptr< const LogicalFapMtpProgramInfo > info =
         lfMtpProgramInfoColl()->lfMtpProgramInfo( fap );
   // Information that went and came back within one batch is another entity.
   if ( !info || ( mtpProgramInfo() && info != mtpProgramInfo() ) ) {
      DUOLOG_IN( trace, 1, "SliceRootSm::handleLogicalFapInfo",
            " Deleting logicalFapMtpProgramInfo for " << fap );
      mtpProgramInfoDel();
   }
   if ( info ) {
      DUOLOG_IN( trace, 1, "SliceRootSm::handleLogicalFapInfo",
            " Adding logicalFapMtpProgramInfo for " << fap );
      mtpProgramInfoIs( info );
      for ( Mtp mtp : info->mtpProgramInfo().keys() ) {
         handleMtpConfig( mtp );
      }
   }
}

void SliceRootSm::mtpProgramInfoIs( Zol::Ptr< const LogicalFapMtpProgramInfo > info ) {
   if ( info == mtpProgramInfo() ) {
      return; // bound already
   }
   mtpProgramInfo_ = info;
   react< &SliceRootSm::handleMtpConfig, LogicalFapMtpProgramInfo::Attr::mtpProgramInfo >(
         info );
}

void SliceRootSm::mtpProgramInfoDel() {
   if ( !mtpProgramInfo() ) {
      return;
   }
   // The helpers' configurations go first and all at once; the helpers remove the entries.
   tcamHelperConfig()->mtpHelperConfigDelAll();
   ignore( *mtpProgramInfo() );
   mtpProgramInfo_ = nullptr;
   mtpSmDelAll();
}

void SliceRootSm::handleMtpConfig( Mtp mtp ) {
   DUOLOG_IN( trace, 1, "SliceRootSm::handleMtpConfig", " mtp : " << mtp );
   Zol::Ptr< const MtpProgramInfo > info =
         mtpProgramInfo() ? mtpProgramInfo()->mtpProgramInfo( mtp ) : nullptr;
   Zol::follow< &SliceMtpSm::mtpProgramInfo >(
         mtpSm( mtp ), info, [ & ] { deleteMtp( mtp ); },
         [ & ] { mtpSmIs( mtp, info, tcamHelperConfig()->mtpHelperConfigIs( mtp ) ); } );
}

void SliceRootSm::mtpSmIs(
      Mtp mtp, Zol::Ptr< const MtpProgramInfo > info, Zol::Ptr< MtpTcamHelperConfig > config ) {
   SliceMtpSm::Context context;
   context.unit = unit();
   context.lfMtpProgramInfo = mtpProgramInfo();
   context.sliceCapability = sliceCapability();
   context.aclConfig = aclConfig();
   context.scsd = scsd();
   context.mirroringConfig = mirroringConfig();
   context.sliceMtpProgramStatus = sliceMtpProgramStatus();
   mtpSmIs( mtp, info, config, tcamHelperStatus()->mtpHelperStatus( mtp ), context );
}

void SliceRootSm::deleteMtp( Mtp mtp ) {
   // In this order: the machine's tear-down still finds its configuration.
   mtpSmDel( mtp );
   tcamHelperConfig()->mtpHelperConfigDel( mtp );
}

Zol::Ptr< SliceRootSm > sliceRootSmFactory( uint16_t unit,
      Zol::Ptr< const Acl::Config > aclConfig,
      Zol::Ptr< const LogicalFapMtpProgramInfoColl > lfMtpProgramInfoColl,
      Zol::Ptr< const SliceCapability > sliceCapability,
      Zol::Ptr< SliceMtpProgramStatus > sliceMtpProgramStatus, CommonData scsd,
      Zol::Ptr< TcamHelperConfig > tcamHelperConfig,
      Zol::Ptr< const TcamHelperStatus > tcamHelperStatus,
      Zol::Ptr< const Mirroring::Config > mirroringConfig ) {
   return Zol::make< SliceRootSm >( unit, aclConfig, lfMtpProgramInfoColl, sliceCapability,
         sliceMtpProgramStatus, scsd, tcamHelperConfig, tcamHelperStatus, mirroringConfig );
}

ZOL_DEFINE_ENTITY( SliceRootSm );

} // namespace KarvelMirror
