// Frames against rules: an ACL on the chip decides as its rules read, one after another.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "Tests/AgentServices/AclBed.h"

namespace AgentServices::Test {
namespace {

using Acl::RuleAction;
using Part = Packet::Part;

class Dice {
 public:
   explicit Dice( unsigned seed ) : random_( seed ) {}
   bool oneIn( unsigned n ) { return random_() % n == 0; }
   template < typename T >
   T pick( std::initializer_list< T > from ) {
      return from.begin()[ random_() % from.size() ];
   }

 private:
   std::mt19937 random_;
};

constexpr uint32_t net = 0x0a000000;

Acl::PortRange randomRange( Dice& dice ) {
   if ( !dice.oneIn( 3 ) ) {
      return {};
   }
   const auto low = dice.pick< uint16_t >( { 0, 1, 3, 80, 1000 } );
   return { low, dice.pick< uint16_t >( { low, 80, 1001, 65534, 65535 } ) };
}

Acl::RuleConfig randomIpRule( Dice& dice ) {
   Acl::IpFilter filter;
   const auto src = dice.pick( { net, net + 1, net + 2 } );
   const auto srcMask = dice.pick( { 0U, 0U, ~0U, ~1U, 3U } );
   const auto dst = dice.pick( { net, net + 1, net + 2 } );
   const auto dstMask = dice.pick( { 0U, 0U, ~0U, ~1U, 3U } );
   filter.srcIpIs( Plix::IpAddr( src ) );
   filter.srcIpMaskIs( Plix::IpAddr( srcMask ) );
   filter.dstIpIs( Plix::IpAddr( dst ) );
   filter.dstIpMaskIs( Plix::IpAddr( dstMask ) );
   filter.srcIp6Is( Packet::ip6( src ) );
   filter.srcIp6MaskIs( Packet::ip6( srcMask, srcMask == 0 ? 0 : 0xff ) );
   filter.dstIp6Is( Packet::ip6( dst ) );
   filter.dstIp6MaskIs( Packet::ip6( dstMask, dstMask == 0 ? 0 : 0xff ) );
   filter.protoIs( dice.pick< uint8_t >( { 1, 6, 17, 58, 132, 47 } ) );
   filter.protoMaskIs( dice.oneIn( 3 ) ? 0xff : 0 );
   filter.srcPortIs( randomRange( dice ) );
   filter.dstPortIs( randomRange( dice ) );
   filter.tcpFlagsIs( 2 );
   filter.tcpFlagsMaskIs( dice.pick< uint8_t >( { 0, 0, 0, 0, 2, 0x12 } ) );
   filter.icmpIs( 3 << 8 );
   filter.icmpMaskIs( dice.pick< uint16_t >( { 0, 0, 0, 0, 0xff00, 0xffff } ) );
   filter.dscpIs( dice.pick< uint8_t >( { 0, 46 } ) );
   filter.dscpMaskIs( dice.pick< uint8_t >( { 0, 0, 0x3f } ) );
   filter.ecnIs( 1 );
   filter.ecnMaskIs( dice.pick< uint8_t >( { 0, 0, 0, 3 } ) );
   filter.fragmentsIs(
         dice.pick( { Acl::Fragments::any, Acl::Fragments::any, Acl::Fragments::whole,
               Acl::Fragments::wholeOrFirst, Acl::Fragments::first, Acl::Fragments::later } ) );
   filter.vlanIdIs( 10 );
   filter.vlanIdMaskIs( dice.oneIn( 5 ) ? 0xfff : 0 );
   return ipRule( dice.pick( { RuleAction::permit, RuleAction::deny } ),
         [ & ]( auto& chosen ) { chosen = filter; } );
}

Packet randomPacket( Dice& dice ) {
   Packet packet;
   packet.vlan = dice.pick< uint16_t >( { 0, 0, 10, 11 } );
   packet.isIpv6 = dice.oneIn( 2 );
   packet.src = dice.pick( { net, net + 1, net + 2, net + 7 } );
   packet.dst = dice.pick( { net, net + 1, net + 2, net + 7 } );
   packet.protocol = dice.pick< uint8_t >( { 1, 6, 17, 58, 132, 47 } );
   packet.tos = dice.pick< uint8_t >( { 0, 1, 46 << 2, 46 << 2 | 1 } );
   packet.part = dice.pick( { Part::whole, Part::whole, Part::first, Part::later } );
   packet.srcPort = dice.pick< uint16_t >( { 0, 1, 2, 79, 80, 3 << 8, 1000, 65535 } );
   packet.dstPort = dice.pick< uint16_t >( { 0, 1, 2, 79, 80, 3 << 8, 1000, 65535 } );
   packet.tcpFlags = dice.pick< uint8_t >( { 0, 2, 0x10, 0x12 } );
   return packet;
}

bool isIn( uint16_t port, const Acl::PortRange& range ) {
   return range.low() <= port && port <= range.high();
}

bool partFits( Acl::Fragments wanted, Part part ) {
   return wanted == Acl::Fragments::any ||
         ( wanted == Acl::Fragments::whole && part == Part::whole ) ||
         ( wanted == Acl::Fragments::wholeOrFirst && part != Part::later ) ||
         ( wanted == Acl::Fragments::first && part == Part::first ) ||
         ( wanted == Acl::Fragments::later && part == Part::later );
}

bool layer4Fits( const Acl::IpFilter& filter, const Packet& packet ) {
   const uint8_t protocol = packet.part == Part::later ? 255 : packet.protocol;
   const bool hasPorts = protocol == 6 || protocol == 17 || protocol == 132;
   const bool portsFit = ( filter.srcPort().isAny() && filter.dstPort().isAny() ) ||
         ( hasPorts && isIn( packet.srcPort, filter.srcPort() ) &&
               isIn( packet.dstPort, filter.dstPort() ) );
   const bool flagsFit = filter.tcpFlagsMask() == 0 ||
         ( protocol == 6 &&
               ( ( packet.tcpFlags ^ filter.tcpFlags() ) & filter.tcpFlagsMask() ) == 0 );
   const bool icmpFits = filter.icmpMask() == 0 ||
         ( ( protocol == 1 || protocol == 58 ) &&
               ( ( packet.srcPort ^ filter.icmp() ) & filter.icmpMask() ) == 0 );
   return portsFit && flagsFit && icmpFits;
}

bool fits( const Acl::IpFilter& filter, const Packet& packet ) {
   const uint8_t tos = static_cast< uint8_t >( filter.dscp() << 2 | filter.ecn() );
   const uint8_t tosMask = static_cast< uint8_t >( filter.dscpMask() << 2 | filter.ecnMask() );
   return ( ( packet.src ^ filter.srcIp().value() ) & filter.srcIpMask().value() ) == 0 &&
         ( ( packet.dst ^ filter.dstIp().value() ) & filter.dstIpMask().value() ) == 0 &&
         ( ( packet.protocol ^ filter.proto() ) & filter.protoMask() ) == 0 &&
         ( ( packet.tos ^ tos ) & tosMask ) == 0 &&
         ( ( packet.vlan ^ filter.vlanId() ) & filter.vlanIdMask() ) == 0 &&
         partFits( filter.fragments(), packet.part ) && layer4Fits( filter, packet );
}

class AclRules : public AclBed, public ::testing::WithParamInterface< Acl::AclType > {};

TEST_P( AclRules, TheFirstRuleThatAFrameFitsDecides ) {
   int copies = 0;
   int frames = 0;
   for ( unsigned seed = 1; seed <= 12; ++seed ) {
      Dice dice( seed );
      std::vector< Acl::RuleConfig > rules( 60 );
      for ( Acl::RuleConfig& rule : rules ) {
         rule = randomIpRule( dice );
      }
      const AclPtr made =
            mirroringAcl( "acl", rules, intfs( { intf( 1 ), intf( 3 ) } ), GetParam() );
      for ( int i = 0; i < 1500; ++i, ++frames ) {
         const Packet packet = randomPacket( dice );
         bool expected = false;
         if ( packet.isIpv6 == ( GetParam() == Acl::ipv6() ) ) {
            const auto decides = std::find_if( rules.begin(), rules.end(),
                  [ & ]( const auto& rule ) { return fits( rule.ip(), packet ); } );
            expected = decides != rules.end() && decides->action() == RuleAction::permit;
         }
         ASSERT_EQ( isMirrored( 3, packet.bytes() ), expected )
               << "seed " << seed << " src " << packet.src << " dst " << packet.dst
               << " protocol " << int{ packet.protocol } << " tos " << int{ packet.tos }
               << " ports " << packet.srcPort << " " << packet.dstPort;
         ASSERT_FALSE( isMirrored( 2, packet.bytes() ) );
         copies += expected;
      }
   }
   EXPECT_GT( copies, frames / 6 ); // neither all nor nothing is decided one way
   EXPECT_LT( copies, frames * 5 / 6 );
   EXPECT_EQ( remainsInTheEnd(), std::vector< std::string >() );
}

INSTANTIATE_TEST_SUITE_P( Kinds, AclRules, ::testing::Values( Acl::ip(), Acl::ipv6() ),
      []( const auto& kind ) { return Zol::toString( kind.param ); } );

// --- MAC -----------------------------------------------------------------------------------

class AclMacRules : public AclBed {};

TEST_F( AclMacRules, MatchTheirFieldAndNothingBesideIt ) {
   const auto frame = []( uint32_t dst, uint32_t src, uint32_t type = 0x88b5,
                            const Bytes& payload = {}, const Bytes& tags = {} ) {
      return Frames::mac( dst ) + Frames::mac( src ) + tags + Frames::be16( type ) + payload +
            Bytes( 50, 0 );
   };
   const auto labels = [ & ]( uint32_t outer, uint32_t inner ) {
      return frame( 2, 1, Frames::mplsType,
            Frames::label( outer, false ) + Frames::label( inner, true ) );
   };
   const auto inVlan = [ & ]( uint32_t vid, uint32_t priority = 0 ) {
      return frame( 2, 1, 0x88b5, {}, Frames::tag( vid, priority ) );
   };
   constexpr auto station = []( uint8_t n ) { return Plix::EthAddr( { 2, 0, 0, 0, 0, n } ); };
   constexpr Plix::EthAddr exact( { 0xff, 0xff, 0xff, 0xff, 0xff, 0xff } );
   using Filter = Acl::MacFilter;
   struct {
      std::function< void( Filter& ) > fills, masks;
      Bytes hit, miss;
   } const cases[] = {
      { [ & ]( Filter& f ) { f.srcMacIs( station( 1 ) ); },
            [ & ]( Filter& f ) { f.srcMacMaskIs( exact ); }, frame( 2, 1 ), frame( 2, 3 ) },
      { [ & ]( Filter& f ) { f.dstMacIs( station( 2 ) ); },
            [ & ]( Filter& f ) { f.dstMacMaskIs( exact ); }, frame( 2, 1 ), frame( 3, 1 ) },
      { []( Filter& f ) { f.etherTypeIs( 0x88b5 ); },
            []( Filter& f ) { f.etherTypeMaskIs( 0xffff ); }, frame( 2, 1 ),
            frame( 2, 1, 0x88b6 ) },
      { []( Filter& f ) { f.mplsLabelIs( 16 ); },
            []( Filter& f ) { f.mplsLabelMaskIs( 0xfffff ); }, labels( 16, 17 ),
            labels( 17, 16 ) },
      { []( Filter& f ) { f.mplsInnerLabelIs( 17 ); },
            []( Filter& f ) { f.mplsInnerLabelMaskIs( 0xfffff ); }, labels( 16, 17 ),
            labels( 17, 16 ) },
      { []( Filter& f ) { f.vlanIdIs( 10 ); }, []( Filter& f ) { f.vlanIdMaskIs( 0xfff ); },
            inVlan( 10 ), inVlan( 11 ) },
      { []( Filter& f ) { f.vlanPriorityIs( 4 ); },
            []( Filter& f ) { f.vlanPriorityMaskIs( 6 ); }, inVlan( 10, 5 ), inVlan( 10, 6 ) },
   };
   for ( const auto& [ fills, masks, hit, miss ] : cases ) {
      Filter mac;
      fills( mac );
      masks( mac );
      Acl::RuleConfig rule;
      rule.macIs( mac );
      rule.actionIs( RuleAction::permit );
      const AclPtr made = mirroringAcl( "mac", { rule }, intfs( { intf( 1 ) } ), Acl::mac() );
      EXPECT_TRUE( isMirrored( 1, hit ) ) << Zol::toString( mac );
      EXPECT_FALSE( isMirrored( 1, miss ) ) << Zol::toString( mac );
   }
}

} // namespace
} // namespace AgentServices::Test
