#include "Platform/Zol/ActivityLock.h"

#include "Platform/Zol/Assert.h"

namespace Zol {

ActivityLock& activityLock() {
   static ActivityLock lock;
   return lock;
}

void ActivityLock::lock() {
   ZOL_ASSERT( !heldByThisThread() );
   mutex_.lock();
   holder_.store( std::this_thread::get_id(), std::memory_order_relaxed );
}

void ActivityLock::unlock() {
   ZOL_ASSERT( heldByThisThread() );
   holder_.store( std::thread::id(), std::memory_order_relaxed );
   mutex_.unlock();
}

} // namespace Zol
