#pragma once

// Several captures as one stream of arrivals, by time stamp: what a switch sees when the
// captures' hosts send to its ports at once.
//
//    CaptureMerge merge;
//    merge.add( "Ethernet0", CaptureReader( "host-a.pcap" ) );
//    merge.add( "Ethernet4", CaptureReader( "host-b.pcap" ) );
//    for ( Arrival arrival; merge.next( arrival ); ) ...
//
// The stream's clock never goes backwards. The order within a capture is kept: a frame
// whose stamp lies before that of an earlier frame of its file gets the earlier frame's
// time. Frames of the same time come in the order in which their captures were added.
// A port may be fed by several captures.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Agent/Packets/CaptureReader.h"

namespace Agent {

struct Arrival {
   size_t input = 0;   // which capture, counted from 0 in the order of add()
   CaptureFrame frame; // valid until the next call; timeNs is the stream's clock
};

class CaptureMerge {
 public:
   // Adds a capture. Only before the first next().
   void add( std::string port, CaptureReader reader );

   // Fetches the next arrival; false when all captures are read out. Throws CaptureError
   // if a capture is damaged (see validateCapture).
   bool next( Arrival& arrival );

   size_t inputs() const { return sources_.size(); }
   const std::string& port( size_t input ) const { return sources_.at( input ).port; }
   const CaptureReader& reader( size_t input ) const { return sources_.at( input ).reader; }

 private:
   struct Source {
      std::string port;
      CaptureReader reader;
      CaptureFrame frame; // the next to leave, unless atEnd
      bool atEnd = false;
   };
   static void advance( Source& source );
   void start();

   std::vector< Source > sources_;
   // The source whose frame is out with the caller: it may read on only with the next call.
   Source* taken_ = nullptr;
   bool started_ = false;
};

} // namespace Agent
