// The mounter: what it mounts, and what it builds in which order on which chip.

#include <unistd.h>

#include "Platform/KarvelLib/Toggles.h"
#include "Platform/Zol/TypeRegistry.h"
#include "PluginMounters/Slice/KarvelMirrorSliceMounter.h"
#include "PluginMounters/Slice/Ports/KarvelMirrorTcamHelperV2.h"
#include "PluginMounters/Slice/SliceCliCallback.h"
#include "Tests/ChipBed.h"
#include "Tests/TemporaryFolder.h"

namespace KarvelMirror {

class TheMounter : public SwitchBed {
 protected:
   TheMounter() { box.addChip( 3, *ChipModel::chipProfile( "trident3" ) ); }
   // Builds a slice on a chip with these attributes.
   Zol::Ptr< SliceMounter > build(
         const KarvelCentral::ChipAttributes& attributes, const char* missing = "" ) {
      auto put = [ & ]( const char* path, Zol::Ptr< Zol::Entity > entity ) {
         if ( !*missing ||
               std::string_view( path ).find( missing ) == std::string_view::npos ) {
            store.entityIs( path, entity );
         }
      };
      put( "hardware/karvel/centralStatus/feature/KarvelMirror/cpuRecircStatus",
            Zol::make< KarvelCentral::CpuRecircStatus >() );
      put( "hardware/karvel/centralStatus/feature/KarvelMirror/mtpProgramInfo",
            Zol::make< LogicalFapMtpProgramInfoColl >() );
      put( "mirroring/hwconfig", Zol::make< Mirroring::Config >() );
      put( "hardware/karvel/mirror/sliceCapability/left", Zol::make< SliceCapability >() );
      if ( std::string_view( missing ) != "unit" ) {
         scsd->unitIs( 3 );
      }
      scsd->chipAttributesIs( attributes );
      scsd->chipTableIs( Zol::make< KarvelCentral::ChipTable >() );
      if ( std::string_view( missing ) != "karvelCommon" ) {
         shared->entityIs( "karvelCommon", Zol::Ptr< Zol::Entity >( scsd ) );
      }
      auto groups = Zol::make< AgentServices::TcamGroupManager >();
      shared->entityIs( "tcamManager", Zol::Ptr< Zol::Entity >( groups ) );
      auto mounter = Zol::dynamicCast< SliceMounter >(
            Zol::TypeRegistry::make( "KarvelMirror::SliceMounter", "left" ) );
      mounter->sharedEntitiesIs( shared );
      mounter->entityManagerIs( &manager );
      mounter->doInit();
      mounter->doMountsComplete( manager.mountsComplete(), manager );
      return mounter;
   }
   static KarvelCentral::ChipAttributes attributesOf(
         bool helpers, bool newTcam, bool loopback ) {
      KarvelCentral::ChipAttributes attributes;
      attributes.chipIs( "test" );
      attributes.mirroringTcamHelpersIs( helpers );
      attributes.newTcamInterfaceIs( newTcam );
      attributes.loopbackTrunkMapIs( loopback );
      return attributes;
   }

