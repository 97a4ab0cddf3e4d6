// The egress stage: what is looked up there and how, which frames are limited, and what is
// counted, said and read back.

#include "Tests/ChipModel/FieldFixture.h"

namespace ChipModel::Test {

namespace {

constexpr FieldStage egress = FieldStage::egress;
constexpr uint64_t ms = 1'000'000; // ns

class EgressTest : public FieldTest {
 protected:
   // What comes in at port 1 is copied to mirror destination 0; nobody looks at headers.
   explicit EgressTest( const Profile& profile = testProfile() ) : FieldTest( profile ) {
      mirroring_ = fromPort(
            newGroup( only( { Qualifier::inPorts } ) ), 1, FieldAction::mirrorIngressTo );
   }
   int newEgressGroup( int priority = 0 ) { return newGroup( priority, egress ); }
   // An entry that drops what its policer finds red, and counts by colour.
   int limit( int in, uint32_t to, uint32_t mirrorCopy = 1 ) {
      const int id = with( newEntry( in, FieldAction::rpDrop ),
            &Sdk::bcm_field_qualify_MirrorCopy, mirrorCopy, 1 );
      ok( sdk().bcm_field_entry_stat_set( 0, id, FieldStat::byColor ) );
      attach( id, to );
      return id;
   }
   // How many copies of `frames` frames leave, one each millisecond, beginning with the next.
   int copies( const Bytes& bytes, int frames ) {
      int count = 0;
      for ( int i = 0; i < frames; ++i ) {
         now_ += ms;
         for ( const Sent& out : receive( 1, bytes ) ) {
            count += out.kind == CopyKind::ingressMirror;
         }
      }
      return count;
   }
   // 10 kbit of UDP over IPv4.
   static Bytes frame10( uint8_t tos = 0 ) {
      return ethernet( ip4Type, ip4( 17, Bytes( 1216, 1 ), 0, {}, tos ) );
   }
   static ColorCounters colors( uint64_t green, uint64_t red ) {
      return { { green, green * 1250 }, { red, red * 1250 } };
   }

