// Chip-wide settings, tunnel profiles and the loopback port: what is written when, and what stops
// the agent.

#include "Platform/Karvel/SdkCall.h"
#include "PluginMounters/Slice/ChipWide/GreKeyTables.h"
#include "PluginMounters/Slice/ChipWide/LoopbackHelperSm.h"
#include "PluginMounters/Slice/ChipWide/MtpProgramInfoSm.h"
#include "Tests/ChipBed.h"
#include "Tests/Names.h"
#include "Tests/Raised.h"

namespace KarvelMirror::Slice {

class TheSettings : public SwitchBed {
 protected:
   TheSettings() {
      Zol::activityManager().timeSourceIs( Zol::TimeSource::virtualTime );
      Karvel::sdkErrorStreamIs( &errors );
   }
   ~TheSettings() override { Karvel::sdkErrorStreamIs( nullptr ); }

   void addChip( const std::string& profile, uint16_t unit = 0 ) {
      box.addChip( unit, *ChipModel::chipProfile( profile ) );
      scsd->unitIs( unit );
   }
   Zol::Ptr< ConfigSm > configSm() {
      auto made = Zol::make< ConfigSm >( *scsd, sessions );
      made->zolStart();
      return made;
   }
   void key( const std::string& session, uint32_t value ) {
      sessions->sessionIs( session )->greTunnelKeyIs( Mirroring::GreTunnelKey( value ) );
   }
   void run() { Zol::activityManager().runUntilIdle(); }
   uint64_t writes() { return calls( SdkCall::soc_mem_write ); }

