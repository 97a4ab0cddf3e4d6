// Port mirroring as a user sees it: a configuration, frames in, copies out. Most scenarios are
// played on chips of both generations of the TCAM interface, which must not show.

#include <ostream>

#include "Tests/EveryRefusal.h"
#include "Tests/Scenarios/Scenario.h"

namespace Scenario {

using Agent::SessionPhase;
using ChipModel::SdkCall;

// --- Scenarios of both generations ----------------------------------------------------------

// Each is played on several chips, with a transcript of what a user could see, so that the
// transcripts can be compared.
struct PortScenario {
   const char* name;
   void ( *run )();
};

void PrintTo( const PortScenario& scenario, std::ostream* out ) { *out << scenario.name; }

std::vector< PortScenario > portScenarios;

struct Added {
   explicit Added( const PortScenario& scenario ) { portScenarios.push_back( scenario ); }
};

// Plays a scenario on chips of this profile, where it does not name another.
Transcript play( const PortScenario& scenario, const char* profile ) {
   SCOPED_TRACE( profile );
   Transcript transcript;
   Rig::recorder = &transcript;
   Rig::defaultProfile = profile;
   scenario.run();
   Rig::recorder = nullptr;
   Rig::defaultProfile.clear();
   return transcript;
}

#define PORT_SCENARIO( group, sentence )                                                       \
   static void group##_##sentence();                                                           \
   static const Added added_##group##_##sentence(                                              \
         { #group "_" #sentence, group##_##sentence } );                                       \
   static void group##_##sentence()

PORT_SCENARIO( IngressMirroring, CopiesWhatASourcePortReceivesAndNothingElse ) {
   Rig rig( network( span( "in", "Ethernet0", "Ethernet20", "RX" ) ) );
   EXPECT_EQ( rig.session( "in" ).phase, SessionPhase::active );
   const Bytes tagged = frame( 1, 2, 20, 7 );
   rig.send( "Ethernet0", tagged );
   EXPECT_EQ( rig.copies( "Ethernet20" ), std::vector< Bytes >{ tagged } );
   // What leaves by Ethernet0.
   EXPECT_EQ( rig.copied( "Ethernet4", frame( 2, 1 ), "Ethernet20" ), 0U );
   // What the switch itself drops was received all the same.
   EXPECT_EQ( rig.copied( "Ethernet0", frame( 1, 2, 999 ), "Ethernet20" ), 1U );
}

PORT_SCENARIO( EgressMirroring, CopiesWhatASourcePortSendsAsItIsSent ) {
   Rig rig( network( span( "out", "Ethernet8", "Ethernet20", "TX" ) ) );
   // The switch learns where 3 is.
   EXPECT_EQ( rig.copied( "Ethernet8", frame( 3, 9, 10 ), "Ethernet20" ), 0U );
   const Bytes untagged = frame( 1, 3, 0, 5 );
   rig.send( "Ethernet0", untagged );
   // Ethernet8 sends VLAN 10 tagged.
   Bytes sent = frame( 1, 3, 10, 5 );
   sent.resize( untagged.size() + 4 );
   EXPECT_EQ( rig.copies( "Ethernet20" ), std::vector< Bytes >{ sent } );
   // Flooded frames leave the port, too.
   EXPECT_EQ( rig.copied( "Ethernet0", frame( 1, 77 ), "Ethernet20" ), 1U );
   // Known to be elsewhere: nothing leaves Ethernet8.
   EXPECT_EQ( rig.copied( "Ethernet4", frame( 2, 1 ), "Ethernet20" ), 0U );
}

PORT_SCENARIO( EgressMirroring, OfAPortChannelFollowsWhateverMemberHashingChooses ) {
   Rig rig( network( span( "up", "PortChannel1", "Ethernet20", "TX" ) ) );
   for ( uint8_t flow = 10; flow < 60; ++flow ) {
      rig.send( "Ethernet0", frame( flow, 200, 0, flow ) );
   }
   const size_t first = rig.forwarded( "Ethernet12" ), second = rig.forwarded( "Ethernet16" );
   EXPECT_TRUE( first > 0 && second > 0 ) << "the flows should spread over both members";
   EXPECT_EQ( first + second, 50U );
   EXPECT_EQ( rig.copyCount( "Ethernet20" ), 50U );
   EXPECT_EQ( rig.entries().size(), 1U ) << "one entry matches the trunk";
}

PORT_SCENARIO( IngressMirroring, OfAPortChannelCopiesFromEveryMember ) {
   Rig rig( network( span( "up", "PortChannel1", "Ethernet20", "RX" ) ) );
   rig.send( "Ethernet12", frame( 5, 1 ) );
   EXPECT_EQ( rig.copied( "Ethernet16", frame( 6, 1 ), "Ethernet20" ), 2U );
   // A member that leaves is no source any more, one that comes is.
   rig.del( "PORTCHANNEL_MEMBER|PortChannel1|Ethernet16" );
   EXPECT_EQ( rig.copied( "Ethernet16", frame( 6, 1 ), "Ethernet20" ), 0U );
   rig.set( "PORTCHANNEL_MEMBER|PortChannel1|Ethernet24", "{}" );
   EXPECT_EQ( rig.copied( "Ethernet24", frame( 7, 1 ), "Ethernet20" ), 1U );
}

PORT_SCENARIO( BothDirections, TakeTwoDestinationsAndCopyInAndOut ) {
   Rig rig( network( span( "both", "Ethernet0", "Ethernet20", "BOTH" ) ) );
   EXPECT_EQ( rig.session( "both" ).held.size(), 2U );
   EXPECT_EQ( rig.copied( "Ethernet0", frame( 1, 2 ), "Ethernet20" ), 1U );
   EXPECT_EQ( rig.copied( "Ethernet4", frame( 2, 1 ), "Ethernet20" ), 1U );
}

PORT_SCENARIO( SeveralSessions, OfOneSourceEachGetTheirCopy ) {
   Rig rig( network( span( "a", "Ethernet0", "Ethernet20", "RX" ) + "," +
         span( "b", "Ethernet0,Ethernet4", "Ethernet24", "RX" ) + "," +
         span( "c", "Ethernet4", "Ethernet28", "TX" ) ) );
   rig.send( "Ethernet4", frame( 2, 9 ) );
   rig.forget();
   EXPECT_EQ( rig.copied( "Ethernet0", frame( 1, 2 ), "Ethernet20" ), 1U );
   EXPECT_EQ( rig.copyCount( "Ethernet24" ), 1U );
   EXPECT_EQ( rig.copyCount( "Ethernet28" ), 1U );
}

PORT_SCENARIO( Destination, MayBeAPortChannel ) {
   const std::string channel = R"({
     "PORT": { "Ethernet0": {}, "Ethernet4": {}, "Ethernet8": {} },
     "PORTCHANNEL": { "PortChannel7": {} },
     "PORTCHANNEL_MEMBER": { "PortChannel7|Ethernet4": {}, "PortChannel7|Ethernet8": {} },
     "MIRROR_SESSION": { )" +
         span( "in", "Ethernet0", "PortChannel7", "RX" ) + "} }";
   Rig rig( channel );
   for ( uint8_t flow = 1; flow < 40; ++flow ) {
      rig.send( "Ethernet0", frame( flow, 99 ) );
   }
   const size_t first = rig.copyCount( "Ethernet4" ), second = rig.copyCount( "Ethernet8" );
   EXPECT_EQ( first + second, 39U );
   EXPECT_TRUE( first > 0 && second > 0 ) << "the flows should spread over both members";
}

// --- Changes ------------------------------------------------------------------------------

PORT_SCENARIO( ChangedSources, AreFollowedAtTheNextFrameAndLeaveOthersAlone ) {
   Rig rig( network( span( "a", "Ethernet0", "Ethernet20", "RX" ) + "," +
         span( "b", "Ethernet4", "Ethernet24", "RX" ) ) );
   const std::vector< int > others = rig.entries( "mirror1" );
   ASSERT_EQ( others.size(), 1U );
   rig.setSpan( "a", "Ethernet8", "Ethernet20", "RX" );
   EXPECT_EQ( rig.copied( "Ethernet0", frame( 1, 2 ), "Ethernet20" ), 0U );
   EXPECT_EQ( rig.copied( "Ethernet8", frame( 3, 2, 10 ), "Ethernet20" ), 1U );
   EXPECT_EQ( rig.entries( "mirror1" ), others );
   EXPECT_EQ( rig.session( "a" ).phase, SessionPhase::active );
}

PORT_SCENARIO( ChangedDirection, WithdrawsTheDestinationAndPublishesItAnew ) {
   Rig rig( network( span( "a", "Ethernet0", "Ethernet20", "RX" ) ) );
   rig.setSpan( "a", "Ethernet0", "Ethernet20", "TX" );
   EXPECT_EQ( rig.session( "a" ).phase, SessionPhase::active );
   EXPECT_EQ( rig.copied( "Ethernet0", frame( 1, 2 ), "Ethernet20" ), 0U );
   EXPECT_EQ( rig.copied( "Ethernet4", frame( 2, 1 ), "Ethernet20" ), 1U );
}

PORT_SCENARIO( ChangedTarget, MovesTheCopiesWithoutTouchingEntries ) {
   Rig rig( network( span( "a", "Ethernet0", "Ethernet20", "RX" ) ) );
   const std::vector< int > before = rig.entries();
   rig.setSpan( "a", "Ethernet0", "Ethernet24", "RX" );
   EXPECT_EQ( rig.copied( "Ethernet0", frame( 1, 2 ), "Ethernet20" ), 0U );
   EXPECT_EQ( rig.copyCount( "Ethernet24" ), 1U );
   EXPECT_EQ( rig.entries(), before );
}

PORT_SCENARIO( RemovedSession, LeavesNoCopyNoEntryAndNoStatus ) {
   Rig rig( network( span( "a", "Ethernet0", "Ethernet20", "RX" ) + "," +
         span( "b", "Ethernet4", "Ethernet24", "BOTH" ) ) );
   rig.del( "MIRROR_SESSION|a" );
   EXPECT_EQ( rig.copied( "Ethernet0", frame( 1, 2 ), "Ethernet20" ), 0U );
   EXPECT_EQ( rig.entriesUsed(), 2 );
   rig.del( "MIRROR_SESSION|b" );
   EXPECT_EQ( rig.entriesUsed(), 0 );
   EXPECT_TRUE( rig.runtime.programStatus( 0 )->programStatus().empty() );
   EXPECT_EQ( rig.left(), Transcript() );
}

PORT_SCENARIO( UnchangedConfiguration, CostsNoSdkCall ) {
   Rig rig( network( span( "a", "Ethernet0", "Ethernet20", "RX" ) ) );
   const uint64_t before = rig.gate().calls();
   rig.setSpan( "a", "Ethernet0", "Ethernet20", "RX" );
   rig.runtime.advance( 60 );
   EXPECT_EQ( rig.gate().calls(), before );
}

TEST( OneChangedSource, CostsTheSameCallsAmongManyAsAmongFew ) {
   auto callsFor = []( int sources, const std::string& profile ) {
      std::string ports = "\"Ethernet0\": {}";
      std::string list = "Ethernet1";
      for ( int i = 1; i <= 100; ++i ) {
         ports += ", \"Ethernet" + std::to_string( i ) + "\": {}";
         list += i > 1 && i <= sources ? ",Ethernet" + std::to_string( i ) : "";
      }
      Rig rig( "{ \"PORT\": {" + ports + "}, \"MIRROR_SESSION\": {" +
                  span( "a", list, "Ethernet0", "RX" ) + "} }",
            profile );
      const uint64_t before = rig.gate().calls();
      rig.setSpan( "a", list + ",Ethernet100", "Ethernet0", "RX" );
      EXPECT_EQ( rig.copied( "Ethernet100", frame( 1, 2 ), "Ethernet0" ), 1U );
      return rig.gate().calls() - before;
   };
   for ( const char* profile : { "trident3", "trident2" } ) { // with and without port classes
      EXPECT_EQ( callsFor( 99, profile ), callsFor( 10, profile ) ) << profile;
   }
}

// --- Limits -------------------------------------------------------------------------------

PORT_SCENARIO( Destinations, BeyondTheChipsFourAreRefusedWithTheNamesOfTheHolders ) {
   Rig rig( network( span( "a", "Ethernet0", "Ethernet20", "BOTH" ) + "," +
         span( "b", "Ethernet4", "Ethernet24", "RX" ) + "," +
         span( "c", "Ethernet8", "Ethernet28", "BOTH" ) + "," +
         span( "d", "Ethernet8", "Ethernet32", "TX" ) ) );
   EXPECT_EQ( rig.session( "c" ).phase, SessionPhase::refused );
   EXPECT_EQ( rig.session( "c" ).reason,
         "needs 2 of the chip's 4 mirror destinations; 1 free, held by a (2), b" );
   EXPECT_EQ( rig.session( "d" ).phase, SessionPhase::active ) << "one is enough for it";
   rig.del( "MIRROR_SESSION|a" );
   EXPECT_EQ( rig.session( "c" ).phase, SessionPhase::active );
}

PORT_SCENARIO( FullTcam, FailsTheDestinationWholeAndLetsOthersBe ) {
   Rig rig( network( span( "a", "Ethernet0", "Ethernet20", "RX" ) ) );
   const std::vector< int > others = rig.entries();
   ASSERT_FALSE( rig.runtime.capacity( "ingress-entries", 2 ) );
   // Two sources are two egress entries; one is left.
   rig.setSpan( "b", "Ethernet4,Ethernet8", "Ethernet24", "TX" );
   const Agent::SessionState failed = rig.session( "b" );
   EXPECT_EQ( failed.phase, SessionPhase::failed );
   EXPECT_EQ( failed.cause, Agent::SessionCause::entries );
   ASSERT_EQ( failed.held.size(), 1U );
   EXPECT_EQ( failed.held[ 0 ].status, KarvelMirror::ProgramStatus::resourceExhaustion );
   EXPECT_EQ( rig.entries(), others );
   EXPECT_EQ( rig.entriesUsed(), 1 ) << "nothing of b stays";
   EXPECT_EQ( rig.copied( "Ethernet0", frame( 1, 2 ), "Ethernet20" ), 1U );
   EXPECT_EQ( rig.copyCount( "Ethernet24" ), 0U );

   ASSERT_FALSE( rig.runtime.capacity( "ingress-entries", 3 ) );
   EXPECT_EQ( rig.session( "b" ).phase, SessionPhase::active );
   EXPECT_EQ( rig.entries( "mirror0" ), others );
   EXPECT_EQ( rig.copied( "Ethernet0", frame( 1, 88 ), "Ethernet24" ), 2U )
         << "flooded to both sources";
}

PORT_SCENARIO( Interfaces, ThatAreDownLeaveTheirSessionInactiveWithTheCause ) {
   Rig rig( network( "" ) );
   rig.set( "PORTCHANNEL|PortChannel7", "{}" );
   rig.setSpan( "a", "Ethernet0", "PortChannel7", "RX" );
   rig.setSpan( "b", "PortChannel7", "Ethernet20", "RX" );
   EXPECT_EQ(
         rig.session( "a" ).reason, "PortChannel7 has no members: its copies are dropped" );
   EXPECT_EQ(
         rig.session( "b" ).reason, "PortChannel7 has no members: there is nothing to copy" );
   EXPECT_EQ( rig.session( "b" ).phase, SessionPhase::inactive );
   rig.set( "PORTCHANNEL_MEMBER|PortChannel7|Ethernet24", "{}" );
   EXPECT_EQ( rig.session( "a" ).phase, SessionPhase::active );
   ASSERT_FALSE( rig.runtime.linkIs( "Ethernet20", false ) );
   EXPECT_EQ( rig.session( "b" ).reason, "link of Ethernet20 is down: its copies are dropped" );
   EXPECT_EQ( rig.session( "a" ).phase, SessionPhase::active );
}

PORT_SCENARIO( RefusedCall, FailsItsSessionWhichIsTriedAgain ) {
   using Agent::SessionCause;
   for ( const auto& [ call, cause ] :
         { std::pair( "bcm_field_entry_create", SessionCause::refusedCall ),
               std::pair( "bcm_port_enable_set", SessionCause::forwarding ),
               std::pair( "bcm_mirror_destination_set", SessionCause::destination ) } ) {
      Rig rig( network( span( "a", "Ethernet0", "Ethernet20", "RX" ) ) );
      ASSERT_FALSE( rig.runtime.fail( call, 1, 2 ) );
      rig.set( "PORT|Ethernet40", "{}" );
      rig.setSpan( "b", "Ethernet4,Ethernet40", "Ethernet24", "RX" );
      EXPECT_EQ( rig.session( "b" ).phase, SessionPhase::failed );
      EXPECT_EQ( rig.session( "b" ).cause, cause ) << rig.session( "b" ).reason;
      EXPECT_EQ( rig.session( "b" ).refusal->what, call );
      rig.runtime.advance( 40 );
      EXPECT_EQ( rig.session( "b" ).phase, SessionPhase::active );
      EXPECT_EQ( rig.copied( "Ethernet4", frame( 2, 1 ), "Ethernet24" ), 1U );
   }
}

PORT_SCENARIO( Destination, ThatTheChipKeepsIsNobodyElsesUntilItIsGivenBack ) {
   Rig rig( network( span( "a", "Ethernet0", "Ethernet20", "RX" ) ) );
   ASSERT_FALSE( rig.runtime.fail( "bcm_mirror_destination_destroy", 1, 2 ) );
   rig.del( "MIRROR_SESSION|a" );
   rig.setSpan( "b", "Ethernet4", "Ethernet24", "RX" );
   EXPECT_EQ( rig.session( "b" ).held.at( 0 ).mtp, KarvelMirror::Mtp( 1 ) );
   EXPECT_EQ( rig.runtime.problems().size(), 1U );
   rig.runtime.advance( 10 );
   EXPECT_EQ( rig.runtime.problems(), Transcript() );
   EXPECT_FALSE( rig.chip().mirrorDestinations.at( 0 ).value );
}

TEST( RefusedForwarding, IsMendedWhateverTheChipHasDone ) {
   std::optional< Rig > rig;
   std::optional< ChipModel::ChipState > mended;
   EveryRefusal every;
   every.setUp = [ & ] { return &rig.emplace( network( "" ) ).gate(); };
   every.act = [ & ]( const auto& ) {
      rig->set( "PORTCHANNEL|PortChannel2", "{}" );
      rig->del( "PORTCHANNEL_MEMBER|PortChannel1|Ethernet16" );
      rig->set( "PORTCHANNEL_MEMBER|PortChannel2|Ethernet16", "{}" );
      rig->set( "VLAN|Vlan30", "{}" );
      rig->set( "VLAN_MEMBER|Vlan30|PortChannel2", "{}" );
      rig->set( "VLAN_MEMBER|Vlan30|Ethernet8", R"({ "tagging_mode": "tagged" })" );
      rig->set( "FDB|Vlan30|02:00:00:00:00:01", R"({ "port": "Ethernet8" })" );
      rig->set( "FDB|Vlan30|02:00:00:00:00:01", R"({ "port": "PortChannel2" })" );
      rig->del( "VLAN_MEMBER|Vlan30|Ethernet8" );
      rig->del( "VLAN_MEMBER|Vlan20|Ethernet8" );
      rig->del( "VLAN_MEMBER|Vlan20|Ethernet0" );
      rig->del( "VLAN|Vlan20" );
      rig->set( "PORT|Ethernet8", R"({ "admin_status": "down" })" );
      rig->runtime.advance( 10 );
      EXPECT_EQ( rig->runtime.problems(), Transcript() );
      mended = mended.value_or( rig->chip() );
      EXPECT_EQ( ChipModel::differences( *mended, rig->chip() ), Transcript() );
   };
   every.left = [] { return Transcript(); };
   EXPECT_GT( every.ofItsCalls(), 15U );
}

// --- Chips --------------------------------------------------------------------------------

class EveryChip : public ::testing::TestWithParam< std::string > {};

TEST_P( EveryChip, MirrorsAlike ) {
   Rig rig( network( span( "in", "Ethernet0", "Ethernet20", "RX" ) + "," +
                  span( "out", "Ethernet4,PortChannel1", "Ethernet24", "TX" ) + "," +
                  span( "up", "Ethernet28", "CPU", "RX" ) ),
         GetParam() );
   // flooded: Ethernet4 and one member
   EXPECT_EQ( rig.copied( "Ethernet0", frame( 1, 2 ), "Ethernet20" ), 1U );
   EXPECT_EQ( rig.copyCount( "Ethernet24" ), 2U );
   EXPECT_EQ( rig.copied( "Ethernet28", frame( 3, 2 ), "CPU" ), 1U );
   EXPECT_EQ( rig.session( "up" ).phase, SessionPhase::active );
   EXPECT_EQ( rig.entriesUsed(), 4 );
}

INSTANTIATE_TEST_SUITE_P( Profiles, EveryChip,
      ::testing::ValuesIn( chipsWhere( []( auto& chip ) { return chip.tcamHelpers; } ) ),
      []( const auto& chip ) { return testName( chip.param ); } );

TEST( ChipWithoutTcamHelpers, MirrorsNothingAndSaysSo ) {
   for ( const std::string& profile :
         chipsWhere( []( auto& chip ) { return !chip.tcamHelpers; } ) ) {
      Rig rig( network( span( "in", "Ethernet0", "Ethernet20", "RX" ) ), profile );
      EXPECT_EQ( rig.copied( "Ethernet0", frame( 1, 2 ), "Ethernet20" ), 0U );
      EXPECT_EQ( rig.session( "in" ).phase, SessionPhase::refused );
      EXPECT_NE( rig.session( "in" ).reason.find( "no TCAM helpers" ), std::string::npos );
      EXPECT_EQ( rig.entriesUsed(), 0 );
   }
}

// --- Generations --------------------------------------------------------------------------

// A chip that is programmed directly, and its like that is programmed by requests.
struct Generations {
   const char* name;
   const char* direct;
   const char* byRequest;
};

class BothGenerations
      : public ::testing::TestWithParam< std::tuple< PortScenario, Generations > > {};

TEST_P( BothGenerations, MirrorTheSame ) {
   const auto& [ scenario, chips ] = GetParam();
   const Transcript direct = play( scenario, chips.direct );
   const Transcript byRequest = play( scenario, chips.byRequest );
   EXPECT_EQ( direct, byRequest );
   EXPECT_FALSE( direct.empty() );
}

INSTANTIATE_TEST_SUITE_P( Scenarios, BothGenerations,
      ::testing::Combine( ::testing::ValuesIn( portScenarios ),
            ::testing::Values( Generations{ "portClasses", "trident3", "tomahawk3" },
                  Generations{ "portBitmaps", "trident2", "tomahawk4" } ) ),
      []( const auto& test ) {
         return std::string( std::get< 0 >( test.param ).name ) + "_" +
               std::get< 1 >( test.param ).name;
      } );

} // namespace Scenario
