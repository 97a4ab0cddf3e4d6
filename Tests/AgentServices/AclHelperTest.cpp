// The ACL helper: ports, order, refusals, and giving everything back.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "Tests/AgentServices/AclBed.h"
#include "Tests/EveryRefusal.h"

namespace AgentServices::Test {
namespace {

constexpr uint32_t shielded = 0x0a000001;
constexpr uint32_t open = 0x0a000002;

// On a chip with port classes and on one without.
class TheAclHelper : public AclBed, public ::testing::WithParamInterface< const char* > {
 protected:
   TheAclHelper() : AclBed( GetParam() ) {}

   static Acl::RuleConfig rule( Acl::RuleAction action, uint32_t src = 0,
         const Acl::PortRange& dstPort = {}, const Ixo::IxoPortList& only = {} ) {
      Acl::RuleConfig result = ipRule( action, [ & ]( auto& filter ) {
         filter.srcIpIs( Plix::IpAddr( src ) );
         filter.srcIpMaskIs( Plix::IpAddr( src == 0 ? 0 : ~0U ) );
         filter.dstPortIs( dstPort );
      } );
      for ( const Plix::IntfId& each : only.intf() ) {
         result.intfIs( each );
      }
      return result;
   }
   static Acl::RuleConfig permit( uint32_t src = 0 ) {
      return rule( Acl::RuleAction::permit, src );
   }
   static Acl::RuleConfig deny( uint32_t src = 0 ) {
      return rule( Acl::RuleAction::deny, src );
   }
   bool mirrors( int port, uint32_t src, uint16_t vlan = 0 ) {
      return isMirrored( port, Packet{ .vlan = vlan, .src = src }.bytes() );
   }

