#pragma once

// Packets enter the agent from capture files: pcap (micro- or nanoseconds, either byte
// order) and pcapng, link type Ethernet, also packed by gzip; from files, pipes and standard
// input ("-").
//
//    CaptureReader reader( "host-a.pcap" );
//    for ( CaptureFrame frame; reader.next( frame ); ) {
//       use( frame.timeNs, frame.data, frame.length );
//    }
//
// Frames are read one at a time from the library's buffer and never copied here, so a
// capture of any size takes the same memory. Whatever is wrong with a file is a
// CaptureError whose text is one line beginning with the file's name.
//
// A file whose link type announces frame check sequences is read like any other: those
// bytes stay where they are, at the end of the frame.
//
// Limits: the interfaces of a pcapng file are of one link type and one snapshot length
// ("editcap -F pcap" makes them so); frames of up to 262,144 bytes.
// Formats: https://datatracker.ietf.org/doc/draft-ietf-opsawg-pcap/ and
// https://datatracker.ietf.org/doc/draft-ietf-opsawg-pcapng/

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

struct pcap; // libpcap's handle

namespace Agent {

// A capture file that cannot be read or written: one line, "FILE: what is wrong".
class CaptureError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

// One frame as it stood on the wire, without preamble.
struct CaptureFrame {
   uint64_t timeNs = 0;           // since 1970, at most to the year 2106, as pcap can say it
   const uint8_t* data = nullptr; // not owned; valid until the reader's next call
   uint32_t length = 0;           // bytes at data; may be 0 in a damaged capture
   uint32_t wireLength = 0;       // bytes on the wire, never less than length
};

class CaptureReader {
 public:
   // Opens the file and reads its header.
   explicit CaptureReader( const std::string& path );
   ~CaptureReader();
   CaptureReader( CaptureReader&& ) noexcept;
   CaptureReader& operator=( CaptureReader&& ) noexcept;

   // Fetches the next frame in the order of the file; false at its end, also where it was cut
   // off. Throws CaptureError if the file is damaged from here on: the frames before are good;
   // Interrupted (see Interruption.h) as well.
   bool next( CaptureFrame& frame );

   const std::string& path() const { return path_; }
   // How many frames next() has yielded so far.
   uint64_t frames() const { return frames_; }
   // At the end of a capture that was cut off: says so, in one line. Else empty.
   const std::string& cut() const { return cut_; }

 private:
   struct Close {
      void operator()( pcap* handle ) const;
   };
   void readEnd( bool betweenPackets );

   std::string path_;
   uint64_t frames_ = 0;
   std::string cut_;
   std::unique_ptr< std::string > problem_; // with unpacking
   std::unique_ptr< char[] > buffer_; // of the stream inside handle_, so declared before it
   std::unique_ptr< pcap, Close > handle_;
};

// What one reading of a whole capture found. The times are 0 if it holds no frame.
struct CaptureSummary {
   uint64_t frames = 0;
   uint64_t firstNs = 0; // of the first frame in the file
   uint64_t lastNs = 0;  // the latest of all
   std::string cut;      // as the reader's
};

// Reads a capture to its end, so that a damaged one is refused before any of its frames
// has had an effect. Throws CaptureError.
CaptureSummary validateCapture( const std::string& path );

} // namespace Agent
