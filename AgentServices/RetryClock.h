#pragma once

// When to try again what a chip refused: after 10 seconds, then after twice as long each time, up
// to 10 minutes. So what stays refused does not fill the log.

#include <algorithm>
#include <functional>
#include <utility>

#include "Platform/Zol/Clock.h"

namespace AgentServices {

class RetryClock {
 public:
   explicit RetryClock( std::function< void() > retry )
         : clock_( [ this, retry = std::move( retry ) ] {
              clock_.timeMinIs( Zol::never );
              retry();
           } ) {}

   // Retries when the interval has passed from now, unless it is to retry anyway.
   void arm() {
      if ( clock_.timeMin() == Zol::never ) {
         clock_.timeMinIs( Zol::activityManager().now() + interval_ );
      }
   }
   // It was tried, and is still to be tried: from now on in longer intervals.
   void stillRefused() { interval_ = std::min( 2 * interval_, longest ); }
   // Something has changed, or nothing is refused any more: the next retry comes soon.
   void startAfresh() {
      clock_.timeMinIs( Zol::never );
      interval_ = first;
   }
   void disarm() { clock_.timeMinIs( Zol::never ); }

 private:
   static constexpr Zol::Seconds first = 10;
   static constexpr Zol::Seconds longest = 600;

   Zol::Seconds interval_ = first;
   Zol::Clock clock_;
};

} // namespace AgentServices