   // Keep frames of one address from the permits, in several ways and with several entries.
   static std::vector< Acl::RuleConfig > shieldingRules() {
      const auto deny = Acl::RuleAction::deny;
      const auto permit = Acl::RuleAction::permit;
      return { rule( deny, shielded, {}, intfs( { intf( 1 ), intf( 2 ) } ) ),
         rule( deny, shielded, {}, intfs( { intf( 3 ), intf( 4 ) } ) ), rule( permit, open ),
         rule( permit, 0, { 0, 100 } ), rule( permit, 0, {}, intfs( { intf( 1 ) } ) ),
         rule( permit, 0, {}, intfs( { intf( 1 ), intf( 3 ) } ) ), rule( permit ) };
   }
};

TEST_P( TheAclHelper, MakesEntriesOfAForwardingAclForTheCallerToChange ) {
   const AclPtr made = acl( "acl" );
   ASSERT_EQ( add( made, 0, deny( shielded ) ), ok );
   ASSERT_EQ( add( made, 1, permit() ), ok );
   const ChipModel::ChipState state = chip();
   ASSERT_EQ( state.entries.size(), 2U );
   EXPECT_EQ( state.entries[ 0 ].name, ruleName( 0 ) );
   EXPECT_GT( state.entries[ 0 ].priority, state.entries[ 1 ].priority );
   ASSERT_EQ( state.entries[ 0 ].actions.size(), 1U );
   EXPECT_EQ( state.entries[ 0 ].actions[ 0 ].action, Shim::FieldAction::drop );
   EXPECT_TRUE( state.entries[ 1 ].actions.empty() );
   for ( const ChipModel::EntryView& entry : state.entries ) {
      EXPECT_FALSE( entry.installed );
      const bool sparesClasses = std::ranges::any_of( entry.qualifiers, []( const auto& each ) {
         return each.qualifier == Shim::Qualifier::dstClassL2 && each.data.at( 0 ) == 0 &&
               each.mask.at( 0 ) == 0x3ff;
      } );
      EXPECT_TRUE( sparesClasses );
   }
   const auto entries = made->unitDataIs( 0U )->entries().ofSubRule( 1, 0 );
   ASSERT_EQ( entries.size(), 1U );
   EXPECT_EQ( static_cast< int >( entries[ 0 ].entryId ), state.entries[ 1 ].id );
}

TEST_P( TheAclHelper, LetsEveryEntryMatchThePortsOfItsSubRule ) {
   common->intfToPortIs( "Elsewhere1", Karvel::SysPort( 1, 9 ) );
   const AclPtr made = acl( "acl" );
   const auto onlyOne = intfs( { intf( 1 ), intf( 2, 10 ), intf( 4, 20 ), intf( 9 ) } );
   const Acl::RuleConfig own = rule( Acl::RuleAction::permit, shielded, {}, onlyOne );
   for ( uint32_t number = 0; number < 2; ++number ) {
      for ( uint32_t subRule = 0; subRule < 3; ++subRule ) {
         ASSERT_EQ( add( made, number, number == 0 ? permit( open ) : own, subRule ), ok );
      }
   }
   const auto data = made->unitDataIs( 0U );
   const uint16_t vlans[] = { 0, 10, 20 };
   for ( uint32_t subRule = 1; subRule < 3; ++subRule ) {
      data->sessionSrcSubIntfEntriesIs( subRule, vlans[ subRule ] );
      for ( const Karvel::AclEntry& entry : data->entries().all() ) {
         if ( entry.subRuleNum == subRule ) {
            box.sdk().bcm_field_qualify_OuterVlanId(
                  0, static_cast< int >( entry.key() ), vlans[ subRule ], 0xfff );
         }
      }
   }
   mirror( made );
   data->sessionSrcSubIntfListIs(
         intfs( { intf( 2, 10 ), intf( 2, 20 ), intf( 3, 10 ), intf( 4, 20 ) } ) );
   ASSERT_EQ( apply( made,
                    intfs( { intf( 1 ), intf( 6 ), Plix::IntfId( "Elsewhere1" ),
                          Plix::IntfId( "Virtual1" ) } ) ),
         ok );
   std::string found;
   for ( int port = 1; port <= 9; ++port ) {
      for ( const uint16_t vlan : vlans ) {
         found += mirrors( port, open, vlan ) ? "a" : ".";
         found += mirrors( port, shielded, vlan ) ? "o " : ". ";
      }
   }
   // Per port: untagged, VLAN 10, VLAN 20.
   EXPECT_EQ( found,
         "ao ao ao .. ao a. .. a. .. .. .. ao .. .. .. a. a. a. "
         ".. .. .. .. .. .. .. .. .. " );
   // Without ports nothing is matched, and nothing is installed.
   data->sessionSrcSubIntfListIs( {} );
   EXPECT_EQ( apply( made, {} ), ok );
   EXPECT_EQ( installed(), 0U );
   EXPECT_EQ( Strings(), ( helper->withdrawAcl( *made ), remainsInTheEnd() ) );
}

TEST_P( TheAclHelper, MakesNoCallsForARuleBesideItsOwn ) {
   constexpr uint32_t rules = 500;
   const AclPtr made = acl( "acl" );
   const uint64_t before = gate().calls();
   for ( uint32_t number = 0; number < rules; ++number ) {
      ASSERT_EQ( add( made, number, permit( number + 1 ) ), ok );
   }
   ASSERT_EQ( apply( made, intfs( { intf( 1 ), intf( 2 ) } ) ), ok );
   // Create, name, priority, L2 class, IP type, address, ports, install; the group; and where
   // there are classes, the class of two ports.
   EXPECT_EQ( gate().calls() - before, 8 * rules + 1 + ( profile.aclGroup ? 2 : 0 ) );
   // What has its ports already is not qualified again.
   const uint64_t committed = gate().calls();
   ASSERT_EQ( updatePorts( made, intfs( { intf( 1 ), intf( 2 ) } ) ), ok );
   EXPECT_EQ( gate().calls(), committed );
}

// --- Order -----------------------------------------------------------------------------------

// A frame at every port before every call, while the ACL comes, changes its ports and goes.
TEST_P( TheAclHelper, NeverMirrorsOnTheWayWhatARuleShields ) {
   const AclPtr made = mirroringAcl( "acl", shieldingRules(), {} );
   std::set< int > from;
   std::set< int > to;
   bool mixed = false;
   int probes = 0;
   const auto probe = [ & ] {
      for ( int port = 1; port <= 4; ++port ) {
         ASSERT_FALSE( mirrors( port, shielded ) );
         const bool isOpen = mirrors( port, open );
         ASSERT_TRUE( !isOpen || from.contains( port ) || to.contains( port ) );
         // No copy is missed on a port that stays, unless others come and go at once.
         ASSERT_TRUE( isOpen || mixed || !from.contains( port ) || !to.contains( port ) );
         ++probes;
      }
   };
   gate().observerIs( [ & ]( const ChipModel::CallInfo& ) { probe(); } );
   for ( const std::set< int >& next :
         std::initializer_list< std::set< int > >{ { 1 }, { 1, 2, 3 }, { 1, 3, 4 }, { 3 },
               { 2, 3 }, { 2, 4 }, { 1, 3 }, {}, { 1, 2, 3, 4 }, { 4 } } ) {
      to = next;
      mixed = !std::ranges::includes( from, to ) && !std::ranges::includes( to, from );
      Ixo::IxoPortList list;
      for ( const int port : next ) {
         list.intfIs( intf( port ) );
      }
      // Also when somebody thinks better of it, and time goes by.
      const Ixo::IxoPortList before = made->unitDataIs( 0U )->sessionSrcIntfList();
      for ( const Ixo::IxoPortList& each : { list, before, list } ) {
         ASSERT_EQ( updatePorts( made, each ), ok );
         Zol::activityManager().runUntilIdle();
         probe();
      }
      ASSERT_EQ( helper->commitAcl( *made, 0 ), ok );
      from = to;
      probe();
   }
   to = {};
   helper->withdrawAcl( *made );
   gate().observerIs( {} );
   EXPECT_GT( probes, 100 );
   EXPECT_EQ( remainsInTheEnd(), Strings() );
}

// --- Refusals --------------------------------------------------------------------------------

// Made by the chip, and reported as failed: nobody can name it.
bool isSecret( const Fault& fault ) {
   return fault.effect == Fault::Effect::done &&
         ( fault.call == SdkCall::bcm_field_group_create ||
               fault.call == SdkCall::bcm_field_entry_create ||
               fault.call == SdkCall::bcm_field_range_create );
}

TEST_P( TheAclHelper, MakesASubRuleAsAWholeOrNotAtAll ) {
   const Acl::RuleConfig wide = ipRule( Acl::RuleAction::deny, []( auto& filter ) {
      filter.srcIpIs( Plix::IpAddr( open ) );
      filter.srcIpMaskIs( Plix::IpAddr( ~0U ) );
      filter.srcPortIs( { 1, 65534 } );
      filter.dstPortIs( { 7, 8 } );
   } );
   const AclPtr made = acl( "acl" );
   EveryRefusal every;
   every.setUp = [ & ] { return &gate(); };
   every.act = [ & ]( const EveryRefusal::Refused& refused ) {
      const AclCreateError error = add( made, 0, wide );
      if ( !refused || refused->call == SdkCall::bcm_field_range_create ) {
         EXPECT_EQ( error, ok ) << "prefixes serve as well as a range checker";
      } else {
         EXPECT_EQ( error, hardware );
         EXPECT_EQ( helper->problem( 0, made->feature(), made->aclKey() ), hardware );
         EXPECT_TRUE( made->unitDataIs( 0U )->entries().all().empty() );
         EXPECT_EQ( remains(), Strings() );
      }
   };
   every.undo = [ & ] { helper->withdrawAcl( *made ); };
   every.left = [ & ] { return remains(); };
   every.spares = isSecret;
   ASSERT_GT( every.ofItsCalls(), 15U );
   // An entry that the chip keeps although its rule has failed goes with the ACL.
   refuse( SdkCall::bcm_field_qualify_IpType );
   refuse( SdkCall::bcm_field_entry_destroy );
   EXPECT_EQ( add( made, 0, wide ), hardware );
   EXPECT_EQ( chip().entries.size(), 1U );
   ASSERT_EQ( add( made, 0, permit( open ) ), ok );
   helper->withdrawAcl( *made );
   EXPECT_EQ( remainsInTheEnd(), Strings() );
   // Neither are entries made that the chip has no room for.
   ASSERT_FALSE( box.control().capacityIs( 0, "ingress-entries", 3 ) );
   ASSERT_EQ( add( made, 1, permit( open ) ), ok );
   EXPECT_EQ( add( made, 2, rule( Acl::RuleAction::permit, 0, { 7, 12 } ) ), ok );
   EXPECT_EQ( add( made, 3, rule( Acl::RuleAction::permit, 0, { 7, 8 } ) ), full );
   EXPECT_EQ( made->unitDataIs( 0U )->entries().all().size(), 2U );
   EXPECT_EQ( chip().entries.size(), 2U );
}

TEST_P( TheAclHelper, LeavesNothingInstalledByARefusedCommitAndCanDoItAgain ) {
   const auto ports = intfs( { intf( 1 ), intf( 2 ) } );
   const auto before = intfs( { intf( 2 ), intf( 3 ) } );
   const AclPtr made = mirroringAcl( "acl", shieldingRules(), before );
   EveryRefusal every;
   every.setUp = [ & ] {
      EXPECT_EQ( apply( made, before ), ok );
      Zol::activityManager().advance( 3 ); // the classes are as they were at first
      return &gate();
   };
   every.act = [ & ]( const EveryRefusal::Refused& refused ) {
      if ( !refused ) {
         EXPECT_EQ( apply( made, ports ), ok );
         return;
      }
      gate().observerIs( [ this ]( const ChipModel::CallInfo& ) {
         for ( int port = 1; port <= 3; ++port ) {
            ASSERT_FALSE( mirrors( port, shielded ) );
         }
      } );
      if ( updatePorts( made, ports ) == ok ) {
         EXPECT_EQ( helper->commitAcl( *made, 0 ), hardware );
         EXPECT_EQ( installed(), 0U );
         EXPECT_FALSE( made->unitDataIs( 0U )->committed() );
      } else {
         EXPECT_TRUE( mirrors( 3, open ) ); // what was committed stays until the next time
      }
      EXPECT_EQ( helper->problem( 0, made->feature(), made->aclKey() ), hardware );
   };
   every.undo = [ & ] {
      EXPECT_EQ( helper->commitAcl( *made, 0 ), ok );
      EXPECT_EQ( helper->problem( 0, made->feature(), made->aclKey() ), ok );
      EXPECT_TRUE( mirrors( 1, open ) && mirrors( 2, open ) && !mirrors( 3, open ) );
   };
   every.left = [] { return Strings(); };
   every.ofItsCalls();
   helper->withdrawAcl( *made );
   EXPECT_EQ( remainsInTheEnd(), Strings() );
}

TEST_P( TheAclHelper, TakesAwayLaterWhatTheChipKeepsAndMirrorsNothingByIt ) {
   const auto ports = intfs( { intf( 1 ), intf( 2 ) } );
   AclPtr made;
   EveryRefusal every;
   every.setUp = [ & ] {
      made = mirroringAcl( "acl", shieldingRules(), ports );
      return &gate();
   };
   every.act = [ & ]( const auto& ) {
      helper->withdrawAcl( *made );
      helper->withdrawAcl( *made ); // is withdrawn already
      EXPECT_FALSE( mirrors( 1, shielded ) );
      Zol::activityManager().advance( 3 );
   };
   every.left = [ & ] { return remains(); };
   every.ofItsCalls();
   made = mirroringAcl( "acl", shieldingRules(), ports );
   gate().faultAdd( { .call = SdkCall::bcm_field_group_destroy, .last = 3 } );
   helper->withdrawAcl( *made );
   EXPECT_EQ( chip().groups.size(), 1U );
   EXPECT_EQ( remainsInTheEnd(), Strings() );
   // Meanwhile the same ACL may be made anew.
   made = mirroringAcl( "acl", shieldingRules(), ports );
   refuseAll( SdkCall::bcm_field_entry_destroy );
   helper->withdrawAcl( *made );
   EXPECT_FALSE( mirrors( 1, open ) ) << "what cannot go matches no more";
   made = mirroringAcl( "acl", shieldingRules(), intfs( { intf( 3 ) } ) );
   gate().faultsDelAll();
   Zol::activityManager().advance( 3 );
   EXPECT_TRUE( !mirrors( 1, open ) && mirrors( 3, open ) );
}

TEST_P( TheAclHelper, UsesAgainAGroupWithAnEntryThatNobodyCanName ) {
   AclPtr made = acl( "acl" );
   refuse( SdkCall::bcm_field_entry_create, 1, Fault::Effect::done );
   EXPECT_EQ( add( made, 0, permit() ), hardware );
   helper->withdrawAcl( *made );
   ASSERT_EQ( chip().groups.size(), 1U );
   for ( int round = 0; round < 3; ++round ) {
      made = mirroringAcl( "acl", shieldingRules(), intfs( { intf( 1 ) } ) );
      EXPECT_TRUE( mirrors( 1, open ) );
      EXPECT_EQ( chip().groups.size(), 1U );
      helper->withdrawAcl( *made );
      EXPECT_EQ( chip().entries.size(), 1U );
   }
   const uint64_t calls = gate().calls();
   Zol::activityManager().advance( 10 );   // it is not asked for in vain
   EXPECT_LE( gate().calls(), calls + 2 ); // the class leaves its port
}

TEST_P( TheAclHelper, SaysWhatRanOut ) {
   const AclPtr made = acl( "acl" );
   std::vector< AclPtr > others;
   while ( chip().groups.size() < static_cast< size_t >( profile.groupsPerStage ) ) {
      others.push_back( acl( "other" + std::to_string( others.size() ) ) );
      ASSERT_EQ( add( others.back(), 0, permit() ), ok );
   }
   EXPECT_EQ( add( made, 0, permit() ), full );
   helper->withdrawAcl( *others.back() );
   EXPECT_EQ( add( made, 0, permit() ), ok );
   if ( !profile.aclGroup ) {
      return;
   }
   const Zol::Ptr< PortClassManager > classes = groups->portClasses( 0 );
   uint32_t bit = 0;
   for ( int i = 0; i < profile.portClassBits; ++i ) {
      bit = classes->acquire( {}, Karvel::ClassSharing::exclusive ).bit;
   }
   EXPECT_EQ( updatePorts( made, intfs( { intf( 1 ) } ) ), full );
   EXPECT_EQ( helper->commitAcl( *made, 0 ), full );
   EXPECT_EQ( installed(), 0U );
   classes->release( bit );
   EXPECT_EQ( helper->commitAcl( *made, 0 ), ok );
   EXPECT_EQ( installed(), 1U );
}

TEST_P( TheAclHelper, KnowsTheLiveAclsAndTheLastErrorOfEach ) {
   AclPtr first = acl( "first" );
   const AclPtr second = acl( "second", Acl::ipv6(), 2 );
   ASSERT_EQ( helper->acls().size(), 2U );
   EXPECT_EQ( helper->acls()[ 1 ], second );
   refuse( SdkCall::bcm_field_entry_name_set );
   EXPECT_EQ( add( first, 0, permit() ), hardware );
   const auto problem = [ & ]( const Zol::String& name, uint8_t feature ) {
      return helper->problem( 0, KarvelAclFeature( feature ), { name, Acl::ip() } );
   };
   first = nullptr;
   EXPECT_EQ( helper->acls().size(), 1U );
   EXPECT_EQ( problem( "first", 1 ), hardware ); // whoever gave up has taken it back
   EXPECT_EQ( problem( "first", 2 ), ok );
   first = acl( "first" );
   EXPECT_EQ( problem( "first", 1 ), ok );

   const EmbeddedAclHelper& asked = *helper;
   Zol::Ptr< Zol::EntitySm > machine = Zol::make< Zol::EntitySm >();
   const auto isBuilt = [ & ] {
      return asked.mirroringKarvelAclTypeDirectionFeatureSmHas(
            Acl::ip(), Acl::AclDirection::in, KarvelAclFeature( 1 ) );
   };
   EXPECT_FALSE( isBuilt() );
   helper->setMirroringKarvelAclTypeDirectionFeatureSm(
         Acl::ip(), Acl::AclDirection::in, KarvelAclFeature( 1 ), *machine );
   EXPECT_TRUE( isBuilt() );
   helper->clearMirroringKarvelAclTypeDirectionFeatureSm(
         Acl::ip(), Acl::AclDirection::in, KarvelAclFeature( 1 ), *machine );
   EXPECT_FALSE( isBuilt() );
}

INSTANTIATE_TEST_SUITE_P( Chips, TheAclHelper, ::testing::Values( "trident3", "trident2" ),
      []( const auto& name ) { return std::string( name.param ); } );

} // namespace
} // namespace AgentServices::Test
