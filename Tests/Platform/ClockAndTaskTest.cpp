#include <memory>
#include <stdexcept>

#include <gtest/gtest.h>

#include "Platform/Orv/TaskScheduler.h"
#include "Tests/Platform/TestEntities.h"

namespace Sample {
namespace {

using Zol::activityManager;
using Zol::Clock;

class ClockAndTask : public ::testing::Test {
 protected:
   void SetUp() override { activityManager().timeSourceIs( Zol::TimeSource::virtualTime ); }
   void TearDown() override { EXPECT_EQ( activityManager().nextTime(), Zol::never ); }

   // A clock that logs its name and the time and is then disarmed, or does what the test
   // wants.
   std::unique_ptr< Clock > clock(
         const std::string& name, std::function< void() > then = {} ) {
      auto made = std::make_shared< Clock* >();
      auto result = std::make_unique< Clock >( [ this, name, then, made ] {
         note( name );
         ( *made )->timeMinIs( Zol::never );
         if ( then ) {
            then();
         }
      } );
      *made = result.get();
      return result;
   }
   void note( const std::string& name ) {
      std::string time = Zol::toString( activityManager().now() );
      log_.push_back( name + "@" + time );
   }

   Log log_;
   Zol::Ptr< Orv::TaskScheduler > scheduler_ = Orv::TaskSchedulerRoot::findOrCreateScheduler();
};

TEST_F( ClockAndTask, ClockFiresFromTheLoopOnceItsTimeHasCome ) {
   auto a = clock( "a" );
   a->timeMinIs( 0 );
   auto b = clock( "b" );
   b->timeMinIs( 2 );
   EXPECT_EQ( taken( log_ ), Log{} ); // never inside the write that sets it
   EXPECT_TRUE( activityManager().turn() );
   EXPECT_FALSE( activityManager().turn() );
   EXPECT_EQ( taken( log_ ), ( Log{ "a@0" } ) );
   EXPECT_EQ( activityManager().nextTime(), 2 );
   activityManager().advance( 1.5 );
   EXPECT_EQ( taken( log_ ), Log{} );
   a->timeMinIs( 1 ); // a time that has passed
   activityManager().advance( 0.5 );
   EXPECT_EQ( taken( log_ ), ( Log{ "a@1.5", "b@2" } ) );
   b->timeMinIs( 3 );
   b->timeMinIs( Zol::never );
   activityManager().advance( 10 );
   EXPECT_EQ( taken( log_ ), Log{} );
}

TEST_F( ClockAndTask, AdvanceStopsWhereverAClockIsDueInOrderOfTimeAndSetting ) {
   auto late = clock( "late" );
   auto first = clock( "first" );
   auto second = clock( "second" );
   auto again = clock( "again" );
   int left = 3;
   std::unique_ptr< Clock > periodic;
   periodic = clock( "tick", [ & ] {
      if ( --left > 0 ) {
         periodic->timeMinIs( activityManager().now() + 2 );
         again->timeMinIs( activityManager().now() );
      }
   } );
   late->timeMinIs( 5 );
   second->timeMinIs( 9 );
   first->timeMinIs( 3 );
   second->timeMinIs( 3 ); // set after `first`
   periodic->timeMinIs( 1 );
   activityManager().advance( 5 );
   EXPECT_EQ( log_,
         ( Log{ "tick@1", "again@1", "first@3", "second@3", "tick@3", "again@3", "late@5",
               "tick@5" } ) );
   EXPECT_EQ( activityManager().now(), 5 );
   EXPECT_DEATH( activityManager().advance( Zol::never ), "assertion failed" );
   EXPECT_DEATH( activityManager().advance( -1 ), "assertion failed" );
}

TEST_F( ClockAndTask, WhatAHandlerArmsWaitsForTheNextTurn ) {
   auto b = clock( "b" );
   auto a = clock( "a", [ & ] { b->timeMinIs( 0 ); } );
   a->timeMinIs( 0 );
   activityManager().turn();
   EXPECT_EQ( taken( log_ ), ( Log{ "a@0" } ) );
   activityManager().turn();
   EXPECT_EQ( taken( log_ ), ( Log{ "b@0" } ) );

   // One that is not disarmed fires once in every turn, and keeps nobody else from firing,
   // not even when it sets the other's time anew each time.
   int turns = 0;
   Clock stubborn( [ & ] {
      ++turns;
      b->timeMinIs( 0 );
   } );
   stubborn.timeMinIs( 0 );
   b->timeMinIs( 0 );
   for ( int i = 0; i < 3; ++i ) {
      activityManager().turn();
   }
   EXPECT_EQ( turns, 3 );
   EXPECT_EQ( log_.size(), 2u ); // in the first and the third turn
   EXPECT_DEATH( activityManager().runUntilIdle(), "a clock is due at every turn" );
   EXPECT_DEATH( stubborn.timeMinIs( Zol::never - Zol::never ), "a time is a number" );
   stubborn.timeMinIs( Zol::never );
   b->timeMinIs( Zol::never );
}

TEST_F( ClockAndTask, ClocksMayGoWhileOthersOrTheyThemselvesFire ) {
   auto after = clock( "after" );
   auto before = clock( "before" );
   auto last = clock( "last" );
   auto dropper = clock( "dropper", [ & ] {
      after = nullptr;
      before = nullptr;
   } );
   auto disarmed = clock( "disarmed" );
   std::unique_ptr< Clock > self;
   self = std::make_unique< Clock >( [ &, text = std::string( 100, 'x' ) ] {
      note( "self" );
      self = nullptr;
      EXPECT_EQ( text.size(), 100u ); // the handler is still whole
      disarmed->timeMinIs( Zol::never );
   } );
   for ( auto* each : { &before, &dropper, &after, &self, &disarmed, &last } ) {
      ( *each )->timeMinIs( 1 );
   }
   activityManager().advance( 1 );
   EXPECT_EQ( log_, ( Log{ "before@1", "dropper@1", "self@1", "last@1" } ) );
}

TEST_F( ClockAndTask, ExceptionOfAHandlerReachesTheLoopAndTheRestFiresLater ) {
   auto a = clock( "a", [] { throw std::runtime_error( "refused" ); } );
   auto b = clock( "b" );
   a->timeMinIs( 0 );
   b->timeMinIs( 0 );
   EXPECT_THROW( activityManager().turn(), std::runtime_error );
   activityManager().runUntilIdle();
   EXPECT_EQ( log_, ( Log{ "a@0", "b@0" } ) );
}

TEST_F( ClockAndTask, TaskScheduledTwiceRunsOnceInOrder ) {
   Orv::Task a( scheduler_, [ & ] { note( "a" ); } );
   Orv::Task b( scheduler_, [ & ] {
      note( "b" );
      if ( log_.size() < 4 ) {
         b.schedule();
         EXPECT_TRUE( b.isScheduled() );
      }
   } );
   Orv::Task c( scheduler_, [ & ] { note( "c" ); } );
   b.schedule();
   c.schedule();
   a.schedule();
   b.schedule();
   c.cancel();
   c.cancel();
   EXPECT_EQ( log_, Log{} );
   activityManager().runUntilIdle();
   EXPECT_EQ( taken( log_ ), ( Log{ "b@0", "a@0", "b@0", "b@0" } ) );
   EXPECT_FALSE( b.isScheduled() );
   a.schedule();
   a.cancel();
   activityManager().runUntilIdle();
   EXPECT_EQ( taken( log_ ), Log{} );
   c.schedule();
   activityManager().runUntilIdle();
   EXPECT_EQ( taken( log_ ), ( Log{ "c@0" } ) );
}

TEST_F( ClockAndTask, TasksMayGoInTheWorkOfOthersAndTheirOwn ) {
   auto victim = std::make_unique< Orv::Task >( scheduler_, [ & ] { note( "victim" ); } );
   std::unique_ptr< Orv::Task > self;
   Orv::Task dropper( scheduler_, [ & ] { victim = nullptr; } );
   self = std::make_unique< Orv::Task >( scheduler_, [ &, text = std::string( 100, 'x' ) ] {
      self = nullptr;
      EXPECT_EQ( text.size(), 100u );
      note( "self" );
   } );
   Orv::Task thrower( scheduler_, [] { throw std::runtime_error( "refused" ); } );
   Orv::Task last( scheduler_, [ & ] { note( "last" ); } );
   for ( Orv::Task* task : { &dropper, victim.get(), self.get(), &thrower, &last } ) {
      task->schedule();
   }
   EXPECT_THROW( activityManager().runUntilIdle(), std::runtime_error );
   activityManager().runUntilIdle();
   EXPECT_EQ( log_, ( Log{ "self@0", "last@0" } ) );
}

TEST_F( ClockAndTask, SchedulerIsSharedAndGoesWithItsLastHolder ) {
   EXPECT_EQ( Orv::TaskSchedulerRoot::findOrCreateScheduler(), scheduler_ );
   std::unique_ptr< Orv::Task > holder;
   holder = std::make_unique< Orv::Task >( std::exchange( scheduler_, nullptr ), [ & ] {
      holder = nullptr; // and the scheduler with it
      note( "ran" );
      auto anew = Orv::TaskSchedulerRoot::findOrCreateScheduler();
      Orv::Task other( anew, [ & ] { note( "never" ); } );
      other.schedule();
   } );
   holder->schedule();
   activityManager().runUntilIdle();
   EXPECT_EQ( log_, ( Log{ "ran@0" } ) );
}

// A machine whose clock and task lead to its own end.
class Reviewer : public Zol::EntitySm {
   ZOL_ENTITY( Sample, Reviewer, Zol::EntitySm );

