// Layer-4 port ranges: as prefixes, and by range checkers.

#include "AgentServices/Layer4Plan.h"

#include <gtest/gtest.h>

#include <random>

#include "Tests/AgentServices/AclBed.h"

namespace AgentServices::Test {
namespace {

constexpr uint32_t ports = 65536;

Acl::PortRange randomRange( std::mt19937& random ) {
   const auto a = static_cast< uint16_t >( random() );
   const auto b = static_cast< uint16_t >( random() % 3 == 0 ? a + random() % 40 : random() );
   return { std::min( a, b ), std::max( a, b ) };
}

TEST( PortPrefixes, HoldEveryPortOfTheRangeOnceAndNoOther ) {
   std::mt19937 random( 3 );
   std::vector< Acl::PortRange > ranges{ { 0, 0 }, { 65535, 65535 }, { 0, 65535 }, { 1, 65534 },
      { 0, 32767 }, { 32767, 32768 }, { 80, 79 } };
   for ( int i = 0; i < 150; ++i ) {
      ranges.push_back( randomRange( random ) );
   }
   std::vector< int > found( ports );
   for ( const Acl::PortRange& range : ranges ) {
      const PortPrefixes prefixes( range );
      found.assign( ports, 0 );
      for ( const PortPrefix& prefix : prefixes.all() ) {
         for ( uint32_t port = 0; port < ports; ++port ) {
            found[ port ] += ( ( port ^ prefix.value ) & prefix.mask ) == 0;
         }
      }
      for ( uint32_t port = 0; port < ports; ++port ) {
         ASSERT_EQ( found[ port ], range.low() <= port && port <= range.high() )
               << port << " of " << range;
      }
   }
}

class ThePlanForPorts : public AclBed {
 protected:
   static Acl::RuleConfig permit( const Acl::PortRange& src, const Acl::PortRange& dst ) {
      return ipRule( Acl::RuleAction::permit, [ & ]( auto& filter ) {
         filter.srcPortIs( src );
         filter.dstPortIs( dst );
      } );
   }
   // Takes all range checkers but some.
   std::vector< int > takeCheckers( int butSome ) {
      std::vector< int > taken;
      for ( int left = profile.rangeCheckers - butSome; left > 0; --left ) {
         taken.emplace_back();
         EXPECT_EQ( box.sdk().bcm_field_range_create(
                          0, Shim::FieldRange::srcPort, 5, 6, &taken.back() ),
               0 );
      }
      return taken;
   }
};

TEST_F( ThePlanForPorts, TakesTheCheapestWay ) {
   struct Case {
      Acl::PortRange src, dst;
      size_t entries, checkers;
   };
   const Acl::PortRange any;
   const Acl::PortRange one( 80, 80 );
   const Acl::PortRange two( 7, 8 ); // two prefixes: a checker saves nothing
   const Acl::PortRange six( 1024, 65535 );
   const Acl::PortRange thirty( 1, 65534 );
   for ( const Case& each : { Case{ any, any, 1, 0 }, { one, { 64, 127 }, 1, 0 },
               { any, two, 2, 0 }, { any, six, 1, 1 }, { six, thirty, 1, 2 },
               { two, two, 2, 1 }, { two, thirty, 2, 1 }, { { 9, 8 }, six, 0, 0 } } ) {
      const AclPtr made = acl( "ports" );
      ASSERT_EQ( add( made, 0, permit( each.src, each.dst ) ), ok );
      EXPECT_EQ( chip().entries.size(), each.entries ) << each.src << " " << each.dst;
      EXPECT_EQ( rangeCheckersUsed(), static_cast< int >( each.checkers ) );
   }
   takeCheckers( 1 );
   const AclPtr made = acl( "ports" );
   ASSERT_EQ( add( made, 0, permit( six, thirty ) ), ok );
   EXPECT_EQ( chip().entries.size(), 6U ); // the one that is left checks the wider range
   EXPECT_EQ( rangeCheckersUsed(), profile.rangeCheckers );
}

TEST_F( ThePlanForPorts, SharesACheckerOfEqualRangesUntilTheLastRuleGoes ) {
   const Acl::PortRange any;
   const Acl::PortRange six( 1024, 65535 );
   AclPtr first = acl( "first" );
   AclPtr second = acl( "second" );
   for ( uint32_t rule = 0; rule < 5; ++rule ) {
      ASSERT_EQ( add( first, rule, permit( any, six ) ), ok );
      ASSERT_EQ( add( second, rule, permit( any, six ) ), ok );
   }
   EXPECT_EQ( rangeCheckersUsed(), 1 );
   ASSERT_EQ( add( second, 5, permit( six, any ) ), ok ); // another direction, another checker
   EXPECT_EQ( rangeCheckersUsed(), 2 );
   helper->withdrawAcl( *second );
   EXPECT_EQ( rangeCheckersUsed(), 1 );
   const std::vector< int > taken = takeCheckers( 1 );
   ASSERT_EQ( add( first, 5, permit( six, any ) ), ok );
   EXPECT_EQ( chip().entries.size(), 11U );
   // Once the chip has said that it has none left, only a checker that is given back counts.
   const uint64_t asked = gate().calls( SdkCall::bcm_field_range_create );
   ASSERT_EQ( add( first, 6, permit( six, any ) ), ok );
   EXPECT_EQ( gate().calls( SdkCall::bcm_field_range_create ), asked );
   helper->withdrawAcl( *first );
   ASSERT_EQ( add( second, 0, permit( six, any ) ), ok );
   EXPECT_EQ( chip().entries.size(), 1U );
   second = nullptr;
   EXPECT_EQ( rangeCheckersUsed(), static_cast< int >( taken.size() ) );
   EXPECT_TRUE( chip().groups.empty() );
}

} // namespace
} // namespace AgentServices::Test
