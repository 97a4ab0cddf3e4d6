#include "PluginMounters/Slice/KarvelMirrorSliceMounter.h"

#include "Platform/Duolog/Duolog.h"
#include "Platform/KarvelLib/Toggles.h"
#include "Platform/KarvelMirror/Paths.h"
#include "Platform/Zol/TypeRegistry.h"
#include "PluginMounters/Slice/Ports/KarvelMirrorTcamHelperV2.h"

namespace KarvelMirror {

namespace {

Duolog::Handle trace( "SliceMounter" );

} // namespace

bool karvelMirrorT4Gre() {
   static const bool on = KarvelLib::toggle( "KarvelLib.json", "KarvelMirrorT4Gre", true );
   return on;
}

SliceMounter::SliceMounter( const Zol::String& sliceName )
      : MounterBase( sliceName ),
        taskScheduler_( Orv::TaskSchedulerRoot::findOrCreateScheduler() ) {}

void SliceMounter::doInit() {
   DUOLOG_IN( trace, 1, "SliceMounter::doInit" );
   Hubdb::MountGroup& group = entityManager().mountGroup();
   group.mount( cpuRecircStatusPath, "KarvelCentral::CpuRecircStatus", "r" );
   group.mount( mtpProgramInfoPath, "KarvelMirror::LogicalFapMtpProgramInfoColl", "r" );
   group.mount(
         slicePath( sliceCapabilityPath, name() ), "KarvelMirror::SliceCapability", "r" );
   group.mount( slicePath( sliceMtpProgramStatusPath, name() ),
         "KarvelMirror::SliceMtpProgramStatus", "wc" );
   group.mount( aclConfigInputPath, "Zol::Dir", "r" );
   group.mount( aclConfigInputPath, "Acl::Input::Config", "r" );
   group.mount( paramConfigPath, "KarvelMirror::Slice::ParamConfig", "r" );
   group.mount( mirroringConfigPath, "Mirroring::Config", "r" );
   group.mount( sourceTrunkMapPath( name() ), "KarvelCentral::PortTabWriteRequestDir", "cw" );
   group.mount( tcamConfigPath, "Zol::Dir", "wi" );
   group.mount( tcamStatusPath, "Zol::Dir", "ri" );
}

void SliceMounter::doMountsComplete(
      Hubdb::MountStatus mountStatus, Hubdb::EntityManager& store ) {
   DUOLOG_IN( trace, 1, "SliceMounter::doMountsComplete", " mountStatus: " << mountStatus );
   aclConfigIs( aclConfigCliPath );
   DUOLOG_IN(
         trace, 1, "SliceMounter::doMountsComplete", " aclConfig: " << aclConfig()->root() );
   Zol::Ptr< const Zol::Dir > aclInputDir = store.entity< Zol::Dir >( aclConfigInputPath );
   auto aclInput = store.entity< Acl::Input::Config >( aclConfigInputPath );
   if ( aclInputDir && aclInput ) {
      aclConfigAggregatorSmIs( aclInputDir, aclInput, aclConfig() );
   }
   findEntities( store );

   if ( !karvelMirrorT4Gre() && mirroringConfig() ) {
      configSmIs( *scsd(), mirroringConfig() );
   }
   if ( !scsd()->unit().empty() ) {
      unitIs( scsd()->unit().begin().key() );
   }
   sourceTrunkMapIs( store.writableEntity< KarvelCentral::PortTabWriteRequestDir >(
         sourceTrunkMapPath( name() ) ) );
   Zol::Ptr< const KarvelCentral::ChipInfo > chip = chipInfo();
   if ( chip && chip->needsLoopbackTrunkMap() && sourceTrunkMap() ) {
      loopbackHelperSmIs( unit(), scsd(), cpuRecircStatus(), sourceTrunkMap() );
   }
   if ( chip && chip->usesTcamHelpers() ) {
      buildTcamMachines( store, *chip );
   }
   if ( karvelMirrorT4Gre() && mirroringConfig() ) {
      mtpProgramInfoCollSmIs( unit(), scsd()->logicalFapId(), lfMtpProgramInfo(),
            taskScheduler(), scsd(), mirroringConfig() );
   }
}

void SliceMounter::findEntities( Hubdb::EntityManager& store ) {
   lfMtpProgramInfoIs( store.entity< LogicalFapMtpProgramInfoColl >( mtpProgramInfoPath ) );
   ZOL_ASSERT( lfMtpProgramInfo() );
   cpuRecircStatusIs( store.entity< KarvelCentral::CpuRecircStatus >( cpuRecircStatusPath ) );
   ZOL_ASSERT( cpuRecircStatus() );
   sliceCapabilityIs(
         store.entity< SliceCapability >( slicePath( sliceCapabilityPath, name() ) ) );
   ZOL_ASSERT( sliceCapability() );
   sliceMtpProgramStatusIs( store.writableEntity< SliceMtpProgramStatus >(
         slicePath( sliceMtpProgramStatusPath, name() ) ) );
   ZOL_ASSERT( sliceMtpProgramStatus() );
   scsdIs( sharedEntity< Karvel::KarvelCommonSmData >( "karvelCommon" ) );
   ZOL_ASSERT( scsd() );
   paramConfigIs( store.entity< Slice::ParamConfig >( paramConfigPath ) );
   mirroringConfigIs( store.entity< Mirroring::Config >( mirroringConfigPath ) );
}

Zol::Ptr< const KarvelCentral::ChipInfo > SliceMounter::chipInfo() const {
   return scsd()->chipTable() ? scsd()->chipTable()->findOrMake( scsd()->chipAttributes() )
                              : nullptr;
}

void SliceMounter::buildTcamMachines(
      Hubdb::EntityManager& store, const KarvelCentral::ChipInfo& chip ) {
   tcamManagerIs( sharedEntity< Karvel::KarvelTcamGroupManager >( "tcamManager" ) );
   tcamHelperConfigIs( tcamHelperConfigFactory() );
   tcamHelperStatusIs( tcamHelperStatusFactory() );
   tcamConfigDirIs( store.writableEntity< Zol::Dir >( tcamConfigPath ) );
   tcamStatusDirIs( store.entity< Zol::Dir >( tcamStatusPath ) );
   buildTcamHelper( chip );
   aclSmPluginEntityIs( sharedEntity< Karvel::AclSmPluginEntity >( "aclSmPluginEntity" ) );
   rootSmIs( sliceRootSmFactory( unit(), aclConfig(), lfMtpProgramInfo(), sliceCapability(),
         sliceMtpProgramStatus(), scsd(), tcamHelperConfig(), tcamHelperStatus(),
         mirroringConfig() ) );
   buildAclProgrammer();
}

void SliceMounter::buildAclProgrammer() {
   if ( !tcamManager() ) {
      return;
   }
   AclProgrammerSm::Context context;
   context.unit = unit();
   context.logicalFap = scsd()->logicalFapId();
   context.lfMtpProgramInfoColl = lfMtpProgramInfo();
   context.sliceMtpProgramStatus = sliceMtpProgramStatus();
   context.groupManager = tcamManager();
   context.aclSmPluginEntity = aclSmPluginEntity();
   context.taskScheduler = taskScheduler();
   context.scsd = scsd();
   aclProgrammerSmIs( context, aclConfig() );
}

void SliceMounter::buildTcamHelper( const KarvelCentral::ChipInfo& chip ) {
   if ( !chip.newTcamInterface() ) {
      if ( tcamManager() ) {
         tcamHelperSmIs( tcamHelperSmFactory(
               unit(), tcamHelperConfig(), tcamHelperStatus(), scsd(), tcamManager() ) );
      }
      return;
   }
   DUOLOG_IN( trace, 1, "SliceMounter::doMountsComplete", " use new TCAM API" );
   featureCommonIs(
         sharedEntity< KarvelCentral::FeatureAgentCommonSmData >( "featureCommon" ) );
   if ( featureCommon() && featureCommon()->tcamEvents() ) {
      tcamHelperSmIs(
            tcamHelperSmV2Factory( unit(), tcamHelperConfig(), tcamHelperStatus(), scsd(),
                  scsd()->logicalFapId(), tcamConfigDir(), tcamStatusDir(), featureCommon() ) );
   }
}

void SliceMounter::lastRelease() {
   // Users before what they use.
   aclProgrammerSmDel();
   mtpProgramInfoCollSmDel();
   rootSmDel();
   tcamHelperSmDel();
   loopbackHelperSmDel();
   configSmDel();
   aclConfigAggregatorSmDel();
}

ZOL_DEFINE_ENTITY( SliceMounter );
ZOL_REGISTER_TYPE( KarvelMirror::SliceMounter );

} // namespace KarvelMirror