   std::ostringstream errors;
   Zol::Ptr< Karvel::KarvelCommonSmData > scsd = Zol::make< Karvel::KarvelCommonSmData >();
   Zol::Ptr< Mirroring::Config > sessions = Zol::make< Mirroring::Config >();
};

class EveryKeyFamily : public TheSettings,
                       public ::testing::WithParamInterface< std::string > {};

TEST_P( EveryKeyFamily, HasThePatchWhileASessionHasAKey ) {
   addChip( GetParam() );
   auto machine = configSm();
   const ChipModel::ChipState before = chip();
   const uint64_t started = gate().calls(), atStart = writes();
   sessions->sessionIs( "plain" );
   run();
   EXPECT_EQ( gate().calls(), started ) << "no finding, no call";
   key( "a", 0 ); // a key, too
   run();
   const uint64_t patch = writes() - atStart;
   EXPECT_GT( patch, 0u );
   const ChipModel::ChipState keyed = chip();
   EXPECT_FALSE( changes( before ).empty() );
   const uint64_t calls = gate().calls();
   key( "b", 7 );
   key( "a", 1 );
   sessions->sessionDel( "a" );
   run();
   EXPECT_EQ( gate().calls(), calls );
   EXPECT_TRUE( changes( keyed ).empty() );
   sessions->sessionIs( "b" )->greTunnelKeyDel();
   run();
   EXPECT_EQ( changes( before ), Strings() );
   EXPECT_FALSE( machine->greKeyPatchApplied() );
   EXPECT_EQ( writes(), atStart + 2 * patch );
   // A machine that goes takes it back; another one looks again.
   key( "b", 7 );
   run();
   machine = nullptr;
   EXPECT_EQ( changes( before ), Strings() );
   machine = configSm();
   EXPECT_TRUE( machine->greKeyPatchApplied() );
   EXPECT_TRUE( changes( keyed ).empty() );
   EXPECT_EQ( errors.str(), "" );
}
INSTANTIATE_TEST_SUITE_P( Families, EveryKeyFamily,
      ::testing::Values( "tomahawk", "trident3-x4", "trident3-x2", "trident3", "helix5" ),
      []( const auto& chip ) { return testName( chip.param ); } );

TEST_F( TheSettings, AreLookedAtOnceForABurstOfSessions ) {
   addChip( "trident3" );
   auto machine = configSm();
   for ( int i = 0; i < 1000; ++i ) {
      key( "session" + std::to_string( i ), 5 );
   }
   // Each look says of each session with a key that it has one.
   int lines = 0;
   Duolog::enable( "SliceConfigSm/0-4" );
   Duolog::sinkIs( [ & ]( std::string_view ) { ++lines; } );
   run();
   Duolog::disableAll();
   Duolog::sinkIs( {} );
   EXPECT_EQ( lines, 1001 ) << "one look, and what it found";
   const uint64_t patched = writes();
   for ( int i = 0; i < 1000; ++i ) {
      sessions->sessionDel( "session" + std::to_string( i ) );
      key( "last", static_cast< uint32_t >( i ) );
   }
   run();
   EXPECT_EQ( writes(), patched );
   EXPECT_TRUE( machine->greKeyPatchApplied() );
}

TEST_F( TheSettings, AreWrittenButForARefusedEntry ) {
   addChip( "tomahawk", 0 );
   addChip( "tomahawk", 1 );
   auto machine = configSm();
   const ChipModel::ChipState second = chip( 1 );
   refuse( SdkCall::soc_mem_read );
   key( "a", 7 );
   run();
   EXPECT_EQ( writes(), 3u ); // two entries on each chip, but for one
   EXPECT_EQ( changes( second ).size(), 8u );
}

TEST_F( TheSettings, MayLackTheQueueControlButTraceAnotherError ) {
   addChip( "tomahawk" );
   refuse( SdkCall::bcm_switch_control_set, 1, Fault::Effect::notDone,
         Shim::Sdk::QX_BCM_E_UNAVAIL() );
   configSm();
   EXPECT_EQ( errors.str(), "" );
   EXPECT_EQ( chip().switchControls[ 0 ].value, -1 );
   EXPECT_EQ( chip().switchControls[ 1 ].value, 0 );
   refuse( SdkCall::bcm_switch_control_set );
   auto machine = configSm();
   EXPECT_NE( errors.str().find( " API ERROR:Operation failed (rc:-11)" ), std::string::npos );
   key( "a", 7 );
   run();
   EXPECT_TRUE( machine->greKeyPatchApplied() ) << "start goes on";
}

TEST_F( TheSettings, StopTheAgentOnAnSdkWhoseEditorProfilesAreNotKnown ) {
   box.control().sdkVersionIs( 60524 );
   addChip( "trident3" );
   const ChipModel::ChipState before = chip();
   configSm();
   EXPECT_EQ( changes( before ),
         ( Strings{ "ING_FLEX_EDITOR_PROFILEm[3] OFFSETf: nothing before, 0x0 after",
               "EGR_FLEX_EDITOR_PROFILEm[5] OFFSETf: nothing before, 0x0 after" } ) );
   EXPECT_EQ( calls( SdkCall::bcm_switch_control_set ), 0U ) << "of another family";
   ChipModel::Switch newer;
   newer.control().sdkVersionIs( 70100 );
   newer.addChip( 0, *ChipModel::chipProfile( "trident3" ) );
   ::Shim::sdk_ = &newer.sdk();
   EXPECT_DEATH( configSm(), "Unsupported SDK version. Please see the note above, and add" );
}

// --- Tunnel profiles ------------------------------------------------------------------------

class TheTunnelProfiles : public TheSettings {
 protected:
   void tunnel(
         uint8_t id, uint32_t headerSize, bool active = true, const char* to = "1.2.3.4" ) {
      auto made = info->tunnelIs( TunnelId( id ) );
      TunnelParameters parameters;
      parameters.dstIpIs( *Plix::IpGenAddr::fromString( to ) );
      made->parametersIs( parameters );
      made->headerSizeIs( headerSize );
      made->activeIs( active );
      run();
   }
   Zol::Ptr< MtpTunnelConfigSm > machine( Zol::Ptr< PtHelper > helper ) {
      auto made = Zol::make< MtpTunnelConfigSm >(
            0U, uint8_t{ 16 }, "EGR_HEADER_INSERT_PROFILE", info, helper );
      made->zolStart();
      return made;
   }
   // What was written since: each of the sixteen entries once, in order.
   std::vector< TableValues > written() {
      std::vector< TableValues > entries;
      for ( uint64_t idx = 0; idx < 16; ++idx ) {
         entries.push_back( mock->dataDeq() );
         EXPECT_EQ( entries.back().fields( "BCMLT_PT_INDEX" ), 16 + idx );
      }
      EXPECT_EQ( mock->queued(), 0u );
      return entries;
   }
   static std::vector< uint64_t > sizes( const TableValues& entry ) {
      return { entry.fields( "INSERT_0_VALID" ), entry.fields( "HDR_ID_LIST_0_HDR_SIZE" ),
         entry.fields( "INSERT_0_ENGINE_ID" ), entry.fields( "INSERT_1_VALID" ),
         entry.fields( "HDR_ID_LIST_1_HDR_SIZE" ),
         entry.fields( "HDR_ID_LIST_1_INS_COMMAND_NUM" ) };
   }

