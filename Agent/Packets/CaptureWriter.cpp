#include "Agent/Packets/CaptureWriter.h"

#include <algorithm>

namespace Agent {

namespace {

constexpr uint32_t snapshotBytes = 262144; // the largest that readers of captures accept
constexpr uint64_t nsPerSecond = 1'000'000'000;

// As https://datatracker.ietf.org/doc/draft-ietf-opsawg-pcap/ has them, in the byte order of
// this machine, which the first number tells.
struct FileHeader {
   uint32_t magic = 0xa1b23c4d; // stamps in nanoseconds
   uint16_t major = 2;
   uint16_t minor = 4;
   uint32_t reserved[ 2 ]{};
   uint32_t snapshot = snapshotBytes;
   uint32_t linkType = 1; // Ethernet
};

struct FrameHeader {
   uint32_t seconds;
   uint32_t nanoseconds;
   uint32_t captured;
   uint32_t sent;
};

template < typename Header >
std::span< const uint8_t > bytesOf( const Header& header ) {
   return { reinterpret_cast< const uint8_t* >( &header ), sizeof header };
}

} // namespace

CaptureWriter::CaptureWriter( const OutputFolder& folder, const std::string& name )
      : file_( folder, name ) {
   file_.append( bytesOf( FileHeader() ) );
}

void CaptureWriter::write(
      uint64_t timeNs, std::span< const uint8_t > frame, uint32_t wireLength ) {
   const std::span< const uint8_t > kept =
         frame.first( std::min< size_t >( frame.size(), snapshotBytes ) );
   file_.append( bytesOf( FrameHeader{ static_cast< uint32_t >( timeNs / nsPerSecond ),
         static_cast< uint32_t >( timeNs % nsPerSecond ),
         static_cast< uint32_t >( kept.size() ), wireLength } ) );
   file_.append( kept );
}

} // namespace Agent
