#include "AgentServices/Layer4Plan.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace AgentServices {

using Karvel::RangeCheckerDesc;

PortPrefixes::PortPrefixes( const Acl::PortRange& range ) {
   const uint32_t end = uint32_t{ range.high() } + 1;
   for ( uint32_t low = range.low(); low < end; ) {
      // The largest block that starts here and does not reach beyond the end.
      const int aligned = low == 0 ? 16 : std::countr_zero( low );
      const int fitting = static_cast< int >( std::bit_width( end - low ) ) - 1;
      const uint32_t size = 1U << std::min( aligned, fitting );
      prefixes_[ count_++ ] = { static_cast< uint16_t >( low ),
         static_cast< uint16_t >( ~( size - 1 ) ) };
      low += size;
   }
}

namespace {

// A range, and what it costs with and without a checker.
struct Candidate {
   Candidate( uint32_t flags, const Acl::PortRange& range, const Layer4Side& side )
         : checked( flags, range.low(), range.high() ), prefixes( side.prefixes().size() ),
           isOpen( prefixes > 1 ) {}

   RangeCheckerDesc checked;
   size_t prefixes;
   bool isOpen; // false: a checker saves nothing, or none is left
};

// Which of the two ranges a checker checks.
struct Choice {
   bool source = false;
   bool destination = false;
};

Choice cheapest(
      const Candidate& source, const Candidate& destination, const HeldCheckers& checkers ) {
   Choice best;
   size_t least = source.prefixes * destination.prefixes;
   // Of equal choices the one with the fewest checkers wins: later rules may need them more.
   for ( const Choice choice :
         { Choice{ true, false }, Choice{ false, true }, Choice{ true, true } } ) {
      if ( ( choice.source && !source.isOpen ) ||
            ( choice.destination && !destination.isOpen ) ) {
         continue;
      }
      const size_t entries = ( choice.source ? 1 : source.prefixes ) *
            ( choice.destination ? 1 : destination.prefixes );
      const size_t cost = entries + ( choice.source && !checkers.has( source.checked ) ) +
            ( choice.destination && !checkers.has( destination.checked ) );
      if ( cost < least ) {
         best = choice;
         least = cost;
      }
   }
   return best;
}

} // namespace

Layer4Plan::Layer4Plan( const Acl::IpFilter& filter, HeldCheckers& checkers )
      : source_( filter.srcPort() ), destination_( filter.dstPort() ) {
   if ( entries() <= 1 ) [[likely]] {
      return;
   }
   Candidate source( RangeCheckerDesc::sourcePortRange, filter.srcPort(), source_ );
   Candidate destination(
         RangeCheckerDesc::destinationPortRange, filter.dstPort(), destination_ );
   for ( bool isRefused = true; isRefused; ) {
      const Choice choice = cheapest( source, destination, checkers );
      isRefused = false;
      const auto acquire = [ & ]( bool isChosen, Candidate& candidate, Layer4Side& side ) {
         if ( isChosen ) {
            side.checker = checkers.acquire( candidate.checked );
            candidate.isOpen = side.checker.has_value();
            isRefused = isRefused || !candidate.isOpen;
         }
      };
      // If only one is left, the range that needs it more gets it.
      if ( source.prefixes > destination.prefixes ) {
         acquire( choice.source, source, source_ );
         acquire( choice.destination, destination, destination_ );
      } else {
         acquire( choice.destination, destination, destination_ );
         acquire( choice.source, source, source_ );
      }
   }
}

} // namespace AgentServices
