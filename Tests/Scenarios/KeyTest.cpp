// GRE keys, inserted headers and the other chip-wide settings, from configuration to copies, on
// every kind of chip.

#include <algorithm>

#include "ChipModel/Tables/GreFormats.h"
#include "Platform/KarvelLib/Toggles.h"
#include "Tests/Scenarios/Tunnels.h"

namespace Scenario {

namespace {

using ChipModel::GreKeys;

class EveryChipWithKeys : public ::testing::TestWithParam< std::string > {};

const std::string key7 = R"(, "gre_key": "7")";
const Bytes plainGre{ 0, 0, 0x88, 0xbe };
const Bytes keyedGre{ 0x20, 0, 0x88, 0xbe, 0, 0, 0, 7 };

// The GRE header, which stands between the IP header and the frame, of the one copy of a frame that
// comes in at a port. The IP header says how long the copy is.
Bytes gre( TunnelRig& rig, const std::string& from, const std::string& to = "Ethernet20" ) {
   const auto copies = rig.one( from, to );
   EXPECT_EQ( copies.size(), 1U );
   if ( copies.size() != 1 || copies[ 0 ].size() < tunnelBytes + frameBytes ) {
      return {};
   }
   const Bytes& copy = copies[ 0 ];
   const bool isIp4 = copy[ 14 ] >> 4 == 4;
   const size_t lengthAt = isIp4 ? 16 : 18;
   const size_t greAt = isIp4 ? 34 : 54;
   EXPECT_EQ( size_t{ copy[ lengthAt ] } << 8 | copy[ lengthAt + 1 ],
         copy.size() - ( isIp4 ? 14 : greAt ) );
   const auto inner = copy.end() - frameBytes;
   EXPECT_EQ( Bytes( inner, copy.end() ), frame( 1, 2 ) );
   return Bytes( copy.begin() + static_cast< ptrdiff_t >( greAt ), inner );
}

// What differs from the chip at the start, but for forwarding.
size_t settingsChanged(
      const ChipModel::ChipState& before, const ChipModel::ChipState& after ) {
   const auto lines =
         ChipModel::differences( before, after, ChipModel::ReadBackScope::programmed, 1000 );
   return static_cast< size_t >(
         std::count_if( lines.begin(), lines.end(), []( const std::string& line ) {
            return line.starts_with( "EGR_MIRROR_P" ) ||
                  line.starts_with( "EGR_MIRROR_ENCAP_C" ) || line.starts_with( "EGR_GRE" ) ||
                  line.starts_with( "EGR_TUNNEL" );
         } ) );
}

} // namespace

TEST_P( EveryChipWithKeys, SendsTheKeyWithItsSessionAndNoOther ) {
   TunnelRig rig( tunnel( "plain", "Ethernet0" ), ways(), GetParam() );
   const ChipModel::ChipState before = rig.chip();
   EXPECT_EQ( gre( rig, "Ethernet0" ), plainGre );
   rig.set( "MIRROR_SESSION|keyed", tunnelJson( "Ethernet4", key7 ) );
   EXPECT_EQ( gre( rig, "Ethernet4" ), keyedGre );
   EXPECT_EQ( gre( rig, "Ethernet0" ), plainGre );
   rig.set( "MIRROR_SESSION|six", tunnelJson( "Ethernet8", key7, "2001:db8::2" ) );
   EXPECT_EQ( gre( rig, "Ethernet8", "Ethernet24" ), keyedGre );
   rig.set( "MIRROR_SESSION|six", tunnelJson( "Ethernet8", "", "2001:db8::2" ) );
   EXPECT_EQ( gre( rig, "Ethernet8", "Ethernet24" ), plainGre );
   rig.set( "MIRROR_SESSION|plain", tunnelJson( "Ethernet0", key7 ) );
   EXPECT_EQ( gre( rig, "Ethernet0" ), keyedGre ) << "a session may change its mind";
   rig.set( "MIRROR_SESSION|keyed", tunnelJson( "Ethernet4" ) );
   EXPECT_EQ( gre( rig, "Ethernet4" ), plainGre );
   EXPECT_EQ( gre( rig, "Ethernet0" ), keyedGre );
   rig.set( "MIRROR_SESSION|plain", tunnelJson( "Ethernet0" ) );
   EXPECT_EQ( gre( rig, "Ethernet0" ), plainGre );
   EXPECT_EQ( settingsChanged( before, rig.chip() ), 0U );
}
INSTANTIATE_TEST_SUITE_P( Profiles, EveryChipWithKeys,
      ::testing::ValuesIn( chipsWhere( []( auto& profile ) {
         return profile.tcamHelpers && profile.greKeys != GreKeys::none;
      } ) ),
      []( const auto& chip ) { return testName( chip.param ); } );

TEST_P( EveryChipWithKeys, SendsWholeCopiesWhateverIsRefused ) {
   using ChipModel::SdkCall;
   TunnelRig rig( tunnel( "s", "Ethernet0" ), ways(), GetParam() );
   if ( ChipModel::greEditor( rig.runtime.profile( 0 ).greKeys ) ) {
      EXPECT_FALSE( rig.runtime.fail( "soc_mem_write", 1, 100 ) );
      rig.set( "MIRROR_SESSION|s", tunnelJson( "Ethernet0", key7 ) );
      EXPECT_EQ( rig.session( "s" ).cause,
            rig.runtime.profile( 0 ).logicalTables ? Agent::SessionCause::headers
                                                   : Agent::SessionCause::unkeyed );
      rig.gate().faultsDelAll();
      rig.runtime.advance( 10 );
   } else {
      rig.set( "MIRROR_SESSION|s", tunnelJson( "Ethernet0", key7 ) );
   }
   EXPECT_EQ( gre( rig, "Ethernet0" ), keyedGre );
   EXPECT_EQ( rig.session( "s" ).reason, "" );
   EXPECT_FALSE( rig.runtime.fail( "bcm_mirror_destination_set", 1, 1 ) );
   rig.set( "MIRROR_SESSION|s", tunnelJson( "Ethernet0" ) );
   EXPECT_EQ( rig.session( "s" ).phase, Agent::SessionPhase::failed );
   EXPECT_EQ( gre( rig, "Ethernet0" ), keyedGre ) << "the chip has the tunnel as it was";
   rig.runtime.advance( 10 );
   EXPECT_EQ( gre( rig, "Ethernet0" ), plainGre );
}

TEST( ChipWithoutKeys, RefusesTheSessionAndSaysWhy ) {
   TunnelRig rig( tunnel( "keyed", "Ethernet0", key7 ), ways(), "trident2" );
   EXPECT_EQ( rig.session( "keyed" ).phase, Agent::SessionPhase::refused );
   EXPECT_EQ( rig.session( "keyed" ).reason, "chip profile trident2 sends no GRE keys" );
}

// Ethernet with a tag, IPv6, GRE with a key: 66 bytes, two insertions.
TEST( ChipThatInsertsHeaders, SendsAHeaderWholeThatIsLongerThanOneInsertion ) {
   TunnelRig rig( tunnel( "s", "Ethernet0", key7, "2001:db8::2" ),
         R"("VLAN_INTERFACE": { "Vlan20|2001:db8::1/64": {} },
            "NEIGH": { "Vlan20|2001:db8::2": { "neigh": "02:00:00:00:02:02" } },
            "FDB": { "Vlan20|02:00:00:00:02:02": { "port": "Ethernet8", "type": "static" } })",
         "trident4" );
   EXPECT_EQ( rig.session( "s" ).phase, Agent::SessionPhase::active )
         << rig.session( "s" ).reason;
   const auto copies = rig.one( "Ethernet0", "Ethernet8" );
   ASSERT_EQ( copies.size(), 1U );
   ASSERT_EQ( copies[ 0 ].size(), 66 + frameBytes );
   EXPECT_EQ( Bytes( copies[ 0 ].begin() + 58, copies[ 0 ].begin() + 66 ), keyedGre );
   EXPECT_EQ( Bytes( copies[ 0 ].begin() + 66, copies[ 0 ].end() ), frame( 1, 2 ) );
   const uint64_t commits = rig.calls( ChipModel::SdkCall::bcmlt_pt_entry_commit );
   rig.del( "MIRROR_SESSION|s" );
   EXPECT_EQ( rig.calls( ChipModel::SdkCall::bcmlt_pt_entry_commit ), commits + 16 );
   for ( const auto& entry : rig.chip().insertProfiles ) {
      for ( const auto& [ field, value ] : entry.fields ) {
         EXPECT_EQ( value, 0U ) << entry.index << " " << field;
      }
   }
}

