#include "Agent/Packets/CaptureMerge.h"

#include <algorithm>
#include <utility>

#include "Platform/Zol/Assert.h"

namespace Agent {

void CaptureMerge::add( std::string port, CaptureReader reader ) {
   ZOL_ASSERT( !started_ );
   sources_.push_back( { std::move( port ), std::move( reader ), {}, false } );
}

void CaptureMerge::advance( Source& source ) {
   uint64_t clock = source.frame.timeNs;
   source.atEnd = !source.reader.next( source.frame );
   source.frame.timeNs = std::max( source.frame.timeNs, clock );
}

void CaptureMerge::start() {
   started_ = true;
   for ( Source& source : sources_ ) {
      advance( source );
   }
}

bool CaptureMerge::next( Arrival& arrival ) {
   if ( !started_ ) {
      start();
   }
   if ( taken_ ) {
      advance( *taken_ );
      taken_ = nullptr;
   }
   // A few captures at most: looking at each beats keeping a heap.
   for ( Source& source : sources_ ) {
      if ( !source.atEnd && ( !taken_ || source.frame.timeNs < taken_->frame.timeNs ) ) {
         taken_ = &source;
      }
   }
   if ( !taken_ ) {
      return false;
   }
   arrival.input = static_cast< size_t >( taken_ - sources_.data() );
   arrival.frame = taken_->frame;
   return true;
}

} // namespace Agent
