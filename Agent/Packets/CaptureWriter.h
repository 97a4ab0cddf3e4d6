#pragma once

// Packets leave the agent as pcap files with nanosecond time stamps, link type Ethernet.
//
//    OutputFolder folder( "out" );
//    CaptureWriter writer( folder, "Ethernet0.pcap" );
//    writer.write( timeNs, frame, wireLength );
//    writer.file().complete();
//    writer.file().takeName();
//
// Nothing appears under the name before (see OutputFolder.h). All errors are CaptureError.

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "Agent/Packets/OutputFolder.h"

struct pcap_dumper;

namespace Agent {

class CaptureWriter {
 public:
   CaptureWriter( const OutputFolder& folder, const std::string& name );
   CaptureWriter( const CaptureWriter& ) = delete;
   CaptureWriter& operator=( const CaptureWriter& ) = delete;

   // Appends a frame. timeNs is since 1970; wireLength is at least the frame's size, more
   // if it was cut short when captured. Of a frame beyond 262,144 bytes, the most that
   // readers of captures accept, the rest is left out.
   void write( uint64_t timeNs, std::span< const uint8_t > frame, uint32_t wireLength );

   OutputFile& file() { return file_; }
   const OutputFile& file() const { return file_; }

 private:
   struct Close {
      void operator()( pcap_dumper* dumper ) const;
   };

   OutputFile file_;
   std::unique_ptr< pcap_dumper, Close > dumper_; // writes into the file's buffer
};

} // namespace Agent
