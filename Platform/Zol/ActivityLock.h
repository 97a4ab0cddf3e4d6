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
// It makes no promise of order among the threads that wait for it.

#include <atomic>
#include <mutex>
#include <thread>

namespace Zol {

class ActivityLock {
 public:
   void lock();   // not recursive: asserted
   void unlock(); // by the thread that holds it: asserted
   // Relaxed is enough: a thread looks for its own id only, which only itself writes.
   bool heldByThisThread() const {
      return holder_.load( std::memory_order_relaxed ) == std::this_thread::get_id();
   }

 private:
   std::mutex mutex_;
   std::atomic< std::thread::id > holder_{};
};

// The process's one.
ActivityLock& activityLock();

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
