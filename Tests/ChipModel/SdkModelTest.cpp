// The SDK's calls: strictness, the gate with its faults and observers, and reading back.

#include <functional>
#include <limits>

#include "Tests/ChipModel/SwitchFixture.h"

namespace ChipModel::Test {

namespace {

using Effect = Fault::Effect;
using Destination = MirrorDestination;

class SdkModelTest : public ChipTest {
 protected:
   Gate& gate() { return box_.control().gate(); }

   int newGroup( int priority = 0 ) {
      QualifierSet set;
      set.set( static_cast< size_t >( Qualifier::drop ) );
      int id = -1;
      ok( sdk().bcm_field_group_create( 0, FieldStage::ingress, set, priority, &id ) );
      return id;
   }
   int newEntry( int in, const char* name = "" ) {
      int id = -1;
      ok( sdk().bcm_field_entry_create( 0, in, &id ) );
      ok( sdk().bcm_field_entry_name_set( 0, id, name ) );
      ok( sdk().bcm_field_action_add( 0, id, FieldAction::mirrorIngress, 0, 1 ) );
      return id;
   }
};

// The call to a unit, with nothing for its other arguments.
template < typename... Args >
std::function< Rc( Sdk&, int ) > callOf( Rc ( Sdk::*method )( int, Args... ) ) {
   return [ method ]( Sdk& sdk, int unit ) {
      return ( sdk.*method )( unit, std::remove_cvref_t< Args >{}... );
   };
}
// Calls of logical entries' handles, which know their unit.
template < typename... Args >
std::function< Rc( Sdk&, int ) > callOf( Rc ( Sdk::* )( bcmlt_entry_handle_t, Args... ) ) {
   return {};
}

TEST_F( SdkModelTest, EveryCallPassesTheGateUnderItsNameAndWantsAKnownUnit ) {
#define CALL( name ) callOf( &Sdk::name ),
#define QUALIFY( qualifier, name, ... ) callOf( &Sdk::bcm_field_qualify_##name ),
   const std::vector< std::function< Rc( Sdk&, int ) > > calls{ CHIP_MODEL_SDK_CALLS(
         CALL, QUALIFY ) };
#undef CALL
#undef QUALIFY
   constexpr int unknown = 5;
   for ( size_t i = 0; i < calls.size(); ++i ) {
      const auto name = static_cast< SdkCall >( i );
      if ( calls[ i ] ) {
         const uint64_t all = gate().calls();
         const uint64_t ofName = gate().calls( name );
         EXPECT_EQ( calls[ i ]( sdk(), unknown ), badUnit ) << sdkCallName( name );
         EXPECT_EQ( gate().calls(), all + 1 );
         EXPECT_EQ( gate().calls( name ), ofName + 1 ) << sdkCallName( name );
      }
      EXPECT_EQ( sdkCallByName( sdkCallName( name ) ), name );
   }
   EXPECT_TRUE( sdk().QX_SOC_IS_TOMAHAWKX( 0 ) );
   EXPECT_FALSE( sdk().QX_SOC_IS_TOMAHAWKX( unknown ) );
}

TEST_F( SdkModelTest, WrongArgumentsAreErrorsAndChangeNothing ) {
   vlan( 10, { 1, 2 } );
   trunk( 3, { 1, 2 } );
   trunk( 4, {} );
   destination( 1, 7 );
   station( mac( 1 ), 10, 2 );
   const int group = newGroup();
   const int entry = newEntry( group );
   Sdk& s = sdk();
   const std::vector< int > nine{ 1, 2, 3, 4, 5, 6, 7, 8, 9 };
   const auto members = [ & ]( int id, std::vector< int > ports ) {
      return s.bcm_trunk_members_set( 0, id, ports.data(), static_cast< int >( ports.size() ) );
   };
   const auto l2 = [ & ]( const Bytes& at, uint16_t vid, bool isTrunk, int to ) {
      return s.bcm_l2_addr_add( 0, { address( at ), vid, isTrunk, to, true } );
   };
   const auto bits = bitmap( { 1 } );
   const ChipState before = state();
   struct Case {
      const char* what;
      Rc rc;
      Rc expected;
   };
   const std::vector< Case > cases{
      { "port -1", s.bcm_port_enable_set( 0, -1, true ), badPort },
      { "port 65", s.bcm_port_enable_set( 0, 65, true ), badPort },
      { "class port", s.bcm_port_class_set( 0, 256, 0 ), badPort },
      { "class bits", s.bcm_port_class_set( 0, 1, 0x1000 ), param },
      { "untagged port", s.bcm_port_untagged_vlan_set( 0, 65, 1 ), badPort },
      { "untagged vid", s.bcm_port_untagged_vlan_set( 0, 1, 4095 ), param },
      { "vid 0", s.bcm_vlan_create( 0, 0 ), param },
      { "vid 4095", s.bcm_vlan_create( 0, 4095 ), param },
      { "vid 65535", s.bcm_vlan_create( 0, 65535 ), param },
      { "vlan again", s.bcm_vlan_create( 0, 10 ), exists },
      { "no vlan", s.bcm_vlan_destroy( 0, 11 ), notFound },
      { "add, no vlan", s.bcm_vlan_port_add( 0, 11, bits, {} ), notFound },
      { "add, port", s.bcm_vlan_port_add( 0, 10, bitmap( { 3, 65 } ), {} ), badPort },
      { "add, untagged", s.bcm_vlan_port_add( 0, 10, bitmap( { 3 } ), bits ), param },
      { "del, vid", s.bcm_vlan_port_remove( 0, 4095, bits ), param },
      { "del, member", s.bcm_vlan_port_remove( 0, 10, bitmap( { 1, 3 } ) ), notFound },
      { "trunk -1", s.bcm_trunk_create( 0, -1 ), param },
      { "trunk 16", s.bcm_trunk_create( 0, 16 ), param },
      { "trunk again", s.bcm_trunk_create( 0, 3 ), exists },
      { "no trunk", s.bcm_trunk_destroy( 0, 5 ), notFound },
      { "members, no trunk", members( 5, { 5 } ), notFound },
      { "member taken", members( 4, { 5, 1 } ), exists },
      { "member twice", members( 4, { 5, 5 } ), param },
      { "member CPU", members( 4, { 0 } ), badPort },
      { "member 65", members( 4, { 5, 65 } ), badPort },
      { "nine members", members( 4, nine ), Sdk::QX_BCM_E_FULL() },
      { "null members", s.bcm_trunk_members_set( 0, 4, nullptr, 1 ), param },
      { "count -1", s.bcm_trunk_members_set( 0, 4, nine.data(), -1 ), param },
      { "l2 again", l2( mac( 1 ), 10, false, 3 ), exists },
      { "l2 vid", l2( mac( 2 ), 0, false, 3 ), param },
      { "l2 group", l2( Bytes{ 1, 0, 0x5e, 0, 0, 9 }, 10, false, 3 ), param },
      { "l2 port", l2( mac( 2 ), 10, false, 65 ), badPort },
      { "l2 trunk", l2( mac( 2 ), 10, true, 5 ), notFound },
      { "no l2", s.bcm_l2_addr_delete( 0, address( mac( 1 ) ), 11 ), notFound },
      { "no l2, vid", s.bcm_l2_addr_delete( 0, address( mac( 1 ) ), 4095 ), param },
      { "learned, vid", s.bcm_l2_addr_delete_by_vlan_port( 0, 4095, 3 ), param },
      { "learned, port", s.bcm_l2_addr_delete_by_vlan_port( 0, 10, 65 ), badPort },
      { "learned, trunk", s.bcm_l2_addr_delete_by_vlan_trunk( 0, 10, 5 ), notFound },
      { "mirror 4", s.bcm_mirror_destination_set( 0, 4, {} ), param },
      { "mirror -1", s.bcm_mirror_destination_set( 0, -1, {} ), param },
      { "mirror port", s.bcm_mirror_destination_set( 0, 1, { Destination::Kind::port, 65 } ),
            badPort },
      { "mirror trunk", s.bcm_mirror_destination_set( 0, 1, { Destination::Kind::trunk, 5 } ),
            notFound },
      { "no mirror", s.bcm_mirror_destination_destroy( 0, 0 ), notFound },
      { "no mirror 9", s.bcm_mirror_destination_destroy( 0, 9 ), param },
      { "null group", s.bcm_field_group_create( 0, FieldStage::ingress, {}, 0, nullptr ),
            param },
      { "null status", s.bcm_field_group_status_get( 0, group, nullptr ), param },
      { "null entry", s.bcm_field_entry_create( 0, group, nullptr ), param },
      { "null name", s.bcm_field_entry_name_set( 0, entry, nullptr ), param },
      { "null param",
            s.bcm_field_action_get( 0, entry, FieldAction::mirrorIngress, nullptr, nullptr ),
            param },
      { "no entry", s.bcm_field_entry_install( 0, entry + 100 ), notFound },
   };
   for ( const Case& c : cases ) {
      EXPECT_EQ( c.rc, c.expected ) << c.what;
   }
   EXPECT_EQ( differences( before, state() ), std::vector< std::string >{} );
   // The next to them is right.
   EXPECT_EQ( s.bcm_vlan_create( 0, 4094 ), none );
   EXPECT_EQ( s.bcm_port_class_set( 0, 64, 0xfff ), none );
   EXPECT_EQ( members( 4, { 64, 3 } ), none );
   EXPECT_EQ( s.bcm_trunk_create( 0, 15 ), none );
   ok( s.bcm_trunk_destroy( 0, 3 ) );
   EXPECT_EQ( members( 4, { 1 } ), none ); // free again
}

TEST_F( SdkModelTest, FaultsRefuseTheCallsTheyName ) {
   constexpr Rc timeout = Sdk::QX_BCM_E_TIMEOUT();
   const auto results = [ this ]( int calls ) {
      std::vector< Rc > codes;
      for ( int i = 0; i < calls; ++i ) {
         codes.push_back( sdk().bcm_port_enable_set( 0, 9, true ) );
         EXPECT_EQ( sdk().bcm_port_untagged_vlan_set( 0, 9, 0 ), none );
      }
      return codes;
   };
   using Codes = std::vector< Rc >;
   Fault fault{ .call = SdkCall::bcm_port_enable_set, .first = 2, .last = 3 };
   gate().faultAdd( fault );
   EXPECT_EQ( results( 3 ), ( Codes{ none, fail, fail } ) );
   EXPECT_EQ( gate().faults(), 0u ); // it has passed
   EXPECT_EQ( results( 2 ), ( Codes{ none, none } ) );

   fault.rc = timeout;
   fault.last = Fault::forever;
   const int standing = gate().faultAdd( fault );
   EXPECT_EQ( results( 3 ), ( Codes{ none, timeout, timeout } ) );
   // The older fault decides; the younger counts on.
   gate().faultAdd( { .call = SdkCall::bcm_port_enable_set, .first = 2, .last = 3 } );
   EXPECT_EQ( results( 2 ), ( Codes{ timeout, timeout } ) );
   EXPECT_TRUE( gate().faultRemove( standing ) );
   EXPECT_FALSE( gate().faultRemove( standing ) );
   EXPECT_EQ( results( 2 ), ( Codes{ fail, none } ) );
   EXPECT_EQ( gate().refused(), 7u );

   // Any kind of call.
   gate().faultAdd( { .first = 2, .last = 2 } );
   EXPECT_EQ( sdk().bcm_vlan_create( 0, 10 ), none );
   EXPECT_EQ( sdk().bcm_trunk_create( 0, 3 ), fail );
   EXPECT_EQ( sdk().bcm_trunk_create( 0, 3 ), none );
   gate().faultAdd( { .last = Fault::forever } );
   gate().faultsDelAll();
   EXPECT_EQ( results( 1 ), ( Codes{ none } ) );
}

TEST_F( SdkModelTest, ARefusedCallIsDoneOrNotAsTheFaultSays ) {
   const int group = newGroup();
   int id = -1;
   const auto create = [ & ]( Effect effect ) {
      gate().faultAdd( { .call = SdkCall::bcm_field_entry_create, .effect = effect } );
      return sdk().bcm_field_entry_create( 0, group, &id );
   };
   EXPECT_EQ( create( Effect::notDone ), fail );
   EXPECT_EQ( state().entries.size(), 0u );
   EXPECT_EQ( create( Effect::done ), fail );
   EXPECT_EQ( state().entries.size(), 1u );
   EXPECT_EQ( id, -1 ); // the caller was not told of it
   const int entry = newEntry( group );
   uint32_t params[] = { 77, 77 };
   gate().faultAdd( { .call = SdkCall::bcm_field_action_get, .effect = Effect::done } );
   const auto get = [ & ]( FieldAction action ) {
      return sdk().bcm_field_action_get( 0, entry, action, &params[ 0 ], &params[ 1 ] );
   };
   EXPECT_EQ( get( FieldAction::mirrorIngress ), fail );
   EXPECT_EQ( get( FieldAction::drop ), notFound );
   EXPECT_EQ( params[ 0 ] + params[ 1 ], 154u );
   EXPECT_EQ( get( FieldAction::mirrorIngress ), none );
   EXPECT_EQ( params[ 0 ] * 10 + params[ 1 ], 1u );
   // What fails by itself tells why.
   gate().faultAdd( { .call = SdkCall::bcm_vlan_create, .effect = Effect::done } );
   EXPECT_EQ( sdk().bcm_vlan_create( 0, 0 ), param );
}

TEST_F( SdkModelTest, AnObserverSeesTheChipBeforeEachCall ) {
   vlan( 10, {}, { 1, 2 } );
   std::vector< std::string > seen;
   const uint64_t before = gate().calls();
   gate().observerIs( [ & ]( const CallInfo& info ) {
      seen.push_back( std::to_string( info.number - before ) + " " +
            std::string( sdkCallName( info.call ) ) + " " +
            leaves( 1, frame( broadcast, mac( 1 ) ) ) );
      // An observer's own calls are numbered, and not told to it.
      ok( sdk().bcm_port_enable_set( 0, 9, true ) );
   } );
   ok( sdk().bcm_vlan_port_remove( 0, 10, bitmap( { 2 } ) ) );
   gate().faultAdd( { .call = SdkCall::bcm_vlan_destroy } );
   EXPECT_EQ( sdk().bcm_vlan_destroy( 0, 10 ), fail );
   const std::vector< std::string > expected{ "1 bcm_vlan_port_remove 2",
      "3 bcm_vlan_destroy " };
   EXPECT_EQ( seen, expected );
   // It may replace itself, and throw: the call then does not take place.
   gate().observerIs( [ & ]( const CallInfo& ) {
      gate().observerIs( {} );
      seen.clear();
      throw std::runtime_error( "killed" );
   } );
   EXPECT_THROW( sdk().bcm_vlan_destroy( 0, 10 ), std::runtime_error );
   EXPECT_TRUE( seen.empty() );
   EXPECT_EQ( sdk().bcm_vlan_destroy( 0, 10 ), none );
}

TEST_F( SdkModelTest, EveryDifferenceBetweenTwoReadBacksIsNamed ) {
   vlan( 10, { 3 }, { 1, 2 } );
   trunk( 3, { 4, 5 } );
   destination( 1, 7 );
   const int group = newGroup();
   const int entry = newEntry( group, "rule" );
   const auto change = [ this ]( const std::function< Rc() >& call,
                             ReadBackScope scope = ReadBackScope::programmed ) {
      const ChipState before = state();
      ok( call() );
      EXPECT_EQ( differences( state(), state(), scope ).size(), 0u );
      std::string text;
      for ( const std::string& each : differences( before, state(), scope ) ) {
         text += ( text.empty() ? "" : "; " ) + each;
      }
      return text;
   };
   Sdk& s = sdk();
   const std::string inGroup = "group " + std::to_string( group );
   const std::string inEntry = "entry " + std::to_string( entry );
   EXPECT_EQ( change( [ & ] { return s.bcm_port_enable_set( 0, 8, false ); } ),
         "port 8 enabled: yes before, no after" );
   EXPECT_EQ( change( [ & ] { return s.bcm_port_class_set( 0, 8, 0x12 ); } ),
         "port 8 class bits: 0x0 before, 0x12 after" );
   EXPECT_EQ( change( [ & ] { return s.bcm_vlan_port_remove( 0, 10, bitmap( { 2 } ) ); } ),
         "VLAN 10 members: 1,2,3 before, 1,3 after; VLAN 10 untagged: 1,2 before, 1 "
         "after" );
   const int swapped[] = { 5, 4 };
   EXPECT_EQ( change( [ & ] { return s.bcm_trunk_members_set( 0, 3, swapped, 2 ); } ),
         "trunk 3 members: 4,5 before, 5,4 after" );
   const L2Addr added{ address( mac( 1 ) ), 10, true, 3, true };
   EXPECT_EQ( change( [ & ] { return s.bcm_l2_addr_add( 0, added ); } ),
         "address 02:00:00:00:00:01 VLAN 10: nothing before, trunk 3 static after" );
   EXPECT_EQ( change( [ & ] { return s.bcm_field_qualify_Drop( 0, entry, 1, 1 ); } ),
         "entry 'rule' Drop: nothing before, 0x1/0x1 after" );
   EXPECT_EQ( change( [ & ] { return s.bcm_field_entry_install( 0, entry ); },
                    ReadBackScope::everything ),
         inGroup + " installed: 0 before, 1 after; " + inEntry +
               " installed: no before, yes after; " + inEntry +
               " modified: yes before, no after" );
   EXPECT_EQ( change( [ & ] { return s.bcm_field_entry_prio_set( 0, entry, 4 ); },
                    ReadBackScope::everything ),
         inEntry + " priority: 0 before, 4 after; " + inEntry +
               " modified: no before, yes after" );
   EXPECT_EQ( change( [ & ] {
      return s.bcm_field_action_remove( 0, entry, FieldAction::mirrorIngress );
   } ),
         "entry 'rule' actions: mirror ingress unit 0 destination 1 before, none after" );
}

TEST_F( SdkModelTest, TheProgrammedScopeIsWhatAgentsWroteAndNothingElse ) {
   vlan( 10, {}, { 1, 2 } );
   const auto program = [ this ] {
      const int group = newGroup( 3 );
      std::vector< int > entries{ newEntry( group, "a" ), newEntry( group, "b" ) };
      ok( sdk().bcm_field_entry_install( 0, entries[ 0 ] ) );
      entries.push_back( group );
      return entries;
   };
   const std::vector< int > ids = program();
   const ChipState before = state();
   ok( sdk().bcm_field_entry_destroy( 0, ids[ 0 ] ) );
   ok( sdk().bcm_field_entry_destroy( 0, ids[ 1 ] ) );
   ok( sdk().bcm_field_group_destroy( 0, ids[ 2 ] ) );
   EXPECT_FALSE( differences( before, state(), ReadBackScope::programmed ).empty() );
   program(); // with other ids
   receive( 1, frame( broadcast, mac( 1 ) ) );
   const ChipState after = state();
   EXPECT_EQ( differences( before, after, ReadBackScope::programmed ).size(), 0u );
   EXPECT_EQ( differences( before, after ).size(), 10u ); // the limit
   const size_t all = differences( before, after, ReadBackScope::everything, 1000 ).size();
   EXPECT_GT( all, 10u );
}

TEST_F( SdkModelTest, ControlRefusesWhatDoesNotExistInOneLine ) {
   Control& control = box_.control();
   EXPECT_EQ( control.inject( 3, 1, {} ), "unit 3: no such chip" );
   EXPECT_EQ( control.inject( 0, 65, {} ), "port 65: unit 0 has ports 0 to 64" );
   EXPECT_EQ( control.capacityIs( 0, "entries", 1 ),
         "capacity 'entries': unknown; allowed: ingress-entries, egress-entries, policers" );
   EXPECT_EQ( control.capacityIs( 0, "egress-entries", -1 ),
         "egress-entries: -1 is not within 0 to 1000000" );
   EXPECT_EQ( control.capacityIs( 0, "ingress-entries", 1 ), std::nullopt );
   EXPECT_EQ( state().ingressEntries, 1 );
}

} // namespace

} // namespace ChipModel::Test
