#pragma once

// Notes, in the books of a group or an ACL, what the chip refused in a scope. What it refused just
// before belongs there, too: between two operations of a manager the machine that uses it writes
// the entry by calls of its own.
//
//    const RefusalNote note( group_->lastRefusal() );

#include <optional>

#include "Platform/Karvel/SdkRefusals.h"

namespace AgentServices {

using LastRefusal = std::optional< Karvel::SdkRefusal >;

class RefusalNote {
 public:
   explicit RefusalNote( LastRefusal& into ) : into_( into ) { note(); }
   ~RefusalNote() { note(); }
   RefusalNote( const RefusalNote& ) = delete;
   RefusalNote& operator=( const RefusalNote& ) = delete;

 private:
   void note() {
      if ( auto refusal = Karvel::takeSdkRefusal() ) {
         into_ = refusal;
      }
   }

   LastRefusal& into_;
};

} // namespace AgentServices