TEST( Toggles, DecideWhoSetsTheChipUpAndWhetherKeysAreSent ) {
   GTEST_FLAG_SET( death_test_style, "threadsafe" ); // toggles are read once per process
   auto with = [ & ]( const std::string& toggle, const std::function< void() >& check ) {
      const auto play = [ & ] {
         { // exit() would leave the folder behind
            const TemporaryFolder folder;
            folder.write( "KarvelLib.json", "{ \"" + toggle + "\": false }" );
            KarvelLib::toggleDirectoryIs( folder.path() );
            check();
         }
         exit( ::testing::Test::HasFailure() ? 1 : 0 );
      };
      EXPECT_EXIT( play(), ::testing::ExitedWithCode( 0 ), "" );
   };
   const std::string keyed = tunnel( "s", "Ethernet0", key7 );
   with( "KarvelMirrorT4Gre", [ & ] {
      TunnelRig rig( keyed, ways(), "trident3" );
      EXPECT_EQ( gre( rig, "Ethernet0" ), keyedGre );
   } );
   with( "KarvelMirrorT4Gre", [ & ] {
      TunnelRig rig( keyed, ways(), "trident4" );
      EXPECT_EQ( rig.session( "s" ).phase, Agent::SessionPhase::refused );
      EXPECT_NE( rig.session( "s" ).reason.find( "KarvelMirrorT4Gre" ), std::string::npos );
   } );
   with( "KarvelMirrorGreKey", [ & ] {
      for ( const std::string& chip : chipsWhere( []( auto& profile ) {
               return profile.tcamHelpers && profile.greKeys != GreKeys::none;
            } ) ) {
         SCOPED_TRACE( chip );
         TunnelRig rig( keyed, ways(), chip );
         const ChipModel::ChipState before = rig.chip();
         EXPECT_EQ( gre( rig, "Ethernet0" ), plainGre );
         EXPECT_NE( rig.session( "s" ).reason.find( "KarvelMirrorGreKey" ), std::string::npos );
         rig.set( "MIRROR_SESSION|t", tunnelJson( "Ethernet4", R"(, "gre_key": "8")" ) );
         EXPECT_EQ( settingsChanged( before, rig.chip() ), 0U );
      }
   } );
}

