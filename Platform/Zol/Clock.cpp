#include "Platform/Zol/Clock.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <set>

#include "Platform/Zol/Assert.h"

namespace Zol {

namespace {

using Steady = std::chrono::steady_clock;

} // namespace

struct ActivityManager::State {
   struct Earlier {
      bool operator()( const Clock* left, const Clock* right ) const {
         return left->timeMin_ != right->timeMin_ ? left->timeMin_ < right->timeMin_
                                                  : left->order_ < right->order_;
      }
   };

   std::set< Clock*, Earlier > armed;
   uint64_t lastOrder = 0;
   TimeSource source = TimeSource::virtualTime;
   Seconds virtualNow = 0;
   Steady::time_point start = Steady::now();
};

ActivityManager::ActivityManager() : state_( std::make_unique< State >() ) {}
ActivityManager::~ActivityManager() = default;

ActivityManager& activityManager() {
   // Never destroyed: clocks of static objects may outlive any static of ours.
   static ActivityManager* manager = new ActivityManager;
   return *manager;
}

void Clock::timeMinIs( Seconds time ) {
   ZOL_ASSERT( time == time && "a time is a number" );
   if ( time == timeMin_ ) {
      return; // it keeps its place among the clocks of that time: it cannot be put off for ever
   }
   auto& state = *activityManager().state_;
   if ( timeMin_ != never ) {
      state.armed.erase( this );
   }
   timeMin_ = time;
   if ( time != never ) {
      order_ = ++state.lastOrder;
      state.armed.insert( this );
   }
}

void Clock::fire() {
   std::shared_ptr< const Handler > handler = handler_;
   std::optional< Pin > keepOwner;
   if ( owner_ ) {
      keepOwner.emplace( *owner_ );
   }
   ( *handler )();
}

Seconds ActivityManager::now() const {
   if ( state_->source == TimeSource::virtualTime ) {
      return state_->virtualNow;
   }
   return std::chrono::duration< double >( Steady::now() - state_->start ).count();
}

void ActivityManager::timeSourceIs( TimeSource source ) {
   state_->source = source;
   state_->virtualNow = 0;
   state_->start = Steady::now();
}

bool ActivityManager::turn() {
   const Seconds time = now();
   // What a handler arms waits for the next turn, so a handler that rearms its clock with the
   // current time cannot keep the loop from everything else.
   const uint64_t last = state_->lastOrder;
   bool fired = false;
   uint64_t firedOrder = 0;
   Seconds firedTime = -never;
   for ( ;; ) {
      Clock* next = nullptr;
      for ( Clock* clock : state_->armed ) {
         if ( clock->timeMin_ > time ) {
            break;
         }
         bool later = clock->timeMin_ > firedTime ||
               ( clock->timeMin_ == firedTime && clock->order_ > firedOrder );
         if ( clock->order_ <= last && later ) {
            next = clock;
            break;
         }
      }
      if ( !next ) {
         return fired;
      }
      firedTime = next->timeMin_;
      firedOrder = next->order_;
      fired = true;
      next->fire();
   }
}

void ActivityManager::runUntilIdle() {
   int turns = 0;
   while ( turn() ) {
      ZOL_ASSERT( ++turns < 1000000 && "a clock is due at every turn" );
   }
}

void ActivityManager::advance( Seconds duration ) {
   ZOL_ASSERT( state_->source == TimeSource::virtualTime );
   ZOL_ASSERT( duration >= 0 && duration < never );
   const Seconds end = state_->virtualNow + duration;
   runUntilIdle();
   while ( nextTime() <= end ) {
      state_->virtualNow = std::max( state_->virtualNow, nextTime() );
      runUntilIdle();
   }
   state_->virtualNow = end;
}

Seconds ActivityManager::nextTime() const {
   return state_->armed.empty() ? never : ( *state_->armed.begin() )->timeMin_;
}

} // namespace Zol
