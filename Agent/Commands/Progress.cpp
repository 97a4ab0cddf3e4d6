#include "Agent/Commands/Progress.h"

#include <cmath>
#include <cstdio>
#include <utility>

#include <unistd.h>

namespace Agent {

namespace {

constexpr std::chrono::seconds patience( 2 );
constexpr std::chrono::milliseconds interval( 200 );

} // namespace

Progress::Progress( uint64_t expected )
      : expected_( expected ), isTerminal_( isatty( STDERR_FILENO ) ),
        next_( start_ + patience ) {}

void Progress::arrived( uint64_t frames ) {
   frames_ += frames;
   if ( !isTerminal_ || Clock::now() < next_ ) {
      return;
   }
   next_ = Clock::now() + interval;
   isShown_ = true;
   const auto all = static_cast< double >( frames_ );
   const double rate = all / std::chrono::duration< double >( Clock::now() - start_ ).count();
   std::fprintf( stderr, "\r%.0f frames, %.0f per second", all, rate );
   if ( expected_ >= frames_ && rate > 0 ) {
      std::fprintf( stderr, ", %.0f s left",
            std::ceil( ( static_cast< double >( expected_ ) - all ) / rate ) );
   }
   std::fputs( "\x1b[K", stderr );
}

void Progress::clear() {
   if ( std::exchange( isShown_, false ) ) {
      std::fputs( "\r\x1b[K", stderr );
   }
}

} // namespace Agent