 public:
   explicit Reviewer( Log& log ) : log_( log ) { ++alive; }
   ~Reviewer() override { --alive; }

   void review() {
      clock.timeMinIs( Zol::never );
      holder = nullptr;
      log_.push_back( "review ends, " + std::to_string( alive ) + " alive" );
   }

   Log& log_;
   Clock clock{ *this, [ this ] { review(); } };
   Orv::Task task{ Orv::TaskSchedulerRoot::findOrCreateScheduler(), *this,
      [ this ] { review(); } };
   static inline Zol::Ptr< Reviewer > holder;
   static inline int alive = 0;
};
ZOL_DEFINE_ENTITY( Reviewer );

TEST_F( ClockAndTask, MachineMayGoInItsOwnClockAndTask ) {
   Reviewer::holder = Zol::make< Reviewer >( log_ );
   Reviewer::holder->clock.timeMinIs( 0 );
   activityManager().runUntilIdle();
   EXPECT_EQ( Reviewer::alive, 0 );
   Reviewer::holder = Zol::make< Reviewer >( log_ );
   Reviewer::holder->task.schedule();
   activityManager().runUntilIdle();
   EXPECT_EQ( Reviewer::alive, 0 );
   EXPECT_EQ( log_, ( Log{ "review ends, 1 alive", "review ends, 1 alive" } ) );
}

} // namespace
} // namespace Sample
