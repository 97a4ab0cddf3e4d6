#include "ChipModel/FieldProcessor.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "ChipModel/ChipProfile.h"
#include "ChipModel/FieldRules.h"

namespace {

using namespace ChipModel;
using Shim::FieldAction;
using Shim::FieldStage;
using Shim::PortBitmap;
using Shim::Qualifier;
using Shim::QualifierSet;
using Shim::Rc;
using Shim::Sdk;

constexpr FieldStage ingress = FieldStage::ingress;
constexpr FieldStage egress = FieldStage::egress;
constexpr uint32_t exact = 0xffffffff;
constexpr int unknown = 999999;

QualifierSet qualifiers( std::initializer_list< Qualifier > list ) {
   QualifierSet set;
   for ( Qualifier qualifier : list ) {
      set.set( static_cast< size_t >( qualifier ) );
   }
   return set;
}

PortBitmap ports( std::initializer_list< size_t > list ) {
   PortBitmap set;
   for ( size_t port : list ) {
      set.set( port );
   }
   return set;
}

const PortBitmap allPorts = PortBitmap().set();

LookupKey frame( uint32_t inPort, uint32_t vid = 0, uint32_t dstPort = 0 ) {
   LookupKey key;
   key.set( Key::inPort, inPort );
   if ( vid != 0 ) {
      key.set( Key::outerVlanId, vid );
      key.setValid( validOuterVlan );
   }
   if ( dstPort != 0 ) {
      key.set( Key::dstPort, dstPort );
      key.setValid( validDstPort );
   }
   return key;
}

class FieldProcessorTest : public testing::Test {
 protected:
   int group( FieldStage stage = ingress, int priority = 0 ) {
      return group( stage, priority, stageQualifiers( *chipProfile( "trident3" ), stage ) );
   }
   int group( FieldStage stage, int priority, QualifierSet set ) {
      int id = 0;
      EXPECT_EQ( fp.groupCreate( stage, set, priority, &id ), Sdk::QX_BCM_E_NONE() );
      return id;
   }
   int entry( int groupId ) {
      int id = 0;
      EXPECT_EQ( fp.entryCreate( groupId, &id ), Sdk::QX_BCM_E_NONE() );
      return id;
   }
   // An installed entry that mirrors what enters on a port.
   int mirrored( int groupId, size_t port, uint32_t destination = 0 ) {
      int id = entry( groupId );
      fp.qualifyInPorts( id, ports( { port } ), allPorts );
      fp.actionAdd( id, FieldAction::mirrorIngress, 0, destination );
      EXPECT_EQ( fp.entryInstall( id ), Sdk::QX_BCM_E_NONE() );
      return id;
   }
   std::vector< Match > matches( const LookupKey& key, FieldStage stage = ingress,
         FieldProcessor::GroupChoice choice = FieldProcessor::GroupChoice::destinationFree,
         size_t room = 8 ) {
      std::vector< Match > found( room );
      found.resize( static_cast< size_t >(
            fp.lookup( stage, choice, key, found.data(), static_cast< int >( room ) ) ) );
      return found;
   }
   std::vector< Match > boundMatches( const LookupKey& key ) {
      return matches( key, ingress, FieldProcessor::GroupChoice::destinationBound );
   }
   // The entry that one group answers with; 0 for none.
   int winner( const LookupKey& key ) {
      std::vector< Match > found = matches( key );
      std::vector< Match > bound = boundMatches( key );
      found.insert( found.end(), bound.begin(), bound.end() );
      EXPECT_LE( found.size(), 1U );
      return found.empty() ? 0 : found[ 0 ].entry;
   }

