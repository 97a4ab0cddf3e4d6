// Tunnels and limits, as a user sees them: which copies leave, how, and how many.

#include <cstdlib>
#include <optional>
#include <set>

#include "Tests/EveryRefusal.h"
#include "Tests/Scenarios/Tunnels.h"

namespace Scenario {

using Agent::SessionPhase;

namespace {

// What leaves at one time of a full bucket, and a second later.
size_t burstOf( uint64_t kbps, uint64_t copyBytes ) { return kbps * 3 / 2 * 125 / copyBytes; }
size_t steadyOf( uint64_t kbps, uint64_t copyBytes ) {
   const uint64_t left = kbps * 3 / 2 * 125 % copyBytes;
   return ( left + kbps * 125 ) / copyBytes;
}

uint16_t word( const Bytes& bytes, size_t at ) {
   return static_cast< uint16_t >( bytes.at( at ) << 8 | bytes.at( at + 1 ) );
}

} // namespace

TEST( Tunnel, CarriesTheFrameByteForByteBehindRightHeaders ) {
   TunnelRig rig( tunnel( "s", "Ethernet0", R"(, "dscp": "46", "ttl": "9", "gre_key": "7",
                                              "gre_type": "0x6558")" ) );
   const auto copies = rig.one( "Ethernet0", "Ethernet20" );
   ASSERT_EQ( copies.size(), 1U );
   const Bytes& copy = copies[ 0 ];
   ASSERT_EQ( copy.size(), frameBytes + tunnelBytes + 4 );
   EXPECT_EQ( Bytes( copy.begin() + 42, copy.end() ), frame( 1, 2 ) );
   EXPECT_EQ( Bytes( copy.begin(), copy.begin() + 6 ), ( Bytes{ 2, 0, 0, 0, 2, 1 } ) );
   EXPECT_EQ( copy[ 15 ], 46 << 2 );
   EXPECT_EQ( word( copy, 16 ), copy.size() - 14 );
   EXPECT_EQ( copy[ 22 ], 9 );
   uint32_t sum = 0;
   for ( size_t at = 14; at < 34; at += 2 ) {
      sum += word( copy, at );
   }
   EXPECT_EQ( ( sum & 0xffff ) + ( sum >> 16 ), 0xffffU );
   EXPECT_EQ( Bytes( copy.begin() + 34, copy.begin() + 42 ),
         ( Bytes{ 0x20, 0, 0x65, 0x58, 0, 0, 0, 7 } ) );
   // Identifications tell copies apart.
   EXPECT_NE( word( rig.one( "Ethernet0", "Ethernet20" ).at( 0 ), 18 ), word( copy, 18 ) );
   rig.set( "MIRROR_SESSION|s", tunnelJson( "Ethernet0", "", "2001:db8::2" ) );
   const auto six = rig.one( "Ethernet0", "Ethernet24" );
   ASSERT_EQ( six.size(), 1U );
   EXPECT_EQ( six[ 0 ].size(), frameBytes + 14 + 40 + 4 );
   EXPECT_EQ( word( six[ 0 ], 12 ), 0x86dd );
}

TEST( Limit, LetsTheBurstPassAndThenTheHighestRateThatTheTunnelIsAskedFor ) {
   TunnelRig rig( tunnel( "a", "Ethernet0", rate( 1000 ) ) + ", " +
         tunnel( "b", "Ethernet4", rate( 5000 ) ) + ", " +
         tunnel( "other", "Ethernet8", R"(, "dscp": "10")" ) );
   EXPECT_EQ( rig.egressEntries(), 1 );
   constexpr uint32_t copyBytes = frameBytes + tunnelBytes;
   rig.sendAt( "Ethernet0", secondNs, 10'000 );
   EXPECT_EQ( rig.forwarded( "Ethernet4" ), 10'000U ) << "only copies are limited";
   EXPECT_EQ( rig.copyCount( "Ethernet20" ), burstOf( 5000, copyBytes ) );
   rig.sendAt( "Ethernet4", 2 * secondNs, 10'000 );
   EXPECT_EQ( rig.copyCount( "Ethernet20" ), steadyOf( 5000, copyBytes ) );
   rig.forget();
   const Bytes tagged = frame( 1, 2, 10 );
   for ( int i = 0; i < 2000; ++i ) {
      rig.send( "Ethernet8", tagged );
   }
   EXPECT_EQ( rig.copyCount( "Ethernet20" ), 2000U ) << "another DSCP";
   // The faster one goes, and its rate with it.
   rig.del( "MIRROR_SESSION|b" );
   rig.forget();
   rig.sendAt( "Ethernet0", 100 * secondNs, 10'000 );
   EXPECT_EQ( rig.copyCount( "Ethernet20" ), burstOf( 1000, copyBytes ) );
   rig.set( "MIRROR_SESSION|a", tunnelJson( "Ethernet0" ) );
   EXPECT_EQ( rig.egressEntries(), 0 );
   EXPECT_TRUE( rig.chip().policers.empty() );
   rig.forget();
   rig.sendAt( "Ethernet0", 101 * secondNs, 10'000 );
   EXPECT_EQ( rig.copyCount( "Ethernet20" ), 10'000U );
}

TEST( Limit, OfAPortHoldsForAllThatLeavesByItAndForAllMembersOfAPortChannel ) {
   TunnelRig rig( "" );
   rig.set( "PORTCHANNEL|PortChannel2", "{}" );
   rig.set( "PORTCHANNEL_MEMBER|PortChannel2|Ethernet28", "{}" );
   rig.set( "PORTCHANNEL_MEMBER|PortChannel2|Ethernet32", "{}" );
   rig.set( "MIRROR_SESSION|s", R"({ "type": "SPAN", "src_port": "Ethernet0",
         "direction": "RX", "dst_port": "PortChannel2", "rate_kbps": "800" })" );
   EXPECT_EQ( rig.egressEntries(), 2 );
   EXPECT_EQ( rig.chip().policers.size(), 1U );
   rig.sendAt( "Ethernet0", secondNs, 5000 );
   EXPECT_EQ( rig.copyCount( "Ethernet28" ) + rig.copyCount( "Ethernet32" ),
         burstOf( 800, frameBytes ) );
}

TEST( Limit, HoldsOnAChipThatNamesEgressPortsByModule ) {
   TunnelRig rig( tunnel( "s", "Ethernet0", rate( 100 ) ), ways(), "tomahawk" );
   rig.sendAt( "Ethernet0", 1, 1000 );
   const size_t passed = rig.copies( "Ethernet20" ).size();
   EXPECT_GT( passed, 0U );
   EXPECT_LT( passed, 1000U );
}

TEST( SourceTag, IsInCopiesOfAChannelPortOnly ) {
   TunnelRig rig( tunnel( "s", "Ethernet0" ) );
   const auto plain = rig.one( "Ethernet0", "Ethernet20" );
   rig.set( "PORT|Ethernet20", R"({ "channel": "9" })" );
   const auto tagged = rig.one( "Ethernet0", "Ethernet20" );
   ASSERT_EQ( tagged.size(), 1U );
   EXPECT_EQ( Bytes( tagged[ 0 ].begin() + 12, tagged[ 0 ].begin() + 18 ),
         ( Bytes{ 0x88, 0xb6, 0, 9, 8, 0 } ) );
   EXPECT_EQ( tagged[ 0 ].size(), plain.at( 0 ).size() + 4 );
   rig.set( "PORT|Ethernet20", R"({ "channel": "10" })" );
   EXPECT_EQ( rig.one( "Ethernet0", "Ethernet20" ).at( 0 ).at( 15 ), 10 );
   rig.set( "PORT|Ethernet20", "{}" );
   EXPECT_EQ( rig.one( "Ethernet0", "Ethernet20" ).at( 0 ).size(), plain[ 0 ].size() );
}

TEST( Tunnel, FollowsLinksRoutesAndNeighbours ) {
   TunnelRig rig( tunnel( "s", "Ethernet0", rate( 5000 ) ) );
   const auto left = [ & ]( const std::string& by ) {
      return rig.one( "Ethernet0", by ).size() == 1 && rig.forwarded() >= 1;
   };
   EXPECT_TRUE( left( "Ethernet20" ) );
   rig.runtime.linkIs( "Ethernet20", false );
   EXPECT_TRUE( left( "Ethernet24" ) );
   EXPECT_EQ( rig.egressEntries(), 1 );
   EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::active );
   rig.runtime.linkIs( "Ethernet24", false );
   rig.forget();
   rig.sendAt( "Ethernet0", 1 );
   EXPECT_EQ( rig.forwarded(), rig.sent().size() );
   EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::inactive );
   EXPECT_NE( rig.session( "s" ).reason.find( "down" ), std::string::npos );
   EXPECT_EQ( rig.egressEntries(), 0 ) << "no rule while the tunnel is not active";
   rig.runtime.linkIs( "Ethernet20", true );
   EXPECT_TRUE( left( "Ethernet20" ) );
   rig.runtime.linkIs( "Ethernet24", true );
   rig.set( "STATIC_ROUTE|198.51.100.10/32", R"({ "nexthop": "192.0.2.6" })" );
   EXPECT_TRUE( left( "Ethernet24" ) ) << "a better route";
   rig.set( "NEIGH|Ethernet24|192.0.2.6", R"({ "neigh": "02:00:00:00:09:09" })" );
   EXPECT_EQ( rig.one( "Ethernet0", "Ethernet24" ).at( 0 ).at( 5 ), 9 );
   rig.del( "NEIGH|Ethernet24|192.0.2.6" );
   EXPECT_TRUE( left( "Ethernet20" ) ) << "the better route's next hop is not resolved";
   rig.set( "NEIGH|Ethernet24|192.0.2.6", R"({ "neigh": "02:00:00:00:09:09" })" );
   rig.del( "STATIC_ROUTE|198.51.100.10/32" );
   EXPECT_TRUE( left( "Ethernet24" ) ) << "an equal next hop, which copies take already";
   rig.set( "STATIC_ROUTE|198.51.100.0/24", R"({ "nexthop": "192.0.2.2" })" );
   EXPECT_TRUE( left( "Ethernet20" ) );
   rig.set( "STATIC_ROUTE|198.51.100.0/24", R"({ "nexthop": "192.0.2.6,192.0.2.2" })" );
   EXPECT_TRUE( left( "Ethernet20" ) ) << "an added next hop moves nothing";
   EXPECT_EQ( rig.runtime.linkIs( "Ethernet99", true ).has_value(), true );
}

TEST( Limit, ThatTheChipHasNoRoomForIsSaidAFewTimesAnHourAndComesWithRoom ) {
   TunnelRig rig( "" );
   ASSERT_FALSE( rig.runtime.capacity( "egress-entries", 0 ) );
   rig.set( "MIRROR_SESSION|s", tunnelJson( "Ethernet0", rate( 1000 ) ) );
   EXPECT_EQ( rig.session( "s" ).cause, Agent::SessionCause::entries );
   rig.runtime.advance( 3600 );
   const std::vector< std::string > logged = loggedIds();
   EXPECT_EQ( logged.at( 0 ), "KARVEL_MIRRORING_GRE_TCAM_RESOURCE_FULL" );
   EXPECT_LT( logged.size(), 13U ) << "each generation that is tried says it";
   EXPECT_EQ( rig.egressEntries(), 0 );
   EXPECT_TRUE( rig.chip().policers.empty() );
   EXPECT_EQ( rig.one( "Ethernet0", "Ethernet20" ).size(), 1U ) << "it mirrors all the same";
   ASSERT_FALSE( rig.runtime.capacity( "egress-entries", 4 ) );
   EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::active );
   EXPECT_EQ( rig.egressEntries(), 1 );
   EXPECT_EQ( loggedIds().size(), logged.size() );
}

TEST( Limit, BeyondTheChipsPolicersIsRefusedAndTakesNobodysAway ) {
   TunnelRig rig( tunnel( "a", "Ethernet0", rate( 1000 ) ) );
   ASSERT_FALSE( rig.runtime.capacity( "policers", 1 ) );
   rig.set( "MIRROR_SESSION|b", tunnelJson( "Ethernet4", rate( 2000 ) ) );
   EXPECT_EQ( rig.session( "b" ).reason,
         "needs a policer for 2000 kbit/s; the chip has 1, all used for the rates of a" );
   EXPECT_EQ( rig.session( "a" ).phase, SessionPhase::active );
   EXPECT_EQ( rig.chip().policers.size(), 1U );
   ASSERT_FALSE( rig.runtime.capacity( "policers", 2 ) );
   EXPECT_EQ( rig.session( "b" ).phase, SessionPhase::active );
}

TEST( SourceTag, ThatFindsNoRoomIsTriedAgainWithoutAnInterruption ) {
   TunnelRig rig( tunnel( "s", "Ethernet0" ) );
   const std::vector< int > ingress = rig.entries();
   ASSERT_FALSE( rig.runtime.capacity( "egress-entries", 0 ) );
   rig.set( "PORT|Ethernet20", R"({ "channel": "9" })" );
   EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::failed );
   EXPECT_EQ( rig.one( "Ethernet0", "Ethernet20" ).size(), 1U );
   ASSERT_FALSE( rig.runtime.capacity( "egress-entries", 1 ) );
   EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::active );
   EXPECT_EQ( rig.egressEntries(), 1 );
   EXPECT_EQ( rig.entries().front(), ingress.front() ) << "the ingress side stayed";
}

// Every call that can be refused while a limited tunnel comes, changes and goes.
TEST( RefusedEgressCalls, LeaveNothingBehind ) {
   std::optional< TunnelRig > rig;
   const auto limit = [ & ]( uint32_t kbps ) {
      rig->set( "MIRROR_SESSION|s", tunnelJson( "Ethernet0", rate( kbps ) ) );
   };
   EveryRefusal every;
   // It mirrors before anything is refused: of the ports' entries some failures are fatal.
   every.setUp = [ & ] { return &rig.emplace( tunnel( "s", "Ethernet0" ) ).gate(); };
   every.act = [ & ]( const auto& ) {
      limit( 1000 );
      limit( 2000 );
      rig->runtime.linkIs( "Ethernet20", false );
      rig->runtime.linkIs( "Ethernet20", true );
      rig->runtime.advance( 11 );
      rig->del( "MIRROR_SESSION|s" );
      rig->runtime.advance( 5 );
      EXPECT_EQ( rig->entriesUsed() + rig->egressEntries(), 0 );
      EXPECT_TRUE( rig->chip().policers.empty() );
      limit( 1000 );
      rig->runtime.advance( 11 );
      EXPECT_EQ( rig->session( "s" ).phase, SessionPhase::active );
      EXPECT_EQ( rig->egressEntries(), 1 );
   };
   every.undo = [ & ] { rig->del( "MIRROR_SESSION|s" ); };
   every.left = [ & ] { return rig->left(); };
   using enum ChipModel::SdkCall;
   every.ofTheFirst( 1,
         { bcm_policer_create, bcm_policer_destroy, bcm_field_entry_policer_attach,
               bcm_field_entry_policer_detach, bcm_field_entry_stat_set,
               bcm_field_qualify_OutPort, bcm_field_qualify_MirrorCopy, bcm_field_action_add,
               bcm_field_action_remove_all, bcm_mirror_destination_set,
               bcm_mirror_destination_destroy, bcm_field_entry_create, bcm_field_entry_install,
               bcm_field_entry_destroy, bcm_field_group_create, bcm_field_group_destroy } );
}

TEST( Tunnel, IsUnderstoodByAnIndependentReader ) {
   if ( std::system( "tshark -v > /dev/null 2>&1" ) != 0 ) {
      GTEST_SKIP() << "tshark is not installed";
   }
   const TemporaryFolder folder;
   const std::string examples = KARVEL_SOURCE_DIR "/Examples/";
   ASSERT_EQ( std::system( ( KARVEL_AGENT " run " + examples +
                    "tunnel-mirroring.json --in Ethernet4=" + examples +
                    "captures/host-b.pcap --in Ethernet0=" + examples +
                    "captures/host-a.pcap --out " + folder.path() + " > /dev/null" )
                                 .c_str() ),
         0 );
   const auto fieldsOf = [ & ]( const std::string& port, const std::string& fields ) {
      const std::string command = "tshark -o ip.check_checksum:TRUE -r " + folder.path( port ) +
            ".mirror.pcap -T fields -E occurrence=f " + fields + " 2> /dev/null | sort | uniq";
      std::string text;
      FILE* pipe = popen( command.c_str(), "r" );
      for ( int c; pipe && ( c = std::fgetc( pipe ) ) != EOF; ) {
         text += static_cast< char >( c );
      }
      EXPECT_EQ( pclose( pipe ), 0 );
      return text;
   };
   EXPECT_EQ( fieldsOf( "Ethernet8",
                    "-e eth.dst -e ip.src -e ip.dst -e ip.dsfield.dscp -e ip.ttl "
                    "-e ip.checksum.status -e gre.proto -e gre.key" ),
         "02:00:00:00:02:01\t192.0.2.1\t198.51.100.10\t46\t64\t1\t0x88be\t\n"
         "02:00:00:00:02:01\t192.0.2.1\t198.51.100.11\t0\t255\t1\t0x6558\t0x00000007\n" );
   EXPECT_EQ( fieldsOf( "Ethernet12",
                    "-e eth.dst -e ipv6.src -e ipv6.dst -e ipv6.nxt -e gre.proto" ),
         "02:00:00:00:02:02\t2001:db8:ffff::1\t2001:db8:c::10\t47\t0x88be\n" );
}

} // namespace Scenario