TEST( Queue, OfASessionIsWhereItsCopiesLeave ) {
   Rig rig( network( R"("a": { "type": "SPAN", "src_port": "Ethernet0", "direction": "RX",
                               "dst_port": "Ethernet20", "queue": "5" },)" +
                  span( "b", "Ethernet4", "Ethernet24", "RX" ) ),
         "tomahawk" );
   Bytes tagged = frame( 1, 2, 10 );
   tagged[ 14 ] = 0x60; // priority 3
   rig.send( "Ethernet0", tagged );
   rig.send( "Ethernet4", tagged );
   const auto queues = [ & ]( const std::string& port ) {
      return rig.runtime.chips()
            .chip( 0 )
            ->pipeline()
            .counters( rig.runtime.configuration().ports.at( port ).chipPort )
            .queues;
   };
   EXPECT_EQ( queues( "Ethernet20" )[ 5 ].packets, 1U );
   EXPECT_EQ( queues( "Ethernet24" )[ 0 ].packets, 1U ) << "as the switch controls say";
   EXPECT_EQ( queues( "Ethernet8" )[ 3 ].packets, 2U ) << "the frames themselves";
}

TEST( LoopbackPort, IsInTheSourceTrunkMapOfItsChip ) {
   Rig rig( network( span( "s", "Ethernet0", "Ethernet20", "RX" ) ), "trident4" );
   const auto value = [ & ]( Shim::Memory memory, int index, Shim::MemField field ) {
      return rig.runtime.chips().chip( 0 )->tables().memories.value( { memory, index, field } );
   };
   EXPECT_EQ( value( Shim::SOURCE_TRUNK_MAP_MODBASEm, 0, Shim::BASEf ), 161U );
   EXPECT_EQ( value( Shim::SOURCE_TRUNK_MAP_TABLEm, 161, Shim::MODULE_IDf ), 0U );
}

