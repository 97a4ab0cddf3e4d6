// Groups and entries: strictness, room, ids, when a change is seen by packets, and why entries do
// not win.

#include "ChipModel/Fields/FieldProcessor.h"

#include <limits>
#include <set>

#include "Tests/ChipModel/FieldFixture.h"

namespace ChipModel::Test {

namespace {

class FieldProcessorTest : public FieldTest {
 protected:
   int made( int in ) {
      int id = -1;
      ok( s.bcm_field_entry_create( 0, in, &id ) );
      return id;
   }
   // Whether an entry is asked and matches what comes in at a port.
   bool hits( int id, int port, const Bytes& bytes ) {
      const uint64_t before = view( id ).packets;
      receive( port, bytes );
      return view( id ).packets > before;
   }

   Sdk& s = sdk();
};

TEST_F( FieldProcessorTest, UnknownIdsAreNotFound ) {
   const int destroyed = made( newGroup() );
   ok( s.bcm_field_entry_destroy( 0, destroyed ) );
   for ( const int id : { destroyed, 0, -1, 999'999, std::numeric_limits< int >::min() } ) {
      std::vector< Rc > codes{ s.bcm_field_entry_destroy( 0, id ),
         s.bcm_field_entry_install( 0, id ), s.bcm_field_entry_remove( 0, id ),
         s.bcm_field_entry_prio_set( 0, id, 1 ), s.bcm_field_entry_name_set( 0, id, "x" ),
         s.bcm_field_qualify_InPorts( 0, id, {}, {} ), s.bcm_field_qualify_Drop( 0, id, 1, 1 ),
         s.bcm_field_qualifier_delete( 0, id, Qualifier::drop ),
         s.bcm_field_action_add( 0, id, FieldAction::mirrorIngress, 0, 0 ),
         s.bcm_field_action_remove( 0, id, FieldAction::mirrorIngress ) };
      if ( id != destroyed ) { // group ids count for themselves
         FieldGroupStatus status;
         int other = 0;
         codes.push_back( s.bcm_field_group_destroy( 0, id ) );
         codes.push_back( s.bcm_field_group_status_get( 0, id, &status ) );
         codes.push_back( s.bcm_field_entry_create( 0, id, &other ) );
      }
      EXPECT_EQ( codes, std::vector< Rc >( codes.size(), notFound ) ) << id;
   }
}

TEST_F( FieldProcessorTest, WhatDoesNotFitIsRefusedAndChangesNothing ) {
   const QualifierSet set = only( { Qualifier::dstPort, Qualifier::dstTrunk,
         Qualifier::portClass, Qualifier::outerVlanId } );
   int group = newGroup( set );
   const int id = installed( with( newEntry( group, FieldAction::mirrorIngress, 0, 3 ),
         &Sdk::bcm_field_qualify_OuterVlanId, 7, exact ) );
   const ChipState before = state();
   expectAll( param,
         { s.bcm_field_qualify_Drop( 0, id, 1, 1 ),
               s.bcm_field_qualify_InPorts( 0, id, {}, {} ),
               s.bcm_field_qualify_PortClass( 0, id, 0x1000, exact ), // 12 bits
               s.bcm_field_qualify_OuterVlanId( 0, id, 0x1000, exact ),
               s.bcm_field_qualify_DstTrunk( 0, id, -1, exact ),
               s.bcm_field_qualify_DstTrunk( 0, id, 256, 1 ),
               s.bcm_field_qualify_DstPort( 0, id, 256, 1, 1, exact ),
               s.bcm_field_qualify_DstPort( 0, id, 0, 0, 256, exact ),
               s.bcm_field_action_add( 0, id, FieldAction::mirrorEgress, 0, 4 ),
               s.bcm_field_action_add( 0, id, FieldAction{ 99 }, 0, 0 ),
               s.bcm_field_qualifier_delete( 0, id, Qualifier::count_ ) } );
   EXPECT_EQ( s.bcm_field_action_add( 0, id, FieldAction::mirrorIngress, 0, 1 ), exists );
   expectAll( notFound,
         { s.bcm_field_action_remove( 0, id, FieldAction::mirrorEgress ),
               s.bcm_field_qualifier_delete( 0, id, Qualifier::dstTrunk ) } );
   EXPECT_EQ( differences( before, state() ), std::vector< std::string >() );
   EXPECT_EQ( s.bcm_field_group_destroy( 0, group ), busy );
   ok( s.bcm_field_entry_destroy( 0, id ) ); // installed or not
   ok( s.bcm_field_group_destroy( 0, group ) );
   box_.addChip( 1, *chipProfile( "trident2" ) ); // without port classes
   EXPECT_EQ( s.bcm_field_group_create( 1, FieldStage::ingress, set, 0, &group ), unavailable );
}

TEST_F( FieldProcessorTest, ChangesTakeEffectAtTheNextInstall ) {
   const int group = newGroup();
   const int a = installed( newEntry( group, FieldAction::mirrorIngressTo, 0 ), 1 );
   const int b = installed( newEntry( group, FieldAction::mirrorIngressTo, 1 ) );
   ok( s.bcm_field_entry_prio_set( 0, a, -1 ) );
   EXPECT_TRUE( view( a ).modified );
   EXPECT_EQ( leaves( 1, web_ ), "mi0>7 2 3" );
   ok( s.bcm_field_entry_install( 0, a ) );
   EXPECT_FALSE( view( a ).modified );
   EXPECT_EQ( leaves( 1, web_ ), "mi1>8 2 3" );
   // Changed, then taken out: comes back as changed.
   onPort( b, 80 );
   EXPECT_EQ( leaves( 1, dns_ ), "mi1>8 2 3" );
   ok( s.bcm_field_entry_remove( 0, b ) );
   EXPECT_EQ( s.bcm_field_entry_remove( 0, b ), notFound );
   EXPECT_EQ( leaves( 1, web_ ), "mi0>7 2 3" );
   ok( s.bcm_field_entry_install( 0, b ) );
   EXPECT_EQ( leaves( 1, web_ ), "mi1>8 2 3" );
   EXPECT_EQ( leaves( 1, dns_ ), "mi0>7 2 3" );
}

TEST_F( FieldProcessorTest, QualifiersCompareUnderTheirMaskAndNeedTheirField ) {
   const int id = newEntry( newGroup(), FieldAction::cosQCpuNew );
   const auto hit = [ & ]( int port, const Bytes& bytes ) {
      ok( s.bcm_field_entry_install( 0, id ) );
      return hits( id, port, bytes );
   };
   ok( s.bcm_field_qualify_InPorts( 0, id, bitmap( { 3, 4 } ), bitmap( { 4, 5 } ) ) );
   EXPECT_TRUE( hit( 4, web_ ) && !hit( 3, web_ ) && !hit( 5, web_ ) );
   ok( s.bcm_field_qualify_InPorts( 0, id, {}, ~PortBitmap() ) );
   EXPECT_FALSE( hit( 1, web_ ) );
   ok( s.bcm_field_qualify_InPorts( 0, id, bitmap( { 3 } ), {} ) );
   EXPECT_TRUE( hit( 6, web_ ) );
   ok( s.bcm_field_qualify_OuterVlanId( 0, id, 0, exact ) );
   EXPECT_FALSE( hit( 6, web_ ) ) << "a frame without a VLAN has no VLAN 0";
   ok( s.bcm_field_qualifier_delete( 0, id, Qualifier::outerVlanId ) );
   ok( s.bcm_field_qualify_OuterVlanPriority( 0, id, 0, 7 ) );
   EXPECT_FALSE( hit( 6, web_ ) ) << "and no priority";
   ok( s.bcm_field_qualifier_delete( 0, id, Qualifier::outerVlanPriority ) );

   ok( s.bcm_port_class_set( 0, 1, 0xe01 ) );
   ok( s.bcm_field_qualify_PortClass( 0, id, 0x200, 0x300 ) );
   EXPECT_TRUE( hit( 1, web_ ) && !hit( 2, web_ ) );
   ok( s.bcm_port_class_set( 0, 1, 0xf01 ) );
   EXPECT_FALSE( hit( 1, web_ ) );
   ok( s.bcm_field_qualifier_delete( 0, id, Qualifier::portClass ) );

   ok( s.bcm_field_qualify_DstTrunk( 0, id, 0, exact ) );
   EXPECT_FALSE( hit( 1, web_ ) );
   trunk( 0, { 3 } );
   EXPECT_TRUE( hit( 1, web_ ) );
}

TEST_F( FieldProcessorTest, AStageIsFullForAllItsGroupsUntilEntriesGoOrCapacityGrows ) {
   const int first = newGroup(), second = newGroup();
   const int other = newGroup( 0, FieldStage::egress );
   const auto room = [ & ]( const char* what, int entries ) {
      ASSERT_FALSE( box_.control().capacityIs( 0, what, entries ) );
   };
   room( "ingress-entries", 3 );
   const int a = made( first ), b = made( first );
   made( second );
   int id = 77;
   EXPECT_EQ( s.bcm_field_entry_create( 0, second, &id ), noRoom );
   EXPECT_EQ( id, 77 );
   made( other );                // the other stage has its own
   room( "ingress-entries", 1 ); // below use: those that exist stay and work
   EXPECT_TRUE( hits( installed( a ), 1, web_ ) );
   FieldGroupStatus status;
   ok( s.bcm_field_group_status_get( 0, first, &status ) );
   EXPECT_EQ( std::pair( status.entriesUsed, status.entriesFree ), std::pair( 2, 0 ) );
   ok( s.bcm_field_entry_destroy( 0, b ) );
   EXPECT_EQ( s.bcm_field_entry_create( 0, first, &id ), noRoom );
   room( "ingress-entries", 65536 );
   made( first );
   ok( s.bcm_field_group_status_get( 0, second, &status ) );
   EXPECT_EQ( std::pair( status.entriesUsed, status.entriesFree ), std::pair( 1, 65536 - 3 ) );

   int groups = 2;
   while ( s.bcm_field_group_create( 0, FieldStage::ingress, {}, 0, &id ) == 0 ) {
      ++groups;
   }
   EXPECT_EQ( groups, testProfile().groupsPerStage );
   EXPECT_EQ( s.bcm_field_group_create( 0, FieldStage::ingress, {}, 0, &id ), noRoom );
   newGroup( 0, FieldStage::egress );
}

TEST_F( FieldProcessorTest, IdsAreNeverUsedAgain ) {
   const int groups[] = { newGroup(), newGroup( 0, FieldStage::egress ) };
   std::set< int > seen;
   for ( int i = 0; i < 3000; ++i ) {
      const int id = made( groups[ i % 2 ] );
      EXPECT_TRUE( seen.insert( id ).second );
      ok( s.bcm_field_entry_name_set( 0, id, "a name that is too long for a small buffer" ) );
      ok( s.bcm_field_entry_prio_set( 0, id, 4 ) );
      ok( s.bcm_field_entry_destroy( 0, id ) );
   }
   const EntryView fresh = view( made( groups[ 0 ] ) );
   EXPECT_EQ( fresh.name + std::to_string( fresh.priority ), "0" );
   EXPECT_FALSE( fresh.installed || fresh.modified );
   const int last = newGroup();
   ok( s.bcm_field_group_destroy( 0, last ) );
   EXPECT_GT( newGroup(), last );
}

// A flooded frame is looked up once, or once per copy where the group looks at destinations.
TEST_F( FieldProcessorTest, AGroupIsDestinationBoundWhileAnInstalledEntryIs ) {
   const int group = newGroup();
   const int plain = installed( newEntry( group, FieldAction::mirrorEgress ) );
   const int bound = newEntry( group, FieldAction::cosQCpuNew );
   toChipPort( bound, 50 );
   const auto askedAs = [ & ]( bool isBound ) {
      const uint64_t before = view( plain ).packets;
      receive( 1, web_ );
      EXPECT_EQ( view( plain ).packets - before, isBound ? 2U : 1U );
   };
   askedAs( false ); // qualified, but not installed
   installed( bound, -1 );
   askedAs( true );
   ok( s.bcm_field_qualifier_delete( 0, bound, Qualifier::dstPort ) );
   askedAs( true ); // not before the install
   installed( bound, -1 );
   askedAs( false );
   ok( s.bcm_field_qualify_DstTrunk( 0, bound, 4, 0 ) );
   installed( bound, -1 );
   askedAs( false ); // a mask of zero does not look at the destination
   ok( s.bcm_field_qualify_DstTrunk( 0, bound, 4, exact ) );
   installed( bound, -1 );
   ok( s.bcm_field_qualifier_delete( 0, bound, Qualifier::dstTrunk ) );
   askedAs( true );
   ok( s.bcm_field_entry_destroy( 0, bound ) );
   askedAs( false );
}

// A miss is judged by what packets see, not by what was written since.
TEST_F( FieldProcessorTest, MissesAreOfTheInstalledContents ) {
   const int group = newGroup();
   const int entry = fromPort( group, 2, FieldAction::drop );
   onPort( entry, 80 );
   installed( entry );
   const int second = installed( newEntry( group, FieldAction::mirrorIngressTo, 0 ), -2 );
   const int third = installed( newEntry( group, FieldAction::mirrorIngressTo, 1 ), -2 );
   ok( sdk().bcm_field_qualify_OuterVlanId( 0, third, 5, 0 ) ); // looks at nothing
   installed( third, -2 );
   ok( sdk().bcm_field_qualifier_delete( 0, entry, Qualifier::inPorts ) );
   Explainer explainer( box_.chip( 0 )->fields(), group );
   box_.control().observerIs( &explainer );
   const auto told = [ & ]( int port ) {
      receive( port, web_ );
      std::ostringstream text;
      text << ( explainer.winner == entry ? "first:" : "second:" );
      for ( const EntryMiss& miss : explainer.misses() ) {
         const char* which = miss.entry == entry ? " first "
               : miss.entry == second            ? " second "
                                                 : " third ";
         text << which << ( miss.failed ? qualifierName( *miss.failed ) : "-" );
      }
      return text.str();
   };
   EXPECT_EQ( told( 1 ), "second: first InPorts third -" );
   EXPECT_EQ( told( 2 ), "first: second - third -" );
   installed( entry );
   EXPECT_EQ( told( 1 ), "first: second - third -" );
   ok( sdk().bcm_field_entry_remove( 0, second ) );
   ok( sdk().bcm_field_qualify_EtherType( 0, third, 1, exact ) );
   installed( third );
   receive( 1, web_ );
   EXPECT_EQ( explainer.misses().size(), 1u );
   EXPECT_EQ( explainer.misses().at( 0 ).failed, Qualifier::etherType );
}

} // namespace

} // namespace ChipModel::Test
