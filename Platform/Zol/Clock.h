#pragma once

// Time and deferred work. The agent runs on real time or on virtual time; tests on virtual time
// only. Clocks fire from the event loop, never inside the write that sets them.
//
//    Zol::Clock review_{ [ this ] { doReview(); } };
//    review_.timeMinIs( Zol::activityManager().now() );   // at the next turn of the loop
//    review_.timeMinIs( Zol::never );                     // not at all

#include <functional>
#include <limits>
#include <memory>

#include "Platform/Zol/Ptr.h"

namespace Zol {

// Seconds since the start of the agent.
using Seconds = double;
inline constexpr Seconds never = std::numeric_limits< Seconds >::infinity();

enum class TimeSource { virtualTime, realTime };

// Fires once its minimum time has come, and again at every turn of the loop until it is set to
// another time: the handler disarms it. The handler may destroy the clock. A clock that knows
// its owner keeps the owner's memory while the handler runs, so that the handler may also let
// go of its machine:
//
//    Zol::Clock review_{ *this, [ this ] { doReview(); } };
class Clock {
 public:
   using Handler = std::function< void() >;

   explicit Clock( Handler handler )
         : handler_( std::make_shared< Handler >( std::move( handler ) ) ) {}
   Clock( const RefCounted& owner, Handler handler ) : Clock( std::move( handler ) ) {
      owner_ = &owner;
   }
   ~Clock() { timeMinIs( never ); }
   Clock( const Clock& ) = delete;
   Clock& operator=( const Clock& ) = delete;

   Seconds timeMin() const { return timeMin_; }
   // Setting the time that is set already changes nothing.
   void timeMinIs( Seconds time );

 private:
   friend class ActivityManager;

   void fire();

   const RefCounted* owner_ = nullptr;
   std::shared_ptr< const Handler > handler_; // shared with the call that is under way
   Seconds timeMin_ = never;
   uint64_t order_ = 0; // among clocks of one time: in the order in which they were set
};

class ActivityManager {
 public:
   ActivityManager();
   ~ActivityManager();

   Seconds now() const;
   // Starts time anew at 0. Clocks that are set keep their times.
   void timeSourceIs( TimeSource source );

   // One turn: fires every clock whose time has come when the turn begins, each once, by time
   // and then in the order in which they were set. True if any fired.
   bool turn();
   // Turns until nothing is due now. A clock that is due again at once, for ever, is a broken
   // machine: asserted after a million turns.
   void runUntilIdle();
   // Virtual time: moves on by `duration` seconds (finite, not negative), stopping wherever a
   // clock is due.
   void advance( Seconds duration );
   // The time at which the next clock is due; `never` if none is set.
   Seconds nextTime() const;

 private:
   friend class Clock;
   struct State;
   std::unique_ptr< State > state_;
};

// The only one of the process.
ActivityManager& activityManager();

} // namespace Zol