   Hubdb::Store store;
   Hubdb::EntityManager manager{ store };
   Zol::Ptr< Karvel::KarvelCommonSmData > scsd = Zol::make< Karvel::KarvelCommonSmData >();
   Zol::Ptr< Zol::Dir > shared = Zol::make< Zol::Dir >();
};

TEST_F( TheMounter, BuildsWhatTheChipNeeds ) {
   auto direct = build( attributesOf( true, false, true ) );
   EXPECT_TRUE( direct->loopbackHelperSm() && direct->mtpProgramInfoCollSm() );
   EXPECT_TRUE( direct->tcamHelperSm() && direct->rootSm() && direct->aclProgrammerSm() );
   EXPECT_FALSE( direct->configSm() );
   EXPECT_EQ( direct->unit(), 3 );
   EXPECT_EQ( direct->fwkType(), "KarvelMirror::SliceMounter" );
   auto plain = build( attributesOf( false, false, true ) );
   EXPECT_TRUE( plain->loopbackHelperSm() && plain->mtpProgramInfoCollSm() );
   EXPECT_FALSE( plain->tcamManager() || plain->rootSm() || plain->aclProgrammerSm() );
   EXPECT_FALSE( plain->tcamHelperConfig() );
}

TEST_F( TheMounter, DeclaresItsMountsInOrder ) {
   build( attributesOf( false, false, false ) );
   std::string mounts;
   for ( const Hubdb::Mount& mount : manager.mountGroup().mounts() ) {
      mounts += mount.mode + " " + mount.path + " " + mount.typeName + "\n";
   }
   const std::string status = "hardware/karvel/centralStatus/feature/KarvelMirror/";
   EXPECT_EQ( mounts,
         "r " + status + "cpuRecircStatus KarvelCentral::CpuRecircStatus\n" + "r " + status +
               "mtpProgramInfo KarvelMirror::LogicalFapMtpProgramInfoColl\n" +
               "r hardware/karvel/mirror/sliceCapability/left KarvelMirror::SliceCapability\n"
               "wc " +
               status +
               "sliceMtpProgramStatus/left KarvelMirror::SliceMtpProgramStatus\n"
               "r acl/config/input Zol::Dir\n"
               "r acl/config/input Acl::Input::Config\n"
               "r hardware/karvel/mirror/paramConfig KarvelMirror::Slice::ParamConfig\n"
               "r mirroring/hwconfig Mirroring::Config\n"
               "cw "
               "hardware/karvel/globalStatus/karvellag/tableMgrDir/sourceTrunkMap/"
               "KarvelMirror-left "
               "KarvelCentral::PortTabWriteRequestDir\n"
               "wi hardware/karvel/feature/karveltcam/config/global Zol::Dir\n"
               "ri hardware/karvel/feature/karveltcam/status/global Zol::Dir\n" );
}

TEST_F( TheMounter, MakesTheConfigurationMachineItselfWithTheToggleOff ) {
   GTEST_FLAG_SET( death_test_style, "threadsafe" ); // toggles are read once per process
   const TemporaryFolder folder;
   folder.write( "KarvelLib.json", R"({ "KarvelMirrorT4Gre": false })" );
   const auto play = [ & ] {
      KarvelLib::toggleDirectoryIs( folder.path() );
      const auto made = build( attributesOf( false, false, false ) );
      _exit( made->configSm() && !made->mtpProgramInfoCollSm() ? 0 : 1 );
   };
   EXPECT_EXIT( play(), ::testing::ExitedWithCode( 0 ), "" );
}

TEST_F( TheMounter, AsksForRequestsOnTheNewTcamInterface ) {
   auto mounter = build( attributesOf( true, true, false ), "unit" );
   EXPECT_EQ( mounter->unit(), 0 ) << "where the common data names none";
   EXPECT_FALSE( mounter->loopbackHelperSm() );
   EXPECT_FALSE( mounter->tcamHelperSm() ) << "there is no manager to ask";
   EXPECT_TRUE( mounter->rootSm() );
   auto featureCommon = Zol::make< KarvelCentral::FeatureAgentCommonSmData >();
   featureCommon->tcamEventsIs( Zol::make< KarvelTcamConfig::KarvelTcamEvents >( "left" ) );
   shared->entityIs( "featureCommon", Zol::Ptr< Zol::Entity >( featureCommon ) );
   mounter = build( attributesOf( true, true, false ) );
   EXPECT_TRUE( Zol::dynamicCast< TcamHelperSmV2 >( mounter->tcamHelperSm() ) );
   EXPECT_TRUE( featureCommon->tcamEvents()->clientWarm() );
}

TEST_F( TheMounter, StopsWhenWhatItNeedsIsMissing ) {
   const auto any = attributesOf( true, false, false );
   EXPECT_DEATH( build( any, "mtpProgramInfo" ), "lfMtpProgramInfo\\(\\)" );
   EXPECT_DEATH( build( any, "cpuRecircStatus" ), "cpuRecircStatus\\(\\)" );
   EXPECT_DEATH( build( any, "sliceCapability" ), "sliceCapability\\(\\)" );
   EXPECT_DEATH( build( any, "karvelCommon" ), "scsd\\(\\)" );
}

TEST_F( TheMounter, IsFoundByTheCommandCallbackOfItsName ) {
   auto mounter = build( attributesOf( false, false, false ) );
   shared->entityIs( "left", Zol::Ptr< Zol::Entity >( mounter ) );
   shared->entityIs( "right", Zol::Ptr< Zol::Entity >( scsd ) );
   auto callbackOf = [ & ]( const char* name ) {
      auto callback = Zol::make< SliceCliCallback >( Zol::String( name ) );
      callback->sharedEntitiesIs( shared );
      callback->handleCommand( 5, "" );
      return callback->sliceMounter();
   };
   EXPECT_EQ( callbackOf( "left" ), mounter );
   EXPECT_FALSE( callbackOf( "right" ) ) << "of another type";
   EXPECT_FALSE( callbackOf( "nobody" ) );
   shared->entityDelAll();
}

} // namespace KarvelMirror
