#include "Platform/Zol/ActivityLock.h"

namespace Zol {

constinit thread_local bool ActivityLock::held_ = false;
constinit ActivityLock theActivityLock;

void ActivityLock::wait() {
   while ( state_.exchange( isWaitedFor, std::memory_order_acquire ) != isFree ) {
      state_.wait( isWaitedFor, std::memory_order_relaxed );
   }
}

} // namespace Zol
