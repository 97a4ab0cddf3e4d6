// The bytes of copies in tunnels and of source tags, written out by hand.

#include "ChipModel/Egress/Encapsulator.h"

#include "Tests/ChipModel/FieldFixture.h"

namespace ChipModel::Test {

namespace {

class EncapsulatorTest : public CopyTest {
 protected:
   // An egress entry that tags every copy.
   int tags( uint32_t offset ) {
      int id = newEntry( newGroup( 0, FieldStage::egress ), FieldAction::svtagEnable, 1 );
      for ( auto [ action, value ] : { std::pair( FieldAction::svtagSignature, 0x88e7U ),
                  std::pair( FieldAction::svtagPrio, 5U ),
                  std::pair( FieldAction::svtagDeviceId, 19U ),
                  std::pair( FieldAction::svtagOffset, offset ),
                  std::pair( FieldAction::svtagSubportNum, 0xc3U ) } ) {
         ok( sdk().bcm_field_action_add( 0, id, action, value, 0 ) );
      }
      ok( sdk().bcm_field_qualify_MirrorCopy( 0, id, 1, 1 ) );
      return installed( id );
   }
   const Bytes tag_{ 0x88, 0xe7, 0xb3, 0xc3 }; // 5 << 5 | 19, and the subport
};

TEST_F( EncapsulatorTest, AnIp4TunnelToTheByte ) {
   MirrorTunnel to = tunnel( "10.1.2.3", "192.0.2.9" );
   to.trafficClass = 0xb8;
   to.ttl = 17;
   ok( tunnelIs( to ) );
   const Bytes in = frame( broadcast, mac( 1 ), tag( 10 ) );
   ASSERT_EQ( in.size(), 66u );
   // 90 bytes in all: 0x5a. The checksums are from another program.
   const auto outer = []( uint32_t id, uint32_t checksum ) {
      return mac( 0x22 ) + mac( 0x11 ) + be16( 0x0800 ) + Bytes{ 0x45, 0xb8, 0, 0x5a } +
            be16( id ) + Bytes{ 0, 0, 17, 47 } + be16( checksum ) + Bytes{ 10, 1, 2, 3 } +
            Bytes{ 192, 0, 2, 9 } + be16( 0 ) + be16( 0x88be );
   };
   EXPECT_EQ( copyOf( in ), outer( 0, 0xdab0 ) + in );
   EXPECT_EQ( copyOf( in ), outer( 1, 0xdaaf ) + in );
   EXPECT_EQ( mirrored().bytes, 2 * ( 38 + in.size() ) );
   EXPECT_EQ( state().ports[ 7 ].counters.txMirrorBytes, 2 * ( 38 + in.size() ) );
   // The identification is the chip's and wraps around; the checksum holds for every one.
   for ( int i = 2; i < 0x10000; ++i ) {
      const Bytes copy = copyOf( in );
      uint32_t sum = 0;
      for ( size_t at = 14; at < 34; at += 2 ) {
         sum += load16( &copy[ at ] );
      }
      ASSERT_EQ( sum % 0xffff, 0u ) << i;
   }
   EXPECT_EQ( copyOf( in ), outer( 0, 0xdab0 ) + in );
}

TEST_F( EncapsulatorTest, AnIp6TunnelWithTagAndKeyToTheByte ) {
   MirrorTunnel to = tunnel( "2001:db8::1", "2001:db8::2" );
   to.vid = 0x123;
   to.trafficClass = 0x2e;
   to.greProtocol = 0x6558;
   to.greKey = 0x89abcdef;
   ok( tunnelIs( to ) );
   const Bytes in = ethernet( arpType, Bytes( 28, 9 ) );
   const Bytes outer = mac( 0x22 ) + mac( 0x11 ) + tag( 0x123 ) + be16( 0x86dd ) +
         be32( 0x62e00000 ) + be16( 8 + 42 ) + Bytes{ 47, 255 } + address6( 1 ) +
         address6( 2 ) + be16( 0x2000 ) + be16( 0x6558 ) + be32( 0x89abcdef );
   EXPECT_EQ( copyOf( in ), outer + in );
   // Lengths follow the frame on the wire, not what a capture has of it.
   Bytes longer = outer;
   longer[ 22 ] = 1500 >> 8;
   longer[ 23 ] = 1500 & 0xff;
   EXPECT_EQ( copyOf( in, 1492 ), longer + in );
   EXPECT_EQ( sent_[ 0 ].wireLength, outer.size() + 1492 );
}

TEST_F( EncapsulatorTest, WhatDoesNotFitIsCountedAndNotSent ) {
   ok( tunnelIs( tunnel( "10.1.2.3", "192.0.2.9" ) ) );
   const Bytes in = ethernet( arpType, Bytes( 28, 9 ) );
   EXPECT_NE( copyOf( in, 65535 - 24 ), Bytes() ); // IP and GRE headers
   EXPECT_EQ( cut( sent_[ 0 ].bytes, 16, 18 ), be16( 65535 ) );
   EXPECT_EQ( copyOf( in, 65535 - 23 ), Bytes() );
   EXPECT_EQ(
         mirrored(), ( MirrorCounters{ .frames = 1, .bytes = 65535 + 14, .tooLong = 1 } ) );
   EXPECT_EQ( sent_.size(), 2u ); // it is forwarded all the same
   ok( tunnelIs( tunnel( "2001:db8::1", "2001:db8::2" ) ) );
   EXPECT_NE( copyOf( in, 65535 - 44 ), Bytes() );
   EXPECT_EQ( copyOf( in, 65535 - 43 ), Bytes() );
   EXPECT_EQ( copyOf( in, 0xffffffff ), Bytes() );
   EXPECT_EQ( mirrored().tooLong, 3u );
}

TEST_F( EncapsulatorTest, ATunnelThatIsNoneIsRefusedAndAnotherReplacesIt ) {
   MirrorTunnel to = tunnel( "10.1.2.3", "192.0.2.9" );
   to.vid = 4095;
   for ( const MirrorTunnel& bad : { to, tunnel( "10.1.2.3", "2001:db8::2" ),
               tunnel( "10.1.2.3", "" ), tunnel( "", "" ) } ) {
      EXPECT_EQ( tunnelIs( bad ), param );
   }
   const Bytes in = ethernet( arpType, Bytes( 28, 9 ) );
   EXPECT_EQ( copyOf( in ), in ); // nothing has changed
   to.vid = 4094;
   ok( tunnelIs( to ) );
   EXPECT_EQ( cut( copyOf( in ), 12, 16 ), tag( 4094 ) );
   const ChipState before = state();
   to.greKey = 7;
   ok( tunnelIs( to ) );
   const std::string text =
         "MAC 02:00:00:00:00:11 to 02:00:00:00:00:22 VLAN 4094 IP 10.1.2.3 to 192.0.2.9 "
         "traffic class 0x0 TTL 255 GRE 0x88be";
   EXPECT_EQ( differences( before, state(), ReadBackScope::programmed ),
         std::vector{ "mirror destination 0 tunnel: " + text + " before, " + text +
               " key 0x7 after" } );
   destination( 0, 7 );
   EXPECT_EQ( copyOf( in ), in );
}

TEST_F( EncapsulatorTest, ASourceTagStandsAtItsOffsetInWhatLeaves ) {
   const Bytes in = ethernet( ip4Type, ip4( 6, tcp( 9, 80 ) + Bytes( 6, 3 ) ) );
   ASSERT_EQ( in.size(), 60u );
   const auto tagged = [ & ]( const Bytes& bytes, size_t at ) {
      return cut( bytes, 0, at ) + tag_ + cut( bytes, at );
   };
   // In the tunnel's headers, which are 58 bytes, behind them, in the frame, and at its end.
   for ( uint32_t offset : { 12U, 56U, 58U, 60U, 64U } ) {
      ok( tunnelIs( tunnel( "2001:db8::1", "2001:db8::2" ) ) );
      const Bytes inTunnel = copyOf( in );
      ASSERT_EQ( inTunnel.size(), 58 + in.size() );
      const int entry = tags( offset );
      EXPECT_EQ( copyOf( in ), tagged( inTunnel, offset ) ) << offset;
      destination( 0, 7 );
      EXPECT_EQ( copyOf( in ), offset <= 60 ? tagged( in, offset ) : Bytes() ) << offset;
      const int group = view( entry ).group;
      ok( sdk().bcm_field_entry_destroy( 0, entry ) );
      ok( sdk().bcm_field_group_destroy( 0, group ) );
   }
   EXPECT_EQ( mirrored().tooLong, 1u );
   EXPECT_EQ( sent_.size(), 2u );
   EXPECT_EQ( sent_[ 0 ].bytes, in ); // forwarded frames have no tag
}

TEST_F( EncapsulatorTest, TagsOfCutAndOfTheLongestFrames ) {
   const int entry = tags( 40 );
   const Bytes in = ethernet( arpType, Bytes( 28, 9 ) ); // 42 bytes
   // What the capture has before the tag, then the tag if it is known where it begins.
   EXPECT_EQ( copyOf( cut( in, 0, 39 ), 1500 ), cut( in, 0, 39 ) );
   EXPECT_EQ( sent_[ 0 ].wireLength, 1504u );
   EXPECT_EQ( copyOf( cut( in, 0, 40 ), 1500 ), cut( in, 0, 40 ) + tag_ );
   EXPECT_EQ( copyOf( cut( in, 0, 41 ), 1500 ), cut( in, 0, 40 ) + tag_ + cut( in, 40, 41 ) );
   EXPECT_EQ( copyOf( cut( in, 0, 39 ) ), Bytes() ); // it ends there
   Bytes longest = in;
   longest.resize( maxFrameBytes - 4, 7 );
   EXPECT_EQ( copyOf( longest ).size(), maxFrameBytes );
   longest.push_back( 1 );
   EXPECT_EQ( copyOf( longest ), Bytes() );
   EXPECT_EQ( mirrored().tooLong, 2u );
   EXPECT_EQ( mirrored().bytes, 3u * 1504 + maxFrameBytes );
   EXPECT_EQ( view( entry ).bytes, 3u * 1500 + 39 + 2 * maxFrameBytes - 7 ); // without tags
}

} // namespace

} // namespace ChipModel::Test