   Zol::Ptr< LogicalFapMtpProgramInfo > info =
         Zol::make< LogicalFapMtpProgramInfo >( LogicalFap::LogicalFapId( 0 ) );
   Zol::Ptr< MockPtHelper > mock = Zol::make< MockPtHelper >();
   using Sizes = std::vector< uint64_t >;
};

TEST_F( TheTunnelProfiles, InsertAHeaderInOnePieceOrTwo ) {
   tunnel( 3, 50 );
   tunnel( 0, 100, true, "2001:db8::1" );
   tunnel( 1, 40, false );
   tunnel( 2, 64 );
   auto made = machine( mock );
   const auto entries = written();
   EXPECT_EQ( sizes( entries[ 5 ] ), ( Sizes{ 1, 50, 13, 0, 0, 0 } ) );
   EXPECT_EQ( sizes( entries[ 2 ] ), ( Sizes{ 1, 64, 13, 1, 36, 1 } ) );
   EXPECT_EQ( sizes( entries[ 4 ] ), ( Sizes{ 1, 64, 13, 0, 0, 0 } ) );
   for ( size_t idx : { 0U, 1U, 3U, 6U, 15U } ) {
      for ( const auto& [ field, value ] : entries[ idx ].fields() ) {
         EXPECT_TRUE( field == "BCMLT_PT_INDEX" || value == 0 ) << idx << " " << field;
      }
      EXPECT_EQ( entries[ idx ].fieldss(), 12u );
   }
   EXPECT_EQ( mock->data( 0 ).fields( "BCMLT_PT_INDEX" ), 31u );
}

TEST_F( TheTunnelProfiles, AreAllRewrittenOnceForAnyChangeOfAHeader ) {
   tunnel( 3, 50 );
   auto made = machine( mock );
   written();
   tunnel( 3, 50, true, "1.2.3.5" ); // the same header to somebody else
   EXPECT_EQ( mock->queued(), 0u );
   tunnel( 3, 54 );
   EXPECT_EQ( sizes( written()[ 5 ] )[ 1 ], 54u );
   tunnel( 3, 74, true, "2001:db8::1" ); // leaves one buffer and comes into the other
   EXPECT_EQ( sizes( written()[ 5 ] ), ( Sizes{ 1, 64, 13, 1, 10, 1 } ) );
   info->tunnelDel( TunnelId( 3 ) );
   run();
   EXPECT_EQ( sizes( written()[ 5 ] ), ( Sizes{ 0, 0, 0, 0, 0, 0 } ) );
   tunnel( 3, 54 );
   EXPECT_EQ( sizes( written()[ 5 ] )[ 1 ], 54u );
   made = nullptr;
   EXPECT_EQ( sizes( written()[ 5 ] )[ 1 ], 0u ) << "gone with the machine";
   EXPECT_EQ( calls( SdkCall::bcmlt_entry_allocate ), 0u );
}

TEST_F( TheTunnelProfiles, StopTheProcessWhenATableCallIsRefused ) {
   addChip( "trident4" );
   auto made = machine( Zol::make< BcmPtHelper >() );
   for ( const SdkCall call : { SdkCall::bcmlt_entry_allocate, SdkCall::bcmlt_entry_field_add,
               SdkCall::bcmlt_pt_entry_commit, SdkCall::bcmlt_entry_free } ) {
      EXPECT_DEATH( ( refuse( call ), tunnel( 3, 50 ) ),
            "PtHelper.cpp:[0-9]+: " + std::string( ChipModel::sdkCallName( call ) ) );
   }
   EXPECT_DEATH( tunnel( 14, 50 ), "idx < 16" );
   tunnel( 13, 50 );
}

TEST_F( TheTunnelProfiles, NeedTheChipsFirstOneForTheBringUp ) {
   addChip( "trident3" );
   const LogicalFap::LogicalFapId fap( 0 );
   auto all = Zol::make< LogicalFapMtpProgramInfoColl >();
   all->lfMtpProgramInfoIs( fap );
   auto bringUp = [ & ] {
      auto made = Zol::make< MtpProgramInfoCollSm >(
            0U, fap, all, Orv::TaskSchedulerRoot::findOrCreateScheduler(), scsd, sessions );
      made->zolStart();
      return made;
   };
   EXPECT_DEATH( bringUp(), "mirrAttr && mirrAttr->mirrorEditIdBase\\(\\)" );
   auto features = Zol::make< KarvelCentral::ChipProfile >( "trident3" );
   auto mirror = Zol::make< KarvelChipAttributesMirror >();
   features->featureIs( mirror );
   scsd->chipProfileIs( features );
   EXPECT_DEATH( bringUp(), "mirrAttr && mirrAttr->mirrorEditIdBase\\(\\)" );
   mirror->mirrorEditIdBaseIs( 8 );
   const ChipModel::ChipState before = chip();
   key( "keyed", 7 );
   auto made = bringUp();
   EXPECT_TRUE( Zol::dynamicCast< const MockPtHelper >(
         made->mtpProgramInfoSm()->mtpTunnelConfigSm()->ptHelper() ) );
   EXPECT_EQ( calls( SdkCall::bcmlt_entry_allocate ), 0u );
   const Strings keyed = changes( before );
   const auto machine = made->mtpProgramInfoSm();
   {
      Zol::Batch batch;
      all->lfMtpProgramInfoDel( fap );
      all->lfMtpProgramInfoIs( fap );
   }
   EXPECT_NE( made->mtpProgramInfoSm(), machine );
   EXPECT_EQ( changes( before ), keyed );
   all->lfMtpProgramInfoDel( fap );
   EXPECT_FALSE( made->mtpProgramInfoSm() );
   EXPECT_LT( changes( before ).size(), keyed.size() ) << "the patch is taken back";
   all->lfMtpProgramInfoIs( fap );
   EXPECT_EQ( changes( before ), keyed );
}

// --- The loopback port ------------------------------------------------------------------------

class TheLoopbackPort : public TheSettings {
 protected:
   TheLoopbackPort() {
      addChip( "tomahawk3" );
      scsd->chipTableIs( Zol::make< KarvelCentral::ChipTable >() );
      KarvelCentral::ChipAttributes attributes;
      attributes.chipIs( "tomahawk3" );
      attributes.loopbackTrunkMapIs( true );
      scsd->chipAttributesIs( attributes );
   }
   Zol::Ptr< LoopbackHelperSm > helper() {
      auto made = Zol::make< LoopbackHelperSm >( uint16_t{ 0 }, scsd, status, requests );
      made->zolStart();
      return made;
   }
   void portPlaceIs( uint32_t place ) {
      Shim::MemEntry entry;
      box.sdk().soc_mem_field32_set(
            0, Shim::ING_DEVICE_PORTm, &entry, Shim::SOURCE_TRUNK_MAP_INDEXf, place );
      box.sdk().soc_mem_write( 0, Shim::ING_DEVICE_PORTm, Shim::MEM_BLOCK_ALL, 161, &entry );
   }

