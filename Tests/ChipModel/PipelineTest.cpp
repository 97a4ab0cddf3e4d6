// Mirror copies: which, how many, with which bytes, and what is counted.

#include <random>

#include "Tests/ChipModel/FieldFixture.h"

namespace ChipModel::Test {

namespace {

constexpr FieldAction asReceived = FieldAction::mirrorIngress;
constexpr FieldAction asSent = FieldAction::mirrorEgress;

class PipelineTest : public FieldTest {
 protected:
   // VLAN 10: port 1 and 2 untagged, 3 and 4 tagged. Mirror destinations 0 and 1: 7 and 8.
   PipelineTest() {
      ok( sdk().bcm_vlan_port_add( 0, 10, bitmap( { 3, 4 } ), {} ) );
      ok( sdk().bcm_port_untagged_vlan_set( 0, 3, 0 ) );
   }

   const Bytes a_ = mac( 1 );
   const Bytes b_ = mac( 2 );
};

TEST_F( PipelineTest, CopiesAreTheFrameAsReceivedAndAsSent ) {
   const int group = newGroup();
   const int other = newGroup();
   fromPort( group, 3, asReceived, 0 );
   fromPort( other, 3, asSent, 1 );
   const Bytes in = frame( broadcast, a_, tag( 10, 5 ) + tag( 99 ) );
   const Bytes popped = frame( broadcast, a_, tag( 99 ) );
   EXPECT_EQ( leaves( 3, in ), "mi0>7 1 me1>8(1) 2 me1>8(2) 4 me1>8(4)" );
   receive( 3, in, 1518 );
   EXPECT_EQ( sent_[ 0 ].bytes, in );
   EXPECT_EQ( sent_[ 0 ].wireLength, 1518u );
   EXPECT_EQ( sent_[ 2 ].bytes, popped );
   EXPECT_EQ( sent_[ 2 ].wireLength, 1514u );
   EXPECT_EQ( sent_[ 6 ].bytes, in );
   // Copies are neither forwarded frames nor received ones.
   const ChipState after = state();
   EXPECT_EQ( after.ports[ 8 ].counters.txMirrorFrames, 6u );
   EXPECT_EQ( after.ports[ 8 ].counters.txFrames, 0u );
   EXPECT_EQ( after.ports[ 7 ].counters.txMirrorBytes, in.size() + 1518 );
   EXPECT_EQ( after.ports[ 1 ].counters.txBytes, popped.size() + 1514 );
   EXPECT_EQ( after.ports[ 3 ].counters.rxBytes, in.size() + 1518 );
   EXPECT_EQ( after.mirrorDestinations[ 1 ].counters,
         ( MirrorCounters{ 6, 2 * popped.size() + in.size() + 2 * 1514 + 1518, 0, 0 } ) );
}

TEST_F( PipelineTest, OneCopyPerDestinationHoweverManyRulesNameIt ) {
   for ( int priority : { 3, 2, 1 } ) {
      fromPort( newGroup( priority ), 1, asReceived, 0 );
      toPort( newGroup( priority ), 2, asSent, 1 );
   }
   toPort( newGroup(), 2, asReceived, 0 );
   EXPECT_EQ( leaves( 1, frame( b_, a_ ) ), "mi0>7 2 me1>8(2) 3 4" );
   // Both kinds for one destination, and the copy's port may be the frame's own.
   destination( 1, 1 );
   toPort( newGroup(), 3, asSent, 0 );
   EXPECT_EQ( leaves( 1, frame( b_, a_ ) ), "mi0>7 2 me1>1(2) 3 me0>7(3) 4" );
}

TEST_F( PipelineTest, DestinationRulesSeeEveryCopyThatLeaves ) {
   trunk( 0, { 3, 4 } );
   ok( sdk().bcm_vlan_port_add( 0, 10, bitmap( { 6 } ), {} ) );
   const int group = newGroup();
   const int onTrunk = installed(
         with( newEntry( group, asSent ), &Sdk::bcm_field_qualify_DstTrunk, 0, 0xff ) );
   const int onPort = toPort( group, 2, asSent, 1 );
   int viaTrunk = receive( 1, frame( broadcast, a_ ) ).at( 2 ).port;
   const std::string port = std::to_string( viaTrunk );
   EXPECT_EQ(
         leaves( 1, frame( broadcast, a_ ) ), "2 me1>8(2) " + port + " me0>7(" + port + ") 6" );
   // Learned: the copy to port 2 alone, and nothing for a frame to port 1.
   receive( 2, frame( broadcast, b_ ) );
   EXPECT_EQ( leaves( 1, frame( b_, a_ ) ), "2 me1>8(2)" );
   EXPECT_EQ( leaves( 2, frame( a_, b_ ) ), "1" );
   EXPECT_EQ( view( onTrunk ).packets, 3u );
   EXPECT_EQ( view( onPort ).packets, 3u );
   // Another chip's port of that number is not this one.
   installed( with(
         newEntry( newGroup(), asSent ), &Sdk::bcm_field_qualify_DstPort, 1, 0xff, 2, 0xff ) );
   EXPECT_EQ( leaves( 1, frame( b_, a_ ) ), "2 me1>8(2)" );
}

TEST_F( PipelineTest, DroppedFramesAreMirroredUnlessTheirPortIsDisabled ) {
   const int group = newGroup();
   installed( with( newEntry( group, asReceived ), &Sdk::bcm_field_qualify_Drop, 1, 1 ) );
   const Bytes unknownVlan = frame( b_, a_, tag( 20 ) );
   EXPECT_EQ( leaves( 1, unknownVlan ), "mi0>7" );
   EXPECT_EQ( sent_[ 0 ].bytes, unknownVlan );
   EXPECT_EQ( leaves( 1, frame( b_, broadcast ) ), "mi0>7" );
   EXPECT_EQ( leaves( 1, Bytes( 5, 1 ) ), "mi0>7" );
   EXPECT_EQ( sent_[ 0 ].bytes, Bytes( 5, 1 ) );
   EXPECT_EQ( leaves( 1, frame( b_, a_ ) ), "2 3 4" );
   ok( sdk().bcm_port_enable_set( 0, 1, false ) );
   EXPECT_EQ( leaves( 1, unknownVlan ), "" );
   // The VLAN of a frame is the one it is classified in: by its tag, or by its port.
   installed( with( newEntry( newGroup(), asReceived, 0, 1 ),
         &Sdk::bcm_field_qualify_OuterVlanId, 10, 0xfff ) );
   EXPECT_EQ( leaves( 2, frame( b_, a_ ) ), "mi1>8 3 4" );
   EXPECT_EQ( leaves( 5, frame( b_, a_, tag( 10 ) ) ), "mi0>7 mi1>8" );
   EXPECT_EQ( leaves( 5, frame( b_, a_ ) ), "mi0>7" );
}

TEST_F( PipelineTest, CopiesThatCannotLeaveAreCounted ) {
   fromPort( newGroup(), 1, asReceived, 0 );
   fromPort( newGroup(), 1, asReceived, 2 );
   EXPECT_EQ( leaves( 1, frame( b_, a_ ) ), "mi0>7 2 3 4" );
   EXPECT_EQ( mirrored( 2 ).lost, 1u );
   ok( sdk().bcm_port_enable_set( 0, 7, false ) );
   EXPECT_EQ( leaves( 1, frame( b_, a_ ) ), "2 3 4" );
   EXPECT_EQ( mirrored( 0 ), ( MirrorCounters{ 1, frame( b_, a_ ).size(), 1, 0 } ) );
   EXPECT_EQ( sdk().bcm_mirror_destination_destroy( 0, 0 ), Shim::Sdk::QX_BCM_E_BUSY() )
         << "an entry names it";
   // To another unit there is no way.
   const int stray = newEntry( newGroup(), asReceived, 3, 1 );
   installed( stray );
   EXPECT_EQ( leaves( 1, frame( b_, a_ ) ), "2 3 4" );
   EXPECT_EQ( state().strayCopies, 1u );
}

TEST_F( PipelineTest, ATrunkAsDestinationKeepsFlowsTogetherAndIgnoresVlans ) {
   trunk( 6, { 5, 6 } ); // in no VLAN
   ok( sdk().bcm_mirror_destination_set( 0, 0, { MirrorDestination::Kind::trunk, 6 } ) );
   fromPort( newGroup(), 1, asReceived, 0 );
   int viaFive = 0;
   for ( uint32_t n = 0; n < 64; ++n ) {
      const Bytes flow = ipv4Udp( b_, a_, 1, n );
      const int port = receive( 1, flow ).at( 0 ).port;
      ASSERT_TRUE( port == 5 || port == 6 );
      EXPECT_EQ( receive( 1, flow ).at( 0 ).port, port );
      viaFive += port == 5 ? 1 : 0;
   }
   EXPECT_TRUE( viaFive > 8 && viaFive < 56 ) << viaFive;
   ok( sdk().bcm_port_enable_set( 0, 5, false ) );
   EXPECT_EQ( leaves( 1, frame( b_, a_ ) ), "mi0>6 2 3 4" );
   ok( sdk().bcm_trunk_destroy( 0, 6 ) );
   EXPECT_EQ( leaves( 1, frame( b_, a_ ) ), "2 3 4" );
   EXPECT_EQ( mirrored( 0 ).dropped, 1u );
}

// Whatever arrives is sent or counted as dropped, and copied exactly. Every length up to 64
// is tried with every header that could make somebody read on.
TEST_F( PipelineTest, FramesOfAnyLengthAndContentPassWithoutHarm ) {
   trunk( 5, { 3, 4 } ); // so that headers are hashed
   fromPort( newGroup(), 1, asReceived, 0 );
   toPort( newGroup(), 2, asSent, 1 );
   std::mt19937 random( 7 );
   Bytes noise( 64 );
   std::vector< Bytes > whole;
   const Bytes outer = tag( 10 );
   const Bytes ipv6 = be16( 0x86dd ) + Bytes{ 0x60, 0, 0, 0, 0, 8, 6, 64 } + Bytes( 60, 6 );
   const Bytes ipv4 = be16( 0x0800 ) + Bytes{ 0x4f, 0, 0, 60, 0, 0, 0, 0, 9, 6 };
   for ( const Bytes& tags : { Bytes{}, outer, tag( 0 ), outer + outer + outer + outer } ) {
      whole.push_back( frame( broadcast, a_, tags ) );
      whole.push_back( b_ + a_ + tags + ipv6 );
      whole.push_back( b_ + a_ + tags + ipv4 + Bytes( 60, 1 ) );
   }
   whole.push_back( ipv4Udp( b_, a_, 1, 2 ) );
   whole.push_back( Bytes( 64, 0xff ) );
   for ( int i = 0; i < 200; ++i ) {
      std::ranges::generate( noise, [ & ] { return static_cast< uint8_t >( random() ); } );
      whole.push_back( noise );
   }
   uint64_t frames = 0;
   uint64_t accounted = 0;
   for ( Bytes& each : whole ) {
      each.resize( 64 );
      for ( size_t length = 0; length <= 64; ++length ) {
         const Bytes cut( each.begin(), each.begin() + static_cast< ptrdiff_t >( length ) );
         receive( 1, cut );
         ASSERT_GE( sent_.size(), 1u );
         ASSERT_EQ( sent_[ 0 ].bytes, cut );
         ++frames;
         accounted += sent_.size() > 1 ? 1 : 0;
      }
   }
   const PortCounters counters = state().ports[ 1 ].counters;
   for ( uint64_t drops : counters.drops ) {
      accounted += drops;
   }
   EXPECT_EQ( accounted, frames );
   // The longest frame, growing by a tag on its way.
   Bytes longest = frame( broadcast, a_ );
   longest.resize( maxFrameBytes, 3 );
   const std::vector< Sent > out = receive( 1, longest );
   ASSERT_EQ( out.size(), 4u );
   EXPECT_EQ( out[ 3 ].bytes.size(), maxFrameBytes + 4 );
}

} // namespace

} // namespace ChipModel::Test