// Sessions are the switch's, so every chip is set for keys, each by its own family's table; a chip
// without a session with a key sends the same copies as before.
TEST( TwoChips, AreSetForKeysEachInItsWayAndSendWhatTheirSessionsSay ) {
   TunnelRig rig( R"({
     "CHIP": { "0": { "ports": "Ethernet0,Ethernet20", "profile": "trident3" },
               "1": { "ports": "Ethernet100,Ethernet104", "profile": "tomahawk" } },
     "PORT": { "Ethernet0": {}, "Ethernet20": {}, "Ethernet100": {}, "Ethernet104": {} },
     "INTERFACE": { "Ethernet20|192.0.2.1/30": {}, "Ethernet104|192.0.2.5/30": {} },
     "NEIGH": { "Ethernet20|192.0.2.2": { "neigh": "02:00:00:00:02:01" },
                "Ethernet104|192.0.2.6": { "neigh": "02:00:00:00:02:02" } },
     "MIRROR_SESSION": { "plain": { "type": "ERSPAN", "direction": "RX", "src_ip": "192.0.2.1",
                                    "dst_ip": "192.0.2.2", "src_port": "Ethernet0" } } })" );
   const ChipModel::ChipState chips[] = { rig.chip(), rig.chip( 1 ) };
   EXPECT_EQ( rig.entriesUsed( 1 ), 0 );
   EXPECT_FALSE( chips[ 1 ].mirrorDestinations.at( 0 ).value ) << "it has no session yet";
   rig.set( "MIRROR_SESSION|keyed", R"({ "type": "ERSPAN", "direction": "RX",
      "src_ip": "192.0.2.1", "dst_ip": "192.0.2.6", "src_port": "Ethernet100",
      "gre_key": "7" })" );
   EXPECT_EQ( gre( rig, "Ethernet0" ), plainGre );
   for ( const auto& before : chips ) {
      EXPECT_NE( settingsChanged( before, rig.chip( before.unit ) ), 0U );
   }
   rig.forget();
   rig.send( "Ethernet100", frame( 1, 2 ) );
   const auto copies = rig.copies( "Ethernet104" );
   ASSERT_EQ( copies.size(), 1U );
   EXPECT_EQ( rig.sent().size(), rig.forwarded() ) << "the only copy";
   EXPECT_EQ( rig.entriesUsed( 0 ) + rig.entriesUsed( 1 ), 2 );
   EXPECT_EQ( Bytes( copies[ 0 ].begin() + 34, copies[ 0 ].end() - frameBytes ), keyedGre );
   rig.del( "MIRROR_SESSION|keyed" );
   EXPECT_EQ( rig.entriesUsed( 0 ), 1 );
   EXPECT_EQ( rig.entriesUsed( 1 ), 0 );
   for ( const auto& before : chips ) {
      EXPECT_EQ( settingsChanged( before, rig.chip( before.unit ) ), 0U );
   }
}

} // namespace Scenario
