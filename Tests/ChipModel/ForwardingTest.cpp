// Where frames go, with which tags, and why they go nowhere.

#include <map>
#include <random>
#include <set>

#include "ChipModel/Packets/FlowHash.h"
#include "Tests/ChipModel/SwitchFixture.h"

namespace ChipModel::Test {

namespace {

class ForwardingTest : public ChipTest {};

TEST_F( ForwardingTest, StationsAreLearnedPerVlanAndMove ) {
   vlan( 10, { 1, 2, 3, 4 } );
   vlan( 20, { 1, 2, 3, 4 } );
   const Bytes a = mac( 1 );
   const Bytes b = mac( 2 );
   receive( 2, frame( broadcast, b, tag( 10 ) ) );
   EXPECT_EQ( leaves( 1, frame( b, a, tag( 10 ) ) ), "2" );
   EXPECT_EQ( leaves( 1, frame( b, a, tag( 20 ) ) ), "2 3 4" );
   receive( 3, frame( broadcast, b, tag( 10 ) ) );
   EXPECT_EQ( leaves( 1, frame( b, a, tag( 10 ) ) ), "3" );
   receive( 3, frame( broadcast, b, tag( 20 ) ) );
   ok( sdk().bcm_l2_addr_delete_by_vlan_port( 0, 20, 3 ) );
   EXPECT_EQ( leaves( 1, frame( b, a, tag( 20 ) ) ), "2 3 4" );
   EXPECT_EQ( leaves( 1, frame( b, a, tag( 10 ) ) ), "3" );
   // What is learned on a port goes when it is disabled.
   ok( sdk().bcm_port_enable_set( 0, 3, false ) );
   EXPECT_EQ( leaves( 1, frame( b, a, tag( 10 ) ) ), "2 4" );
   EXPECT_EQ( leaves( 1, frame( group, a, tag( 10 ) ) ), "2 4" );
   // Nothing is learned from a frame that was not let in.
   receive( 4, frame( broadcast, b, tag( 30 ) ) );
   receive( 4, frame( mac( 9 ), group, tag( 10 ) ) );
   EXPECT_EQ( leaves( 1, frame( b, a, tag( 10 ) ) ), "2 4" );
}

TEST_F( ForwardingTest, StaticAddressesStayAndAFullTableLearnsNoMore ) {
   vlan( 10, {}, { 1, 2, 3 } );
   const Bytes fixed = mac( 1000 );
   station( fixed, 10, 3 );
   receive( 2, frame( broadcast, fixed ) );
   EXPECT_EQ( leaves( 1, frame( fixed, mac( 1 ) ) ), "3" );
   for ( uint32_t n = 2; n <= 70; ++n ) {
      receive( 2, frame( broadcast, mac( n ) ) );
   }
   EXPECT_EQ( state().l2Addresses.size(), 64u );
   EXPECT_EQ( leaves( 1, frame( mac( 50 ), mac( 1 ) ) ), "2" );
   EXPECT_EQ( leaves( 1, frame( mac( 70 ), mac( 1 ) ) ), "2 3" );
   const L2Addr another{ address( mac( 70 ) ), 10, false, 2, true };
   EXPECT_EQ( sdk().bcm_l2_addr_add( 0, another ), Sdk::QX_BCM_E_FULL() );
   ok( sdk().bcm_vlan_destroy( 0, 10 ) );
   EXPECT_EQ( state().l2Addresses.size(), 1u );
}

// The table against a plain map, with so few addresses and slots that runs form and wrap.
TEST( L2TableTest, AgreesWithAMapUnderRandomChange ) {
   L2Table table( 24 );
   std::map< std::pair< uint16_t, Plix::EthAddr >, std::pair< int, bool > > expected;
   std::mt19937 random( 1 );
   for ( int step = 0; step < 20000; ++step ) {
      const Bytes bytes = mac( static_cast< uint32_t >( random() % 40 ) );
      const auto vid = static_cast< uint16_t >( 1 + random() % 2 );
      const auto port = static_cast< int16_t >( random() % 5 );
      const std::pair place( vid, address( bytes ) );
      const auto found = expected.find( place );
      const bool known = found != expected.end();
      switch ( random() % 8 ) {
      case 0: {
         const bool isStatic = random() % 2 != 0;
         const Rc rc = known && found->second.second ? exists
               : !known && expected.size() == 24     ? Sdk::QX_BCM_E_FULL()
                                                     : none;
         ASSERT_EQ( table.add( { address( bytes ), vid, false, port, isStatic } ), rc );
         if ( rc == none ) {
            expected[ place ] = { port, isStatic };
         }
         break;
      }
      case 1:
      case 2:
         ASSERT_EQ( table.remove( address( bytes ), vid ), known ? none : notFound );
         expected.erase( place );
         break;
      case 3:
         if ( random() % 50 == 0 ) {
            table.forget( L2Destination{ false, port } );
            std::erase_if( expected, [ & ]( const auto& each ) {
               return each.second == std::pair< int, bool >( port, false );
            } );
         }
         break;
      default:
         table.learn( L2Table::key( bytes.data(), vid ), { false, port } );
         if ( known ? !found->second.second : expected.size() < 24 ) {
            expected[ place ] = { port, false };
         }
      }
      const std::vector< L2Addr > addresses = table.addresses();
      ASSERT_EQ( addresses.size(), expected.size() );
      size_t index = 0;
      for ( const auto& [ key, value ] : expected ) {
         const L2Addr& entry = addresses[ index++ ];
         ASSERT_EQ( std::pair( entry.vid, entry.mac ), key );
         ASSERT_EQ( std::pair( entry.destination, entry.isStatic ), value );
         const L2Destination* where =
               table.find( L2Table::key( entry.mac.bytes().data(), entry.vid ) );
         ASSERT_TRUE( where != nullptr && where->id == value.first );
      }
   }
}

TEST_F( ForwardingTest, TagsFollowTheMembershipOfTheEgressPort ) {
   vlan( 10, { 2 }, { 1, 3 } ); // 2 sends tagged, 3 untagged
   const Bytes src = mac( 1 );
   const Bytes pushed = tag( 10 );
   const Bytes inner = tag( 777, 3 );
   struct Case {
      const char* name;
      Bytes in;       // the tags a frame comes with
      Bytes tagged;   // and leaves port 2 with
      Bytes untagged; // and port 3
   };
   const std::vector< Case > cases{
      { "untagged", {}, pushed, {} },
      { "tagged", tag( 10, 5 ), tag( 10, 5 ), {} },
      { "service tag", tag( 10, 5, serviceTag ), tag( 10, 5, serviceTag ), {} },
      { "priority tag", tag( 0, 6 ), tag( 10, 6 ), {} },
      { "two tags", tag( 10, 1 ) + inner, tag( 10, 1 ) + inner, inner },
      { "priority tag over a tag", tag( 0, 7 ) + inner, tag( 10, 7 ) + inner, inner },
      { "three tags", tag( 10 ) + inner + inner, tag( 10 ) + inner + inner, inner + inner },
   };
   for ( const Case& c : cases ) {
      const std::vector< Sent > out = receive( 1, frame( broadcast, src, c.in ), 1000 );
      ASSERT_EQ( out.size(), 2u ) << c.name;
      EXPECT_EQ( out[ 0 ].bytes, frame( broadcast, src, c.tagged ) ) << c.name;
      EXPECT_EQ( out[ 0 ].wireLength, 1000 + c.tagged.size() - c.in.size() ) << c.name;
      EXPECT_EQ( out[ 1 ].bytes, frame( broadcast, src, c.untagged ) ) << c.name;
      EXPECT_EQ( out[ 1 ].wireLength, 1000 + c.untagged.size() - c.in.size() ) << c.name;
   }
   // Members can change their tagging.
   ok( sdk().bcm_vlan_port_add( 0, 10, bitmap( { 2, 3 } ), bitmap( { 2 } ) ) );
   EXPECT_EQ( receive( 1, frame( broadcast, src ) )[ 0 ].bytes, frame( broadcast, src ) );
   EXPECT_EQ( sent_[ 1 ].bytes, frame( broadcast, src, pushed ) );
}

TEST_F( ForwardingTest, EveryDropIsCountedWithItsReason ) {
   vlan( 10, { 4 }, { 1, 2 } );
   vlan( 30, { 3 } );
   station( mac( 7 ), 10, 1 );
   station( mac( 8 ), 10, 3 ); // not in the VLAN
   ok( sdk().bcm_port_untagged_vlan_set( 0, 5, 50 ) );
   ok( sdk().bcm_port_enable_set( 0, 6, false ) );
   const Bytes a = mac( 1 );
   const Bytes b = mac( 2 );
   const auto reserved = [ & ]( uint8_t last ) {
      return frame( { 0x01, 0x80, 0xc2, 0, 0, last }, a );
   };
   const Bytes longest( maxFrameBytes - 64, 0 );
   struct Case {
      int port;
      Bytes frame;
      DropReason reason;
   };
   const std::vector< Case > cases{
      { 6, frame( b, a ), DropReason::portDisabled },
      { 1, frame( b, a ) + longest + Bytes( 3, 0 ), DropReason::tooLong },
      { 1, Bytes( 13, 0 ), DropReason::tooShort },
      { 1, b + a + be16( customerTag ), DropReason::tooShort },
      { 1, b + a + be16( customerTag ) + Bytes{ 0, 10, 8 }, DropReason::tooShort },
      { 1, frame( b, group ), DropReason::sourceMulticast },
      { 1, reserved( 0 ), DropReason::reservedAddress },
      { 3, reserved( 0x0f ), DropReason::reservedAddress },
      { 3, frame( b, a ), DropReason::noUntaggedVlan },
      { 3, frame( b, a, tag( 0, 3 ) ), DropReason::noUntaggedVlan },
      { 1, frame( b, a, tag( 40 ) ), DropReason::vlanUnknown },
      { 1, frame( b, a, tag( 4095 ) ), DropReason::vlanUnknown },
      { 5, frame( b, a ), DropReason::vlanUnknown },
      { 1, frame( b, a, tag( 30 ) ), DropReason::vlanMismatch },
      { 3, frame( b, a, tag( 10 ) ), DropReason::vlanMismatch },
      { 1, frame( mac( 7 ), a ), DropReason::destinationOnIngress },
      { 1, frame( mac( 8 ), a ), DropReason::noMember },
      { 3, frame( broadcast, a, tag( 30 ) ), DropReason::noMember },
   };
   for ( const Case& c : cases ) {
      const uint64_t before = drops( c.port, c.reason );
      EXPECT_TRUE( receive( c.port, c.frame ).empty() ) << dropReasonName( c.reason );
      EXPECT_EQ( drops( c.port, c.reason ), before + 1 ) << dropReasonName( c.reason );
   }
   uint64_t all = 0;
   const ChipState after = state();
   for ( const PortState& port : after.ports ) {
      for ( uint64_t count : port.counters.drops ) {
         all += count;
      }
   }
   EXPECT_EQ( all, cases.size() );
   // Next to the limits frames pass.
   EXPECT_EQ( leaves( 1, frame( b, a ) + longest + Bytes( 2, 0 ) ), "2 4" );
   EXPECT_EQ( leaves( 1, b + a + be16( 0x0800 ) ), "2 4" );
   EXPECT_EQ( leaves( 1, reserved( 0x10 ) ), "2 4" );
}

class TrunkTest : public ChipTest {
 protected:
   // VLAN 10 untagged everywhere: ports 1 and 2, trunk 3 of 3, 4, 5, trunk 9 of 6, 7.
   TrunkTest() {
      vlan( 10, {}, { 1, 2, 3, 4, 5, 6, 7 } );
      trunk( 3, { 5, 3, 4 } );
      trunk( 9, { 6, 7 } );
   }
   Bytes flow( uint32_t n ) { return ipv4Udp( broadcast, mac( 1 ), 7, 1000 + n ); }
};

TEST_F( TrunkTest, FloodsToOneMemberPerTrunkAndNeverBack ) {
   for ( uint32_t n = 0; n < 50; ++n ) {
      receive( 1, flow( n ) );
      ASSERT_EQ( sent_.size(), 3u );
      EXPECT_EQ( sent_[ 0 ].port, 2 );
      EXPECT_TRUE( sent_[ 1 ].port >= 3 && sent_[ 1 ].port <= 5 );
      EXPECT_TRUE( sent_[ 2 ].port == 6 || sent_[ 2 ].port == 7 );
      receive( 6, flow( n ) );
      ASSERT_EQ( sent_.size(), 3u );
      EXPECT_TRUE( sent_[ 2 ].port >= 3 && sent_[ 2 ].port <= 5 );
   }
   // A station behind a member is behind the trunk, and not to be reached from there.
   EXPECT_EQ( leaves( 7, frame( mac( 1 ), mac( 2 ) ) ), "" );
   EXPECT_EQ( drops( 7, DropReason::destinationOnIngress ), 1u );
}

TEST_F( TrunkTest, SpreadsFlowsEvenlyAndSkipsMembersThatCannotSend ) {
   receive( 4, frame( broadcast, mac( 50 ) ) );
   const auto spread = [ this ]( int flows ) {
      std::map< int, int > byPort;
      for ( int n = 0; n < flows; ++n ) {
         const Bytes each = ipv4Udp( mac( 50 ), mac( 1 ), static_cast< uint32_t >( n / 30 ),
               1000 + static_cast< uint32_t >( n % 30 ) );
         const int port = receive( 1, each ).at( 0 ).port;
         EXPECT_EQ( receive( 1, each ).at( 0 ).port, port );
         ++byPort[ port ];
      }
      return byPort;
   };
   // A member's share of 3,000 flows is 1,000; six standard deviations are about 155.
   const std::map< int, int > three = spread( 3000 );
   ASSERT_EQ( three.size(), 3u );
   for ( const auto& [ port, flows ] : three ) {
      EXPECT_NEAR( flows, 1000, 155 ) << port;
   }
   ok( sdk().bcm_port_enable_set( 0, 3, false ) );
   EXPECT_FALSE( spread( 300 ).contains( 3 ) );
   EXPECT_EQ( spread( 300 ).size(), 2u );
   ok( sdk().bcm_port_enable_set( 0, 4, false ) );
   ok( sdk().bcm_vlan_port_remove( 0, 10, bitmap( { 5 } ) ) );
   EXPECT_EQ( leaves( 1, frame( mac( 50 ), mac( 1 ) ) ), "" );
   EXPECT_EQ( drops( 1, DropReason::noMember ), 1u );
   // The address is known until the trunk is empty.
   ok( sdk().bcm_trunk_members_set( 0, 3, nullptr, 0 ) );
   EXPECT_EQ( leaves( 1, flow( 0 ) ).substr( 0, 1 ), "2" );
   EXPECT_EQ( receive( 1, frame( mac( 50 ), mac( 1 ) ) ).size(), 2u );
}

TEST_F( TrunkTest, LearnedAddressesGoWithThePlaceTheyWereLearnedAt ) {
   const Bytes onPort = frame( mac( 60 ), mac( 1 ) );
   const Bytes onTrunk = frame( mac( 61 ), mac( 1 ) );
   receive( 2, frame( broadcast, mac( 60 ) ) );
   receive( 6, frame( broadcast, mac( 61 ) ) );
   EXPECT_EQ( leaves( 1, onPort ), "2" );
   EXPECT_EQ( receive( 1, onTrunk ).size(), 1u );
   const int members[] = { 6, 7, 2 };
   ok( sdk().bcm_trunk_members_set( 0, 9, members, 3 ) );
   EXPECT_EQ( receive( 1, onPort ).size(), 2u ); // flooded: to one member of either trunk
   EXPECT_EQ( receive( 1, onTrunk ).size(), 1u );
   ok( sdk().bcm_trunk_destroy( 0, 9 ) );
   EXPECT_EQ( receive( 1, onTrunk ).size(), 4u ); // ports 2, 6, 7 and trunk 3
}

// The value comes from a second implementation of what FlowHash.h says.
TEST( FlowHashTest, IsTheDocumentedOneAndKeepsFlowsTogether ) {
   const auto hash = []( const Bytes& bytes, uint16_t vid = 10 ) {
      const auto length = static_cast< uint32_t >( bytes.size() );
      return flowHash( parse( { 0, bytes.data(), length, length } ), vid );
   };
   const Bytes a = mac( 1 );
   const Bytes b = mac( 2 );
   EXPECT_EQ( hash( ipv4Udp( b, a, 7, 1000 ) ), 0x69e7eec4u );
   // Without ports fragments are all alike; they would go different ways with them.
   EXPECT_EQ( hash( ipv4Udp( b, a, 7, 1000, 0x2000 ) ), hash( ipv4Udp( b, a, 7, 1001, 185 ) ) );
   EXPECT_EQ( hash( ipv4Udp( b, a, 7, 1000 ) ), hash( ipv4Udp( b, a, 7, 1000, 0x4000 ) ) );

   const Bytes ip6 = b + a + be16( 0x86dd ) + Bytes{ 0x60, 0, 0, 0, 0, 8, 6, 64 } +
         Bytes( 32, 0x20 ) + Bytes{ 1, 2, 3, 4 };
   std::set< uint32_t > different{ hash( frame( b, a ) ), hash( frame( a, b ) ),
      hash( frame( b, a ), 11 ), hash( ipv4Udp( b, a, 7, 1000 ) ),
      hash( ipv4Udp( b, a, 8, 1000 ) ), hash( ipv4Udp( b, a, 7, 1001 ) ), hash( ip6 ) };
   for ( size_t byte : { 13u, 20u, 25u, 40u, 53u, 57u } ) {
      Bytes changed = ip6;
      changed[ byte ] ^= 1;
      different.insert( hash( changed ) );
   }
   EXPECT_EQ( different.size(), 7u + 6u );
}

} // namespace

} // namespace ChipModel::Test