   FieldProcessor fp{ *chipProfile( "trident3" ) };
};

TEST_F( FieldProcessorTest, UnknownIdsAreNotFound ) {
   int destroyed = entry( group() );
   EXPECT_EQ( fp.entryDestroy( destroyed ), Sdk::QX_BCM_E_NONE() );
   for ( int id : { destroyed, 0, -1, unknown, std::numeric_limits< int >::min() } ) {
      Shim::FieldGroupStatus status;
      int made = 0;
      std::vector< Rc > codes{ fp.entryDestroy( id ), fp.entryInstall( id ),
         fp.entryRemove( id ), fp.entryPrioSet( id, 1 ), fp.entryNameSet( id, "x" ),
         fp.qualifyInPorts( id, {}, {} ), fp.qualifyPortClass( id, 1, 1 ),
         fp.qualifyDstPort( id, 0, 0, 1, 1 ), fp.qualifyDstTrunk( id, 1, 1 ),
         fp.qualifyDrop( id, 1, 1 ), fp.qualifyOuterVlanId( id, 1, 1 ),
         fp.qualifierDelete( id, Qualifier::drop ),
         fp.actionAdd( id, FieldAction::mirrorIngress, 0, 0 ),
         fp.actionRemove( id, FieldAction::mirrorIngress ) };
      if ( id != destroyed ) { // group ids count for themselves
         codes.push_back( fp.groupDestroy( id ) );
         codes.push_back( fp.groupStatusGet( id, &status ) );
         codes.push_back( fp.entryCreate( id, &made ) );
      }
      EXPECT_EQ( codes, std::vector< Rc >( codes.size(), Sdk::QX_BCM_E_NOT_FOUND() ) ) << id;
   }
}

TEST_F( FieldProcessorTest, WhatDoesNotFitIsRefusedAndChangesNothing ) {
   int groupId = group( ingress, 0,
         qualifiers( { Qualifier::dstPort, Qualifier::dstTrunk, Qualifier::portClass,
               Qualifier::outerVlanId } ) );
   int id = entry( groupId );
   EXPECT_EQ( fp.qualifyOuterVlanId( id, 7, exact ), Sdk::QX_BCM_E_NONE() );
   EXPECT_EQ( fp.actionAdd( id, FieldAction::mirrorIngress, 0, 3 ), Sdk::QX_BCM_E_NONE() );
   EXPECT_EQ( fp.entryInstall( id ), Sdk::QX_BCM_E_NONE() );

   for ( Rc rc : { fp.qualifyDrop( id, 1, 1 ), fp.qualifyInPorts( id, {}, {} ),
               fp.qualifyOuterVlanId( id, 0x1000, exact ), fp.qualifyDstTrunk( id, -1, exact ),
               fp.qualifyDstTrunk( id, 256, 1 ), fp.qualifyDstPort( id, 256, 1, 1, exact ),
               fp.qualifyDstPort( id, 0, 0, 256, exact ), fp.entryNameSet( id, nullptr ),
               fp.actionAdd( id, FieldAction::mirrorEgress, 0, 4 ),
               fp.actionAdd( id, FieldAction{ 99 }, 0, 0 ),
               fp.qualifierDelete( id, Qualifier::count_ ) } ) {
      EXPECT_EQ( rc, Sdk::QX_BCM_E_PARAM() );
   }
   EXPECT_EQ( fp.actionAdd( id, FieldAction::mirrorIngress, 0, 1 ), Sdk::QX_BCM_E_EXISTS() );
   for ( Rc rc : { fp.actionRemove( id, FieldAction::mirrorEgress ),
               fp.qualifierDelete( id, Qualifier::dstTrunk ) } ) {
      EXPECT_EQ( rc, Sdk::QX_BCM_E_NOT_FOUND() );
   }
   EntryView view = fp.entries().at( 0 );
   EXPECT_FALSE( view.modified );
   ASSERT_EQ( view.qualifiers.size(), 1U );
   EXPECT_EQ( view.qualifiers[ 0 ].data, std::vector< uint32_t >{ 7 } );
   EXPECT_EQ( view.actions.at( 0 ).param1, 3U );

   EXPECT_EQ( fp.groupDestroy( groupId ), Sdk::QX_BCM_E_BUSY() );
   fp.entryDestroy( id ); // installed or not
   EXPECT_EQ( winner( frame( 1, 7 ) ), 0 );
   EXPECT_EQ( fp.groupDestroy( groupId ), Sdk::QX_BCM_E_NONE() );
   EXPECT_EQ( fp.groupDestroy( groupId ), Sdk::QX_BCM_E_NOT_FOUND() );
}

TEST_F( FieldProcessorTest, PortClassNeedsAChipThatHasIt ) {
   FieldProcessor plain( *chipProfile( "trident2" ) );
   int id = 0;
   QualifierSet set = qualifiers( { Qualifier::portClass } );
   EXPECT_EQ( plain.groupCreate( ingress, set, 0, &id ), Sdk::QX_BCM_E_UNAVAIL() );

   ChipProfile narrow = *chipProfile( "trident3" );
   narrow.portClassBits = 4;
   FieldProcessor four( narrow );
   int entryId = 0;
   four.groupCreate( ingress, set, 0, &id );
   four.entryCreate( id, &entryId );
   EXPECT_EQ( four.qualifyPortClass( entryId, 0x10, exact ), Sdk::QX_BCM_E_PARAM() );
   EXPECT_EQ( four.qualifyPortClass( entryId, 0x0f, exact ), Sdk::QX_BCM_E_NONE() );
}

TEST_F( FieldProcessorTest, ChangesTakeEffectAtTheNextInstall ) {
   int groupId = group();
   int id = entry( groupId );
   fp.qualifyInPorts( id, ports( { 5 } ), allPorts );
   fp.actionAdd( id, FieldAction::mirrorIngress, 0, 1 );
   EXPECT_EQ( winner( frame( 5 ) ), 0 );
   EXPECT_EQ( fp.entryRemove( id ), Sdk::QX_BCM_E_NOT_FOUND() );
   fp.entryInstall( id );
   int other = mirrored( groupId, 6 );

   // Everything about the entry changes but what packets see.
   fp.qualifyInPorts( id, ports( { 6 } ), allPorts );
   fp.entryPrioSet( id, 9 );
   fp.actionRemove( id, FieldAction::mirrorIngress );
   fp.actionAdd( id, FieldAction::mirrorEgress, 0, 2 );
   EXPECT_TRUE( fp.entries().at( 0 ).modified );
   EXPECT_EQ( winner( frame( 5 ) ), id );
   EXPECT_EQ( winner( frame( 6 ) ), other );
   EXPECT_EQ( matches( frame( 5 ) ).at( 0 ).actions->at( 0 ).param1, 1U );

   fp.entryInstall( id );
   EXPECT_FALSE( fp.entries().at( 0 ).modified );
   EXPECT_EQ( winner( frame( 5 ) ), 0 );
   EXPECT_EQ( winner( frame( 6 ) ), id );
   EXPECT_EQ( matches( frame( 6 ) ).at( 0 ).actions->size(), 1U );
   EXPECT_EQ( matches( frame( 6 ) ).at( 0 ).actions->at( 0 ).param1, 2U );

   // Changed, then taken out: comes back as changed.
   fp.qualifierDelete( id, Qualifier::inPorts );
   EXPECT_EQ( winner( frame( 7 ) ), 0 );
   EXPECT_EQ( fp.entryRemove( id ), Sdk::QX_BCM_E_NONE() );
   EXPECT_EQ( winner( frame( 6 ) ), other );
   fp.entryInstall( id );
   EXPECT_EQ( winner( frame( 7 ) ), id );
}

TEST_F( FieldProcessorTest, QualifiersCompareUnderTheirMaskAndNeedTheirField ) {
   int id = entry( group() );
   auto hit = [ & ]( const LookupKey& key ) {
      EXPECT_EQ( fp.entryInstall( id ), Sdk::QX_BCM_E_NONE() );
      return winner( key ) == id;
   };
   fp.qualifyInPorts( id, ports( { 3, 4 } ), ports( { 4, 5 } ) );
   EXPECT_TRUE( hit( frame( 4 ) ) && !hit( frame( 3 ) ) && !hit( frame( 5 ) ) );
   fp.qualifyInPorts( id, {}, allPorts );
   EXPECT_FALSE( hit( frame( 0 ) ) );
   fp.qualifyInPorts( id, ports( { 3 } ), {} );
   EXPECT_TRUE( hit( frame( 9 ) ) );
   fp.qualifyOuterVlanId( id, 0, exact );
   EXPECT_FALSE( hit( frame( 1 ) ) ) << "an untagged frame has no VLAN 0";
   fp.qualifyOuterVlanId( id, 5, 0 );
   EXPECT_TRUE( hit( frame( 1 ) ) );

   LookupKey key = frame( 1 );
   fp.qualifyDstTrunk( id, 0, exact );
   EXPECT_FALSE( hit( key ) );
   key.setValid( validDstTrunk );
   EXPECT_TRUE( hit( key ) );
   key.set( Key::portClass, 0x80010000 );
   fp.qualifyPortClass( id, 0x80000000, 0x80000001 );
   EXPECT_TRUE( hit( key ) );
   key.set( Key::portClass, 0x80010001 );
   EXPECT_FALSE( hit( key ) );
}

TEST_F( FieldProcessorTest, AStageIsFullForAllItsGroupsUntilEntriesGoOrCapacityGrows ) {
   int first = group(), second = group(), other = group( egress );
   fp.capacityIs( ingress, 3 );
   int a = entry( first ), b = entry( first );
   entry( second );
   int id = 77;
   EXPECT_EQ( fp.entryCreate( second, &id ), Sdk::QX_BCM_E_RESOURCE() );
   EXPECT_EQ( id, 77 );
   entry( other ); // the other stage has its own

   fp.capacityIs( ingress, 1 ); // below use: those that exist stay and work
   EXPECT_EQ( fp.entryInstall( a ), Sdk::QX_BCM_E_NONE() );
   EXPECT_EQ( winner( frame( 1 ) ), a );
   Shim::FieldGroupStatus status;
   EXPECT_EQ( fp.groupStatusGet( first, &status ), Sdk::QX_BCM_E_NONE() );
   EXPECT_EQ( status.entriesUsed, 2 );
   EXPECT_EQ( status.entriesFree, 0 );
   fp.entryDestroy( b );
   EXPECT_EQ( fp.entryCreate( first, &id ), Sdk::QX_BCM_E_RESOURCE() );
   fp.capacityIs( ingress, 65536 );
   EXPECT_EQ( fp.entryCreate( first, &id ), Sdk::QX_BCM_E_NONE() );
   fp.groupStatusGet( second, &status );
   EXPECT_EQ( status.entriesUsed, 1 );
   EXPECT_EQ( status.entriesFree, 65536 - 3 );
   EXPECT_EQ( fp.entriesUsed( ingress ), 3 );

   while ( fp.groupCreate( ingress, {}, 0, &id ) == Sdk::QX_BCM_E_NONE() ) {
   }
   EXPECT_EQ( static_cast< int >( fp.groups().size() ),
         chipProfile( "trident3" )->groupsPerStage + 1 );
   EXPECT_EQ( fp.groupCreate( ingress, {}, 0, &id ), Sdk::QX_BCM_E_RESOURCE() );
   EXPECT_EQ( fp.groupCreate( egress, {}, 0, &id ), Sdk::QX_BCM_E_NONE() );
}

TEST_F( FieldProcessorTest, IdsAreNeverUsedAgain ) {
   int ids[] = { group(), group( egress ) };
   std::set< int > seen;
   for ( int i = 0; i < 3000; ++i ) {
      int id = entry( ids[ i % 2 ] );
      EXPECT_TRUE( seen.insert( id ).second );
      fp.entryNameSet( id, "a name that is too long for the small buffer" );
      fp.entryPrioSet( id, 4 );
      EXPECT_EQ( fp.entryDestroy( id ), Sdk::QX_BCM_E_NONE() );
   }
   entry( ids[ 0 ] ); // nothing is left of what used the memory before
   const EntryView view = fp.entries().at( 0 );
   EXPECT_EQ( view.name + std::to_string( view.priority ), "0" );
   EXPECT_FALSE( view.installed || view.modified );
   int last = group();
   EXPECT_EQ( fp.groupDestroy( last ), Sdk::QX_BCM_E_NONE() );
   EXPECT_GT( group(), last );
}

TEST_F( FieldProcessorTest, EveryGroupAnswersForItself ) {
   int low = group( ingress, 1 ), high = group( ingress, 5 ), out = group( egress );
   int inLow = mirrored( low, 1 );
   int inHigh = mirrored( high, 1, 2 );
   int inOut = entry( out );
   fp.qualifyOuterVlanId( inOut, 7, exact );
   fp.entryInstall( inOut );
   int catchAll = entry( high );
   fp.entryPrioSet( catchAll, -1 );
   fp.entryInstall( catchAll );

   std::vector< Match > found = matches( frame( 1 ) );
   ASSERT_EQ( found.size(), 2U );
   EXPECT_EQ( found[ 0 ].entry, inHigh );
   EXPECT_EQ( found[ 0 ].actions->at( 0 ).param1, 2U );
   EXPECT_EQ( found[ 1 ].entry, inLow );
   EXPECT_EQ( found[ 1 ].group, low );
   ASSERT_EQ( matches( frame( 2 ) ).size(), 1U );
   EXPECT_EQ( matches( frame( 2 ) )[ 0 ].entry, catchAll );
   EXPECT_EQ( matches( frame( 1, 7 ), egress ).at( 0 ).entry, inOut );
   EXPECT_TRUE( matches( frame( 2 ), egress ).empty() );
   EXPECT_EQ( matches( frame( 1 ), ingress, FieldProcessor::GroupChoice::destinationFree, 1 )
                    .at( 0 )
                    .entry,
         inHigh );

   std::vector< int > order;
   for ( const EntryView& view : fp.entries() ) {
      order.push_back( view.id );
   }
   EXPECT_EQ( order, ( std::vector{ inHigh, catchAll, inLow, inOut } ) );
}

TEST_F( FieldProcessorTest, AGroupIsDestinationBoundWhileAnInstalledEntryIs ) {
   int groupId = group();
   int plain = mirrored( groupId, 1 );
   int bound = entry( groupId );
   fp.qualifyDstPort( bound, 0, exact, 17, exact );
   LookupKey key = frame( 1, 0, 17 );
   auto askedAs = [ & ]( bool isBound ) {
      EXPECT_EQ( fp.hasDestinationBound( ingress ), isBound );
      EXPECT_EQ( boundMatches( key ).size(), isBound ? 1U : 0U );
      EXPECT_EQ( matches( key ).size(), isBound ? 0U : 1U );
   };
   askedAs( false ); // qualified, but not installed
   fp.entryInstall( bound );
   askedAs( true );
   EXPECT_FALSE( fp.hasDestinationBound( egress ) );
   EXPECT_EQ( winner( key ), plain );
   fp.qualifierDelete( bound, Qualifier::dstPort );
   askedAs( true ); // not before the install
   fp.entryInstall( bound );
   askedAs( false );
   fp.qualifyDstTrunk( bound, 4, 0 );
   fp.entryInstall( bound );
   askedAs( false ); // a mask of zero does not look at the destination
   fp.qualifyDstTrunk( bound, 4, exact );
   fp.entryInstall( bound );
   fp.qualifierDelete( bound, Qualifier::dstTrunk );
   askedAs( true );
   fp.entryDestroy( bound );
   askedAs( false );
}

} // namespace
