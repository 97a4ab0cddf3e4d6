#include "Agent/Rates/RateHistory.h"

#include <algorithm>
#include <set>

namespace Agent {

namespace {

// 1, 2 or 5 times a power of ten, no less than `ns`.
uint64_t roundStep( uint64_t ns ) {
   for ( uint64_t power = 1;; power *= 10 ) {
      for ( uint64_t factor : { 1U, 2U, 5U } ) {
         if ( factor * power >= ns ) {
            return factor * power;
         }
      }
   }
}

} // namespace

void RateHistory::add( uint64_t timeNs, Sample sample ) {
   if ( !samples_.empty() && timeNs <= samples_.back().first ) {
      samples_.back().second = std::move( sample ); // captures may go back in time
      return;
   }
   samples_.emplace_back( timeNs, std::move( sample ) );
   if ( samples_.size() > mostSamples ) {
      for ( size_t i = 0; 2 * i < samples_.size(); ++i ) {
         samples_[ i ] = std::move( samples_[ 2 * i ] );
      }
      samples_.resize( ( samples_.size() + 1 ) / 2 );
      stepNs_ *= 2;
   }
   nextNs_ = timeNs + stepNs_;
}

std::vector< std::string > RateHistory::sessions() const {
   std::set< std::string > names;
   for ( const auto& [ time, sample ] : samples_ ) {
      for ( const auto& [ name, totals ] : sample ) {
         names.insert( name );
      }
   }
   return { names.begin(), names.end() };
}

std::vector< RateInterval > RateHistory::intervals(
      const std::string& session, size_t most ) const {
   auto totalsAt = [ & ]( size_t sample ) {
      const auto at = samples_[ sample ].second.find( session );
      return at == samples_[ sample ].second.end() ? Totals() : at->second;
   };
   // From when something was offered to when nothing was any more.
   size_t first = 0;
   size_t last = samples_.empty() ? 0 : samples_.size() - 1;
   while ( first < last && totalsAt( first + 1 ) == totalsAt( first ) ) {
      ++first;
   }
   while ( first < last && totalsAt( last - 1 ) == totalsAt( last ) ) {
      --last;
   }
   std::vector< RateInterval > result;
   if ( first == last ) {
      return result;
   }
   const uint64_t start = samples_[ first ].first;
   const uint64_t end = samples_[ last ].first;
   const uint64_t step = roundStep( std::max( ( end - start ) / most + 1, stepNs_ ) );
   // A session that is made anew begins to count anew.
   auto since = []( const CopyCount& now, const CopyCount& before ) {
      return now.packets < before.packets
            ? now
            : CopyCount{ now.packets - before.packets, now.bytes - before.bytes };
   };
   // From sample to sample, so that each interval's copies are its own. What is left at the end
   // belongs to the last one: over a short time a few copies look like a high rate.
   while ( first < last ) {
      const uint64_t from = samples_[ first ].first;
      const Totals before = totalsAt( first );
      while ( first < last && samples_[ first ].first < from + step ) {
         ++first;
      }
      if ( samples_[ last ].first < samples_[ first ].first + step ) {
         first = last;
      }
      const Totals now = totalsAt( first );
      result.push_back( { from - start, samples_[ first ].first - start,
            since( now.passed, before.passed ), since( now.policed, before.policed ) } );
   }
   return result;
}

} // namespace Agent
