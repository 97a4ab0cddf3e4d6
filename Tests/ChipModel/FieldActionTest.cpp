// What matched entries do, and range checkers.

#include "Tests/ChipModel/FieldFixture.h"

namespace ChipModel::Test {

namespace {

using FieldActionTest = FieldTest;

TEST_F( FieldActionTest, ADroppedFrameIsCopiedAsReceivedAndNotSent ) {
   const int drop = newEntry( newGroup(), FieldAction::drop );
   onPort( drop, 80 );
   installed( newEntry( newGroup(), FieldAction::mirrorIngressTo, 0, 77 ) );
   installed( newEntry( newGroup(), FieldAction::mirrorEgress, 0, 1 ) );
   const std::string all = "mi0>7 2 me1>8(2) 3 me1>8(3)";
   EXPECT_EQ( leaves( 1, web_ ), all ); // not installed
   installed( drop );
   EXPECT_EQ( leaves( 1, web_ ), "mi0>7" );
   EXPECT_EQ( sent_[ 0 ].bytes, web_ );
   EXPECT_EQ( leaves( 1, dns_ ), all );
   EXPECT_EQ( drops( 1, DropReason::filtered ), 1u );
   EXPECT_EQ( state().ports[ 2 ].counters.txFrames, 2u );
   EXPECT_EQ( view( drop ).packets, 1u );
   EXPECT_EQ( view( drop ).bytes, web_.size() );
   // What forwarding drops keeps its own reason.
   receive( 1, ethernet( ip4Type, ip4( 6, tcp( 9, 80 ) ), tag( 20 ) ) );
   EXPECT_EQ( drops( 1, DropReason::vlanUnknown ), 1u );
   EXPECT_EQ( drops( 1, DropReason::filtered ), 1u );

   ok( sdk().bcm_field_action_remove( 0, drop, FieldAction::drop ) );
   EXPECT_EQ( leaves( 1, web_ ), "mi0>7" ); // until the next install
   installed( drop );
   EXPECT_EQ( leaves( 1, web_ ), all );
}

TEST_F( FieldActionTest, AnEntryDoesAllOfItsActionsUntilTheyAreRemoved ) {
   const int entry = newEntry( newGroup(), FieldAction::mirrorIngressTo, 1 );
   ok( sdk().bcm_field_action_add( 0, entry, FieldAction::drop, 0, 0 ) );
   ok( sdk().bcm_field_action_add( 0, entry, FieldAction::cosQCpuNew, 5, 0 ) );
   installed( entry );
   EXPECT_EQ( leaves( 1, web_ ), "mi1>8" );
   EXPECT_EQ( state().cpuCopies, 1u );
   uint32_t params[ 2 ] = {};
   ok( sdk().bcm_field_action_get(
         0, entry, FieldAction::cosQCpuNew, &params[ 0 ], &params[ 1 ] ) );
   EXPECT_EQ( params[ 0 ], 5u );
   EXPECT_EQ( sdk().bcm_field_action_add( 0, entry, FieldAction::drop, 0, 0 ), exists );
   ok( sdk().bcm_field_action_remove_all( 0, entry ) );
   EXPECT_EQ( leaves( 1, web_ ), "mi1>8" );
   EXPECT_EQ(
         sdk().bcm_field_action_add( 0, entry, FieldAction::mirrorIngressTo, 4, 0 ), param );
   installed( entry );
   EXPECT_EQ( leaves( 1, web_ ), "2 3" );
   EXPECT_TRUE( view( entry ).actions.empty() );
   EXPECT_EQ( view( entry ).packets, 3u );
}

// A flooded frame is looked up once per copy where the destination counts: it is still one
// frame for the CPU, and one that is dropped.
TEST_F( FieldActionTest, AFloodedFrameGoesToTheCpuOnceAndIsDroppedAsAWhole ) {
   const int group = newGroup();
   const int toCpu = installed( newEntry( group, FieldAction::cosQCpuNew ) );
   installed( newEntry( newGroup(), FieldAction::cosQCpuNew ) );
   const int bound = newEntry( group, FieldAction::drop );
   toChipPort( bound, 50 );
   installed( bound, 1 );
   EXPECT_EQ( leaves( 1, web_ ), "2 3" );
   EXPECT_EQ( state().cpuCopies, 1u );
   EXPECT_EQ( view( toCpu ).packets, 1u );
   toChipPort( bound, 3 );
   installed( bound, 1 );
   EXPECT_EQ( leaves( 1, web_ ), "" );
   EXPECT_EQ( drops( 1, DropReason::filtered ), 1u );
   EXPECT_EQ( state().cpuCopies, 2u );
   // Forwarding's drop does not keep a frame from the CPU.
   EXPECT_EQ( leaves( 5, web_ ), "" );
   EXPECT_EQ( state().cpuCopies, 3u );
   EXPECT_EQ( view( toCpu ).packets, 3u ); // such a frame has no destination, and meets it
}

TEST_F( FieldActionTest, RangeCheckersAreFewAndStayWhileAnEntryAsksThem ) {
   Sdk& s = sdk();
   int id = 77;
   const auto create = [ & ]( FieldRange what, uint32_t min, uint32_t max ) {
      return s.bcm_field_range_create( 0, what, min, max, &id );
   };
   expectAll( param,
         { create( FieldRange::srcPort, 2, 1 ), create( FieldRange::dstPort, 0, 65536 ),
               create( FieldRange{ 3 }, 1, 2 ), create( FieldRange{ 0 }, 1, 2 ),
               s.bcm_field_range_create( 0, FieldRange::srcPort, 1, 2, nullptr ) } );
   const int entry = newEntry( newGroup(), FieldAction::mirrorIngressTo, 0 );
   std::vector< int > ranges;
   for ( uint32_t i = 0; i < 4; ++i ) { // as many as the chip has
      ranges.push_back( range( FieldRange::dstPort, i, i ) );
   }
   EXPECT_EQ( create( FieldRange::dstPort, 80, 80 ), noRoom );
   EXPECT_EQ( id, 77 );
   EXPECT_EQ( s.bcm_field_qualify_RangeCheck( 0, entry, 999 ), notFound );
   EXPECT_EQ( s.bcm_field_range_destroy( 0, 999 ), notFound );

   // Asked in what is written, in what is installed, or in either.
   const auto destroy = [ & ] { return s.bcm_field_range_destroy( 0, ranges[ 1 ] ); };
   ok( s.bcm_field_qualify_RangeCheck( 0, entry, ranges[ 1 ] ) );
   EXPECT_EQ( destroy(), busy );
   installed( entry );
   ok( s.bcm_field_qualifier_delete( 0, entry, Qualifier::rangeCheck ) );
   EXPECT_EQ( destroy(), busy );
   installed( entry );
   EXPECT_EQ( destroy(), none );
   EXPECT_EQ( destroy(), notFound );
   EXPECT_NE( range( FieldRange::dstPort, 80, 81 ), ranges[ 1 ] ); // in its place
   const int last = state().ranges.back().id;
   ok( s.bcm_field_qualify_RangeCheck( 0, entry, last ) );
   installed( entry );
   EXPECT_EQ( leaves( 1, web_ ), "mi0>7 2 3" );
   EXPECT_EQ( leaves( 1, dns_ ), "2 3" );
   EXPECT_EQ( box_.chip( 0 )->fields().rangeCheckersUsed(), 4 );
}

TEST_F( FieldActionTest, ReadBacksSayWhatWasWrittenAndNotWhichBitsItBecame ) {
   const int spare = range( FieldRange::srcPort, 1, 2 );
   const int asked = range( FieldRange::dstPort, 1000, 2000 );
   const int entry = newEntry( newGroup(), FieldAction::drop );
   ok( sdk().bcm_field_entry_name_set( 0, entry, "rule" ) );
   ok( sdk().bcm_field_action_add( 0, entry, FieldAction::cosQCpuNew, 5, 0 ) );
   ok( sdk().bcm_field_action_add( 0, entry, FieldAction::mirrorIngressTo, 3, 0 ) );
   ok( sdk().bcm_field_qualify_RangeCheck( 0, entry, asked ) );
   ok( sdk().bcm_field_qualify_IpType( 0, entry, FieldIpType::ipv4WithOpts ) );
   ok( sdk().bcm_field_qualify_IpFrag( 0, entry, FieldIpFrag::notFirst ) );
   ok( sdk().bcm_field_qualify_SrcMac(
         0, entry, address( mac( 0x1234 ) ), address( mac( 15 ) ) ) );
   ok( sdk().bcm_field_qualify_DstIp6( 0, entry,
         Plix::Ip6Addr( { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16 } ),
         Plix::Ip6Addr( { 255, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1 } ) ) );
   ok( sdk().bcm_field_range_destroy( 0, spare ) );
   std::string text;
   for ( const auto& [ place, value ] : describe( state(), ReadBackScope::programmed ) ) {
      if ( place.starts_with( "range" ) ||
            ( place.starts_with( "entry" ) && place.find( "'rule'" ) != std::string::npos ) ) {
         text += place + ": " + value + "\n";
      }
   }
   for ( const char* line : { "range checker L4DstPort 1000-2000: L4DstPort 1000-2000",
               "IpType: IPv4 with options", "IpFrag: later fragment",
               "DstIp6: 0x1020304/0xff000000,0x5060708/0x0,0x90a0b0c/0x0,0xd0e0f10/0x1",
               "SrcMac: 0x200/0x200,0x1234/0xf", "RangeCheck: L4DstPort 1000-2000",
               "actions: drop; copy to CPU queue 5; mirror ingress to destination 3" } ) {
      EXPECT_NE( text.find( std::string( line ) + "\n" ), std::string::npos ) << line << text;
   }
}

} // namespace

} // namespace ChipModel::Test
