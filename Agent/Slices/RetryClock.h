#pragma once

// When to try again what a chip has refused: after 10 seconds, then after twice that, up to 10
// minutes.
//
//    RetryClock retry_{ [ this ] { tryAgain(); } };
//    retry_.pendingIs( !refusals_.empty() );   // after each try, and after each change

#include <algorithm>
#include <functional>

#include "Platform/Zol/Clock.h"

namespace Agent {

class RetryClock {
 public:
   explicit RetryClock( std::function< void() > handler )
         : clock_( [ this, handler = std::move( handler ) ] {
              clock_.timeMinIs( Zol::never );
              interval_ = std::min( 2 * interval_, longestInterval );
              handler();
           } ) {}

   // Whether something is refused.
   void pendingIs( bool isPending ) {
      if ( !isPending ) {
         clock_.timeMinIs( Zol::never );
         interval_ = firstInterval;
      } else if ( clock_.timeMin() == Zol::never ) {
         clock_.timeMinIs( Zol::activityManager().now() + interval_ );
      }
   }
   // The intervals begin anew: the chip has been asked for something else.
   void restart() {
      clock_.timeMinIs( Zol::never );
      interval_ = firstInterval;
   }

 private:
   static constexpr Zol::Seconds firstInterval = 10;
   static constexpr Zol::Seconds longestInterval = 600;

   Zol::Seconds interval_ = firstInterval;
   Zol::Clock clock_;
};

} // namespace Agent
