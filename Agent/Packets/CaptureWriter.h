#pragma once

// Packets leave the agent as pcap files with nanosecond time stamps, link type Ethernet.
//
//    CaptureWriter writer( "out/Ethernet0.pcap" );
//    writer.write( timeNs, frame, wireLength );
//    writer.commit();
//
// A file is written whole or not at all: frames go to a hidden file beside it, which takes
// the name at commit(). A writer that ends without commit() leaves nothing behind and an
// older file of that name as it was. Whoever is killed in between leaves the hidden file
// (".NAME.N.part"), which nothing reads. For whoever runs on and on there is publish().
//
// All errors (directory not writable, disk full, the name is a directory) are CaptureError.

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "Agent/Packets/CaptureReader.h"

struct pcap_dumper; // libpcap's handle of a file that is written

namespace Agent {

class CaptureWriter {
 public:
   explicit CaptureWriter( std::string path );
   // Throws if something other than a regular file stands at the path, as the constructor
   // would: for whoever makes writers late but wants to know early.
   static void checkReplaceable( const std::string& path );
   ~CaptureWriter();
   CaptureWriter( const CaptureWriter& ) = delete;
   CaptureWriter& operator=( const CaptureWriter& ) = delete;

   // Appends a frame. timeNs is since 1970; wireLength is at least the frame's size, more
   // if it was cut short when captured. Of a frame beyond 262,144 bytes, the most that
   // readers of captures accept, the rest is left out.
   void write( uint64_t timeNs, std::span< const uint8_t > frame, uint32_t wireLength );

   // Writes out what is buffered and closes the hidden file: nothing can fail any more but
   // the renaming. For whoever commits several files together.
   void complete();
   // Completes the file, if complete() has not, and gives it its name.
   void commit();
   // Gives the file its name, if it has not got it, with all frames so far in it: others can
   // read it while more are written.
   void publish();

   const std::string& path() const { return path_; }
   uint64_t frames() const { return frames_; }

 private:
   struct Close {
      void operator()( pcap_dumper* dumper ) const;
   };
   void openTemporary();
   void takeName();
   [[noreturn]] void failWrite() const;

   std::string path_;
   std::string temporary_; // empty once renamed
   uint64_t frames_ = 0;
   std::unique_ptr< char[] > buffer_; // of the stream inside dumper_, so declared before it
   std::unique_ptr< pcap_dumper, Close > dumper_; // none once complete
};

} // namespace Agent