   Zol::Ptr< KarvelCentral::CpuRecircStatus > status =
         Zol::make< KarvelCentral::CpuRecircStatus >();
   Zol::Ptr< KarvelCentral::PortTabWriteRequestDir > requests =
         Zol::make< KarvelCentral::PortTabWriteRequestDir >();
};

TEST_F( TheLoopbackPort, IsEnteredInTheMapOnceItIsKnown ) {
   using KarvelCentral::PortTab;
   scsd->karvelModIdIs( 0, 5 );
   auto made = helper();
   status->portIs( "Loopback1", { 0, 161 } );
   EXPECT_EQ( requests->requests(), 0u );
   status->portIs( "Loopback0", { 3, 161 } ); // of another slice's chip
   EXPECT_EQ( requests->requests(), 0u );
   status->portIs( "Loopback0", { 0, 160 } );
   status->portIs( "Loopback0", { 0, 161 } );
   EXPECT_EQ( requests->requests(), 2u ) << "those of the first port have gone";
   EXPECT_EQ( requests->request( { PortTab::sourceTrunkMapBase, 5 } ), 161u );
   EXPECT_EQ( requests->request( { PortTab::sourceTrunkMap, 161 } ), 5u );
   const uint64_t reads = calls( SdkCall::soc_mem_read );
   status->portIs( "Loopback1", { 0, 160 } );
   EXPECT_EQ( calls( SdkCall::soc_mem_read ), reads );
   status->portDel( "Loopback0" );
   EXPECT_EQ( requests->requests(), 0u );
   status->portIs( "Loopback0", { 0, 161 } );
   made = nullptr;
   EXPECT_EQ( requests->requests(), 0u );
}

TEST_F( TheLoopbackPort, StopsTheAgentWhenWhatIsSaidCannotBe ) {
   status->portIs( "Loopback0", { 0, 161 } );
   EXPECT_DEATH( helper(), "scsd\\(\\)->karvelModIdHas\\( sp.unit\\(\\) \\)" );
   scsd->karvelModIdIs( 0, 5 );
   EXPECT_DEATH(
         ( Karvel::sdkErrorStreamIs( nullptr ), refuse( SdkCall::soc_mem_read ), helper() ),
         "soc_mem_read.* API ERROR:Operation failed \\(rc:-11\\)" );
   const auto error = [ & ] { return raised< Zol::RangeError >( [ & ] { helper(); } ); };
   portPlaceIs( 1024 );
   EXPECT_EQ( error(), "U10::value < 0 or > 0x03ff not allowed" );
   portPlaceIs( 1023 );
   scsd->karvelModIdIs( 0, 257 );
   EXPECT_EQ( error(),
         "KarvelCentral::ModId::value < KarvelCentral::ModId::min or > "
         "KarvelCentral::ModId::null not allowed" );
}

} // namespace KarvelMirror::Slice