   int mirroring_ = -1;
};

class OutPortTest : public EgressTest {
 protected:
   OutPortTest() : EgressTest( testProfile( []( auto& p ) { p.tomahawkFamily = false; } ) ) {}
};

TEST_F( EgressTest, EveryGroupMetersAndEntriesMayShareAPolicer ) {
   const uint32_t shared = policer( 1, 30 );
   const int group = newEgressGroup( 1 );
   const int a = limit( group, shared ), b = limit( group, shared );
   ok( sdk().bcm_field_qualify_DSCP( 0, a, 0x20, 0xfc ) );
   ok( sdk().bcm_field_qualify_DSCP( 0, b, 0x40, 0xfc ) );
   installed( a );
   installed( b );
   EXPECT_EQ( copies( frame10( 0x23 ), 2 ), 2 );
   EXPECT_EQ( copies( frame10( 0x60 ), 20 ), 20 );
   EXPECT_EQ( copies( frame10( 0x40 ), 2 ), 1 );
   EXPECT_EQ( copies( frame10( 0x20 ), 1 ), 0 );
   EXPECT_EQ( view( a ).colors, colors( 2, 1 ) );
   EXPECT_EQ( view( b ).colors, colors( 1, 1 ) );
   EXPECT_EQ( state().policers[ 0 ].counters, colors( 3, 2 ) );
   EXPECT_EQ( mirrored(),
         ( MirrorCounters{ .frames = 23,
               .bytes = 23 * 1250,
               .policedFrames = 2,
               .policedBytes = 2 * 1250 } ) );
   EXPECT_EQ( state().ports[ 7 ].counters.txMirrorFrames, 23u );

   const int late = installed( limit( newEgressGroup(), policer( 1, 20 ) ) );
   EXPECT_EQ( copies( frame10( 0x20 ), 3 ), 0 ); // the other group's policer finds them green
   EXPECT_EQ( view( late ).colors, colors( 2, 1 ) );
   EXPECT_EQ( copies( frame10( 0x60 ), 1 ), 0 );
   ok( sdk().bcm_field_entry_policer_detach( 0, late, 0 ) );
   EXPECT_EQ( copies( frame10( 0x60 ), 1 ), 0 ); // not before the install
   installed( late );
   EXPECT_EQ( copies( frame10( 0x60 ), 1 ), 1 );
   attach( late, 2 );
   EXPECT_EQ( copies( frame10( 0x60 ), 1 ), 1 );
   EXPECT_EQ( view( late ).colors, colors( 4, 3 ) ); // without a policer all is green
   ok( sdk().bcm_field_entry_policer_detach( 0, late, 0 ) );
   // Red is dropped only if the entry says so.
   ok( sdk().bcm_field_action_remove( 0, a, FieldAction::rpDrop ) );
   installed( a );
   EXPECT_EQ( copies( frame10( 0x20 ), 1 ), 1 );
   EXPECT_EQ( view( a ).colors, colors( 2, 5 ) );
}

TEST_F( EgressTest, ForwardedFramesAreLimitedWhereAnEntryIsForThem ) {
   installed( newEntry( newGroup(), FieldAction::mirrorEgress, 0, 1 ) );
   const int entry = limit( newEgressGroup(), policer( 1, 10 ), 0 );
   toChipPort( entry, 2 );
   installed( entry );
   EXPECT_EQ( leaves( 1, frame10() ), "mi0>7 2 me1>8(2) 3 me1>8(3)" );
   EXPECT_EQ( leaves( 1, frame10() ), "mi0>7 3 me1>8(3)" ); // nothing sent, nothing copied
   EXPECT_EQ( state().ports[ 2 ].counters.txKeptBack, 1u );
   EXPECT_EQ( state().ports[ 2 ].counters.txFrames, 1u );
   // An entry that does not ask sees both kinds.
   const int both = toPort( newEgressGroup(), 3, FieldAction::drop );
   destination( 0, 3 );
   EXPECT_EQ( leaves( 1, frame10() ), "" );
   EXPECT_EQ( mirrored().filtered, 1u );
   ok( sdk().bcm_field_entry_destroy( 0, entry ) );
   ok( sdk().bcm_field_entry_destroy( 0, both ) );
   EXPECT_EQ( leaves( 1, frame10() ), "mi0>3 2 me1>8(2) 3 me1>8(3)" );
}

// Says what became of each frame.
struct Listener : PipelineObserver {
   void decided( int, const FrameView&, const Decision& decision ) override {
      text << "vid " << decision.vid << " " << dropReasonName( decision.drop ) << ";";
   }
   void lookedUp( const LookupKey&, FieldProcessor::GroupChoice, int ) override {}
   void matched( const Match& match, int egressPort ) override {
      text << " " << match.entry << "@" << egressPort << " ";
   }
   void lookedUpAtEgress( const SentFrame& frame, const LookupKey& ) override {
      text << "[" << frame.port << " " << frame.frame.length;
   }
   void matchedAtEgress( const Match& match, Color color ) override {
      text << " " << match.entry << ( color == Color::red ? " red" : "" );
   }
   void ended( const SentFrame& frame, const Outcome& outcome ) override {
      text << "] " << frame.port << " " << outcomeName( outcome.kind ) << " " << outcome.entry
           << " " << outcome.policer;
   }
   std::ostringstream text;
};

// Whoever else wants headers: nobody, a listener, or the ingress stage.
TEST_F( EgressTest, KeysDescribeTheCopyAsItLeaves ) {
   vlan( 20, { 1, 4 }, { 5 } );
   ok( sdk().bcm_field_action_add( 0, mirroring_, FieldAction::mirrorEgress, 0, 1 ) );
   installed( mirroring_ );
   const int entry = newEntry( newEgressGroup(), FieldAction::rpDrop );
   Sdk& s = sdk();
   // Of three tags the parser sees two, so IP is in sight only without the outermost one.
   const Bytes inner = ip4( 6, tcp( 9, 80 ), 0, {}, 0x20 );
   const Bytes tagged = ethernet( ip4Type, inner, tag( 20 ) );
   const Bytes triple = ethernet( ip4Type, inner, tag( 20 ) + tag( 30 ) + tag( 40 ) );
   MirrorTunnel tunnel; // of what is copied as received
   tunnel.vid = 100;
   tunnel.srcIp = tunnel.dstIp = Plix::IpAddr( 0x0b000002 );
   tunnel.trafficClass = 0x80;
   Listener listener;
   // How many match: frame tagged, with three tags, and tagged, its first copy in the tunnel.
   // Frames and copies are five in all.
   const auto expect = [ & ]( Rc rc, const std::vector< uint64_t >& counts ) {
      ok( rc );
      installed( entry );
      std::vector< uint64_t > matched;
      const auto match = [ & ]( const Bytes& bytes ) {
         const uint64_t before = view( entry ).packets;
         EXPECT_EQ( leaves( 1, bytes ), "mi0>7 4 me1>8(4) 5 me1>8(5)" );
         matched.push_back( view( entry ).packets - before );
      };
      match( tagged );
      match( triple );
      ok( s.bcm_mirror_destination_set( 0, 0, { {}, 7, tunnel } ) );
      match( tagged );
      destination( 0, 7 );
      EXPECT_EQ( matched, counts );
      matchAll( entry );
   };
   for ( int round = 0; round < 3; ++round ) {
      box_.control().observerIs( round == 1 ? &listener : nullptr );
      if ( round == 2 ) {
         installed( newEntry( newGroup(), FieldAction::cosQCpuNew ) );
      }
      expect( s.bcm_field_qualify_MirrorCopy( 0, entry, 0, 1 ), { 2, 2, 2 } );
      expect( s.bcm_field_qualify_MirrorCopy( 0, entry, 1, 1 ), { 3, 3, 3 } );
      expect( s.bcm_field_qualify_DstPort( 0, entry, 0, 0xff, 8, 0xff ), { 2, 2, 2 } );
      expect( s.bcm_field_qualify_DstPort( 0, entry, 1, 0xff, 8, 0xff ), { 0, 0, 0 } );
      expect( s.bcm_field_qualify_OuterVlanId( 0, entry, 20, 0xfff ), { 3, 3, 2 } );
      expect( s.bcm_field_qualify_OuterVlanId( 0, entry, 30, 0xfff ), { 0, 2, 0 } );
      expect( s.bcm_field_qualify_OuterVlanId( 0, entry, 100, 0xfff ), { 0, 0, 1 } );
      expect( s.bcm_field_qualify_DSCP( 0, entry, 0x20, 0xff ), { 5, 2, 4 } );
      expect( s.bcm_field_qualify_DSCP( 0, entry, 0x80, 0xff ), { 0, 0, 1 } );
      expect( s.bcm_field_qualify_L4DstPort( 0, entry, 80, 0xffff ), { 5, 2, 4 } );
      expect( s.bcm_field_qualify_IpProtocol( 0, entry, 47, 0xff ), { 0, 0, 1 } );
      expect( s.bcm_field_qualify_EtherType( 0, entry, 0x8100, exact ), { 0, 3, 0 } );
   }
}

TEST_F( EgressTest, AnObserverHearsWhatBecameOfEveryFrameAndCopy ) {
   const int other = with( newEntry( newEgressGroup(), FieldAction::drop ),
         &Sdk::bcm_field_qualify_MirrorCopy, 1, 1 );
   const int entry = limit( newEgressGroup( 1 ), policer( 1, 10 ) ); // asked first
   const std::string first = std::to_string( entry ), last = std::to_string( other );
   const std::string copied = "none; " + std::to_string( mirroring_ ) + "@-1 ";
   Listener listener;
   box_.control().observerIs( &listener );
   const auto told = [ & ]( uint32_t wireLength = 0 ) {
      listener.text.str( "" );
      receive( 1, frame10(), wireLength );
      return listener.text.str();
   };
   EXPECT_EQ( told(), "vid 10 " + copied + "] 7 sent 0 0" ); // nothing to look up
   installed( entry );
   EXPECT_EQ( told(), "vid 10 " + copied + "[7 1250 " + first + "] 7 sent 0 0" );
   installed( other );
   EXPECT_EQ( told(),
         "vid 10 " + copied + "[7 1250 " + first + " red " + last + "] 7 policed " + first +
               " 1" );
   ok( sdk().bcm_field_entry_remove( 0, entry ) );
   MirrorTunnel tunnel;
   tunnel.srcIp = tunnel.dstIp = Plix::IpAddr( 1 );
   ok( sdk().bcm_mirror_destination_set( 0, 0, { {}, 7, tunnel } ) );
   EXPECT_EQ( told(), "vid 10 " + copied + "[7 1288 " + last + "] 7 filtered " + last + " 0" );
   EXPECT_EQ( told( 65'530 ), "vid 10 " + copied + "] 7 too long 0 0" );
   ok( sdk().bcm_port_enable_set( 0, 7, false ) );
   const std::string noWay = "] -1 no port to leave by 0 0";
   EXPECT_EQ( told(), "vid 10 " + copied + noWay );
   // With an entry for one of the ports that it leaves by, and dropped by forwarding.
   const int toThree = toPort( newGroup(), 3, FieldAction::cosQCpuNew );
   EXPECT_EQ( told(), "vid 10 " + copied + " " + std::to_string( toThree ) + "@3 " + noWay );
   ok( sdk().bcm_vlan_destroy( 0, 10 ) );
   EXPECT_TRUE( told().starts_with( "vid 10 unknown VLAN; " ) ) << told();
}

TEST_F( OutPortTest, StagesAndFamiliesHaveTheirOwnQualifiersAndActions ) {
   const int out = installed( with( newEntry( newEgressGroup(), FieldAction::drop ),
         &Sdk::bcm_field_qualify_OutPort, 7, 0xff ) );
   EXPECT_EQ( leaves( 1, web_ ), "2 3" );
   destination( 0, 8 );
   EXPECT_EQ( leaves( 1, web_ ), "mi0>8 2 3" );

   box_.addChip( 1, testProfile() ); // of the Tomahawk family
   const auto create = [ & ]( int unit, FieldStage stage, Qualifier qualifier ) {
      int group = 0;
      return sdk().bcm_field_group_create( unit, stage, only( { qualifier } ), 0, &group );
   };
   expectAll( unavailable,
         { create( 0, egress, Qualifier::dstPort ), create( 1, egress, Qualifier::outPort ),
               create( 0, egress, Qualifier::inPorts ),
               create( 0, FieldStage::ingress, Qualifier::outPort ),
               create( 0, FieldStage::ingress, Qualifier::mirrorCopy ) } );
   const int in = newEntry( newGroup(), FieldAction::drop );
   const auto add = [ & ]( int entry, FieldAction action, uint32_t value ) {
      return sdk().bcm_field_action_add( 0, entry, action, value, 0 );
   };
   expectAll( param,
         { add( in, FieldAction::rpDrop, 0 ), add( in, FieldAction::svtagPrio, 0 ),
               add( out, FieldAction::mirrorEgress, 0 ), add( out, FieldAction::cosQCpuNew, 0 ),
               add( out, FieldAction::svtagEnable, 0 ), add( out, FieldAction::svtagPrio, 8 ),
               add( out, FieldAction::svtagSignature, 0x10000 ),
               add( out, FieldAction::svtagOffset, 10 ),
               add( out, FieldAction::svtagOffset, 13 ),
               add( out, FieldAction::svtagOffset, 66 ) } );
}

// By what they are, whatever their ids: an agent that starts anew gets others.
TEST_F( EgressTest, ReadBacksNamePolicersByTheirRate ) {
   const int group = newEgressGroup();
   const auto program = [ & ] { return installed( limit( group, policer( 64, 96 ) ) ); };
   const int first = program();
   const ChipState before = state();
   ok( sdk().bcm_field_entry_destroy( 0, first ) );
   ok( sdk().bcm_policer_destroy( 0, 1 ) );
   const int second = program();
   receive( 1, web_ );
   EXPECT_TRUE( differences( before, state(), ReadBackScope::programmed ).empty() );
   ok( sdk().bcm_field_entry_policer_detach( 0, second, 0 ) );
   EXPECT_EQ( differences( before, state(), ReadBackScope::programmed ).back(),
         "entry '' #2 policer: policer 64 kbit/s, burst 96 kbit before, nothing after" );
}

} // namespace

} // namespace ChipModel::Test
