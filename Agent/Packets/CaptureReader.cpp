#include "Agent/Packets/CaptureReader.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include <pcap/pcap.h>
#include <sys/stat.h>

namespace Agent {

namespace {

constexpr size_t streamBufferBytes = 256 * 1024;
constexpr int64_t nsPerSecond = 1'000'000'000;
constexpr const char* allowedFiles = "; allowed: a pcap (version 2.4) or pcapng file";

// Stamps out of range occur in damaged captures. A fraction beyond its second is held to
// it, so that it moves the frame by less than a second.
uint64_t stampNs( const timeval& stamp ) {
   int64_t seconds = stamp.tv_sec;
   if ( seconds < 0 ) {
      seconds += int64_t( 1 ) << 32; // pcap's seconds are unsigned, libpcap's are not
   }
   seconds = std::clamp< int64_t >( seconds, 0, std::numeric_limits< uint32_t >::max() );
   // Nanoseconds: the handle is opened with that precision.
   int64_t fraction = std::clamp< int64_t >( stamp.tv_usec, 0, nsPerSecond - 1 );
   return static_cast< uint64_t >( seconds * nsPerSecond + fraction );
}

// What the kernel would let us open although no capture can come of it.
void checkKind( const std::string& path ) {
   struct stat status {};
   if ( ::stat( path.c_str(), &status ) != 0 ) {
      throw CaptureError( path + ": cannot be read (" + std::strerror( errno ) + ")" );
   }
   if ( S_ISDIR( status.st_mode ) ) {
      throw CaptureError( path + ": is a directory" + allowedFiles );
   }
   if ( !S_ISREG( status.st_mode ) ) {
      throw CaptureError( path + ": is not a regular file" + allowedFiles );
   }
   if ( status.st_size == 0 ) {
      throw CaptureError( path + ": is empty" + allowedFiles );
   }
}

std::string linkTypeName( int linkType ) {
   const char* name = pcap_datalink_val_to_name( linkType );
   if ( !name ) {
      return std::to_string( linkType );
   }
   const char* description = pcap_datalink_val_to_description( linkType );
   return description ? std::string( name ) + " (" + description + ")" : name;
}

} // namespace

void CaptureReader::Close::operator()( pcap* handle ) const { pcap_close( handle ); }

CaptureReader::CaptureReader( const std::string& path )
      : path_( path ), buffer_( std::make_unique< char[] >( streamBufferBytes ) ) {
   checkKind( path );
   FILE* stream = std::fopen( path.c_str(), "rbe" );
   if ( !stream ) {
      throw CaptureError( path + ": cannot be read (" + std::strerror( errno ) + ")" );
   }
   std::setvbuf( stream, buffer_.get(), _IOFBF, streamBufferBytes );
   char error[ PCAP_ERRBUF_SIZE ] = "";
   handle_.reset( pcap_fopen_offline_with_tstamp_precision(
         stream, PCAP_TSTAMP_PRECISION_NANO, error ) );
   if ( !handle_ ) {
      std::fclose( stream );
      throw CaptureError( path + ": is not a capture (" + error + ")" + allowedFiles );
   }
   int linkType = pcap_datalink( handle_.get() );
   if ( linkType != DLT_EN10MB ) {
      throw CaptureError(
            path + ": has link type " + linkTypeName( linkType ) + "; allowed: Ethernet" );
   }
}

CaptureReader::~CaptureReader() = default;
CaptureReader::CaptureReader( CaptureReader&& ) noexcept = default;

CaptureReader& CaptureReader::operator=( CaptureReader&& other ) noexcept {
   // The stream goes before its buffer.
   handle_ = std::move( other.handle_ );
   buffer_ = std::move( other.buffer_ );
   path_ = std::move( other.path_ );
   frames_ = other.frames_;
   return *this;
}

bool CaptureReader::next( CaptureFrame& frame ) {
   pcap_pkthdr* header = nullptr;
   const u_char* data = nullptr;
   int rc = pcap_next_ex( handle_.get(), &header, &data );
   if ( rc == PCAP_ERROR_BREAK ) {
      return false;
   }
   if ( rc != 1 ) {
      failRead();
   }
   frame.timeNs = stampNs( header->ts );
   frame.data = data;
   frame.length = header->caplen;
   frame.wireLength = std::max( header->len, header->caplen );
   ++frames_;
   return true;
}

void CaptureReader::failRead() {
   std::string text = pcap_geterr( handle_.get() );
   std::string where = path_ + ": after packet " + std::to_string( frames_ ) + ": ";
   if ( std::feof( pcap_file( handle_.get() ) ) ) {
      throw CaptureError( where + "ends in the middle of a packet (" + text + ")" );
   }
   // The interfaces of a pcapng file may differ; libpcap reads those like the first only.
   bool interfacesDiffer = text.find( "different from" ) != text.npos;
   throw CaptureError( where + text +
         ( interfacesDiffer ? "; allowed: interfaces of one link type, "
                              "Ethernet, and one snapshot length"
                            : "" ) );
}

CaptureSummary validateCapture( const std::string& path ) {
   CaptureReader reader( path );
   CaptureSummary summary;
   for ( CaptureFrame frame; reader.next( frame ); ) {
      if ( reader.frames() == 1 ) {
         summary.firstNs = frame.timeNs;
      }
      summary.lastNs = std::max( summary.lastNs, frame.timeNs );
   }
   summary.frames = reader.frames();
   return summary;
}

} // namespace Agent
