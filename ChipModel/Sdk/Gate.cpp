#include "ChipModel/Sdk/Gate.h"

#include <algorithm>
#include <utility>

#include "Platform/Zol/Assert.h"

namespace ChipModel {

void Gate::observerIs( Observer observer ) {
   observer_ = std::move( observer );
   rearm();
}

int Gate::faultAdd( const Fault& fault ) {
   ZOL_ASSERT( fault.first >= 1 && fault.first <= fault.last && fault.rc < 0 );
   faults_.push_back( { nextFault_, fault, 0 } );
   rearm();
   return nextFault_++;
}

bool Gate::faultRemove( int number ) {
   const size_t removed = std::erase_if(
         faults_, [ number ]( const Pending& pending ) { return pending.number == number; } );
   rearm();
   return removed > 0;
}

void Gate::faultsDelAll() {
   faults_.clear();
   rearm();
}

std::optional< Gate::Verdict > Gate::ask( const CallInfo& info ) {
   if ( observer_ && !observing_ ) {
      // A copy, since an observer may replace itself while it runs.
      const Observer observer = observer_;
      observing_ = true;
      try {
         observer( info );
      } catch ( ... ) {
         observing_ = false;
         throw;
      }
      observing_ = false;
   }
   std::optional< Verdict > verdict;
   for ( Pending& pending : faults_ ) {
      const Fault& fault = pending.fault;
      if ( fault.call && *fault.call != info.call ) {
         continue;
      }
      ++pending.seen;
      if ( !verdict && pending.seen >= fault.first && pending.seen <= fault.last ) {
         verdict = Verdict{ fault.rc, fault.effect };
      }
   }
   std::erase_if(
         faults_, []( const Pending& pending ) { return pending.seen >= pending.fault.last; } );
   rearm();
   refused_ += verdict ? 1 : 0;
   return verdict;
}

} // namespace ChipModel
