#pragma once

// The lock of the agent process. The agent's thread holds it while it works on entities, and
// releases it around SDK calls so that other threads get their turn.
//
//    Zol::ActivityLockHolder lock;      // from here on entities are this thread's
//    {
//       Zol::ActivityUnlock unlock;     // ... but not here
//       rc = slowCall();
//    }
//
// Waiting threads get the lock in no particular order.

#include <atomic>
#include <cstdint>

#include "Platform/Zol/Assert.h"

namespace Zol {

// SDK calls are many and short, so taking and releasing a lock that nobody waits for takes a
// few instructions in place. It is the mutex of Drepper's "Futexes Are Tricky" (2011), built on
// the waiting of C++20's atomics.
class ActivityLock {
 public:
   constexpr ActivityLock() = default;
   void lock() { // not recursive: asserted
      ZOL_ASSERT( !heldByThisThread() );
      uint32_t expected = isFree;
      if ( !state_.compare_exchange_strong( expected, isTaken, std::memory_order_acquire ) )
            [[unlikely]] {
         wait();
      }
      held_ = true;
   }
   void unlock() { // by the thread that holds it: asserted
      ZOL_ASSERT( heldByThisThread() );
      held_ = false;
      if ( state_.exchange( isFree, std::memory_order_release ) == isWaitedFor ) [[unlikely]] {
         state_.notify_one();
      }
   }
   bool heldByThisThread() const { return held_; }

 private:
   static constexpr uint32_t isFree = 0;
   static constexpr uint32_t isTaken = 1;
   static constexpr uint32_t isWaitedFor = 2; // taken, and somebody waits
   void wait();

   // There is one lock in the process, so one flag for each thread.
   [[gnu::tls_model( "initial-exec" )]] static constinit thread_local bool held_;
   std::atomic< uint32_t > state_ = isFree;
};

// The only one of the process.
extern ActivityLock theActivityLock;
inline ActivityLock& activityLock() { return theActivityLock; }

// Holds the lock for a scope.
class ActivityLockHolder {
 public:
   ActivityLockHolder() { activityLock().lock(); }
   ~ActivityLockHolder() { activityLock().unlock(); }
   ActivityLockHolder( const ActivityLockHolder& ) = delete;
   ActivityLockHolder& operator=( const ActivityLockHolder& ) = delete;
};

// Releases the lock for a scope, if this thread holds it, and retakes it at the end.
class ActivityUnlock {
 public:
   ActivityUnlock() : held_( activityLock().heldByThisThread() ) {
      if ( held_ ) {
         activityLock().unlock();
      }
   }
   ~ActivityUnlock() {
      if ( held_ ) {
         activityLock().lock();
      }
   }
   ActivityUnlock( const ActivityUnlock& ) = delete;
   ActivityUnlock& operator=( const ActivityUnlock& ) = delete;

 private:
   const bool held_;
};

} // namespace Zol
