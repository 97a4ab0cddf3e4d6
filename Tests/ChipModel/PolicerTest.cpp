// Token buckets to the bit, and what the SDK allows to do with policers.

#include "ChipModel/Tables/PolicerTable.h"

#include <limits>

#include "Tests/ChipModel/FieldFixture.h"

namespace ChipModel::Test {

namespace {

constexpr uint32_t kilobits10 = 1250; // bytes
constexpr uint64_t ms = 1'000'000;    // ns

Policer make( uint32_t kbits, uint32_t burst ) {
   return Policer( { policerByBytes | policerColorBlind, {}, kbits, burst, 0, 0 } );
}

// How many frames in a row, at one time, find their bits.
int greens( Policer& policer, uint32_t bytes, uint64_t timeNs ) {
   int count = 0;
   while ( policer.meter( bytes, timeNs ) == Color::green ) {
      ++count;
   }
   return count;
}

TEST( PolicerTest, ABurstAndThenTheRateToTheNanosecond ) {
   Policer policer = make( 1000, 100 );
   EXPECT_EQ( policer.meter( 12'501, 5 * ms ), Color::red ); // and takes nothing
   EXPECT_EQ( greens( policer, kilobits10, 5 * ms ), 10 );
   EXPECT_EQ( policer.meter( kilobits10, 15 * ms - 1 ), Color::red );
   EXPECT_EQ( policer.meter( kilobits10, 0 ), Color::red ); // time does not run backwards
   EXPECT_EQ( policer.meter( kilobits10, 15 * ms ), Color::green );
   int green = 0;
   for ( uint64_t i = 1; i <= 1000; ++i ) { // 10 Mbit/s for a second
      green += policer.meter( kilobits10, ( 15 + i ) * ms ) == Color::green;
   }
   EXPECT_EQ( green, 100 );
   EXPECT_EQ( greens( policer, kilobits10, 1'000'000 * ms ), 10 ); // its depth, and no more
   EXPECT_EQ( policer.counters().green, ( FrameCount{ 121, 121 * kilobits10 } ) );
   EXPECT_EQ( policer.counters().red, ( FrameCount{ 905, 904 * kilobits10 + 12'501 } ) );
}

// 3 kbit/s are 3/8 of a byte each millisecond: what does not divide must not get lost.
TEST( PolicerTest, NothingIsEverRounded ) {
   Policer policer = make( 3, 1 );
   EXPECT_EQ( greens( policer, 1, 0 ), 125 );
   uint64_t green = 0;
   for ( uint64_t now = 333'331; now < 60'000 * ms; now += 333'331 ) {
      green += policer.meter( 1, now ) == Color::green;
      ASSERT_EQ( green, 3000 * now / 8'000'000'000 ) << now;
   }
}

TEST( PolicerTest, TheWidestValuesDoNotOverflow ) {
   constexpr uint32_t most = std::numeric_limits< uint32_t >::max();
   for ( uint32_t rate : { 1U, most } ) {
      Policer policer = make( rate, most ); // 125 of the longest frames
      EXPECT_EQ( greens( policer, most, 0 ), 125 );
      EXPECT_EQ( policer.meter( most, 8 * ms - 1 ), Color::red );
      EXPECT_EQ( greens( policer, most, 8 * ms ), rate == most ? 1 : 0 );
      EXPECT_EQ( greens( policer, most, std::numeric_limits< uint64_t >::max() ), 125 );
   }
}

using PolicerCallTest = FieldTest;

TEST_F( PolicerCallTest, WhatTheChipCannotDoIsRefused ) {
   bcm_policer_config_s config;
   uint32_t id = 77;
   const auto create = [ & ] { return sdk().bcm_policer_create( 0, config, &id ); };
   Sdk::bcm_policer_config_t_init( &config );
   config.flags = policerByBytes | policerColorBlind;
   EXPECT_EQ( create(), param ); // no rate
   config.ckbits_sec = 1;
   for ( uint32_t flags : { 0U, policerByBytes, policerColorBlind, 0xffffffffU } ) {
      config.flags = flags;
      EXPECT_EQ( create(), unavailable ) << flags;
   }
   config.flags = policerByBytes | policerColorBlind;
   config.pkbits_sec = 1;
   EXPECT_EQ( create(), unavailable );
   config.pkbits_sec = 0;
   for ( uint32_t expected : { 1U, 2U, 3U } ) { // as many as the chip has
      EXPECT_EQ( policer( 1, 1 ), expected );
   }
   EXPECT_EQ( create(), noRoom );
   EXPECT_EQ( id, 77u );
   ok( sdk().bcm_policer_destroy( 0, 2 ) );
   EXPECT_EQ( policer( 5, 6 ), 4u ); // ids are not used again
   EXPECT_EQ( sdk().bcm_policer_destroy( 0, 2 ), notFound );
   ASSERT_FALSE( box_.control().capacityIs( 0, "policers", 4 ) );
   EXPECT_EQ( policer( 7, 8 ), 5u );
   EXPECT_EQ( create(), noRoom );
}

TEST_F( PolicerCallTest, AnEntryHasOneAndKeepsItUntilNothingOfItIsInstalled ) {
   Sdk& s = sdk();
   const uint32_t slow = policer( 1, 1 ), fast = policer( 2, 2 );
   const int entry = newEntry( newGroup( 0, FieldStage::egress ), FieldAction::rpDrop );
   const int ingress = newEntry( newGroup(), FieldAction::drop );
   const auto attachTo = [ & ]( int id, int level, uint32_t to ) {
      return s.bcm_field_entry_policer_attach( 0, id, level, to );
   };
   EXPECT_EQ( attachTo( entry, 1, slow ), param );
   EXPECT_EQ( attachTo( entry, 0, 99 ), notFound );
   EXPECT_EQ( attachTo( ingress, 0, slow ), unavailable );
   EXPECT_EQ( s.bcm_field_entry_policer_detach( 0, entry, 0 ), notFound );
   attach( entry, slow );
   EXPECT_EQ( attachTo( entry, 0, fast ), exists );
   EXPECT_EQ( s.bcm_policer_destroy( 0, slow ), busy ); // attached
   installed( entry );
   ok( s.bcm_field_entry_policer_detach( 0, entry, 0 ) );
   attach( entry, fast );
   EXPECT_EQ( s.bcm_policer_destroy( 0, slow ), busy ); // packets still see it
   installed( entry );
   EXPECT_EQ( view( entry ).policer, fast );
   ok( s.bcm_policer_destroy( 0, slow ) );
   ok( s.bcm_field_entry_destroy( 0, entry ) );
   ok( s.bcm_policer_destroy( 0, fast ) );
}

} // namespace

} // namespace ChipModel::Test
