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

#include "Agent/Packets/InputStream.h"
#include "Agent/Packets/Interruption.h"

namespace Agent {

namespace {

constexpr size_t streamBufferBytes = 256 * 1024;
constexpr int64_t nsPerSecond = 1'000'000'000;
constexpr uint64_t framesBetweenLooks = 1024; // for an interruption
constexpr const char* allowedFiles =
      "; allowed: a pcap (version 2.4) or pcapng file, also packed by gzip";

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

// Of what can be read only once, nothing is known before it is read.
void checkKind( const std::string& path ) {
   if ( canBeReadOnce( path ) ) {
      return;
   }
   struct stat status {};
   if ( ::stat( path.c_str(), &status ) != 0 ) {
      throw CaptureError( path + ": cannot be read (" + std::strerror( errno ) + ")" );
   }
   if ( S_ISDIR( status.st_mode ) ) {
      throw CaptureError( path + ": is a directory" + allowedFiles );
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
      : path_( path ), problem_( std::make_unique< std::string >() ),
        buffer_( std::make_unique< char[] >( streamBufferBytes ) ) {
   checkKind( path );
   std::FILE* const stream = openInput( path, *problem_ );
   std::setvbuf( stream, buffer_.get(), _IOFBF, streamBufferBytes );
   char error[ PCAP_ERRBUF_SIZE ] = "";
   handle_.reset( pcap_fopen_offline_with_tstamp_precision(
         stream, PCAP_TSTAMP_PRECISION_NANO, error ) );
   if ( !handle_ ) {
      std::fclose( stream );
      checkInterruption();
      throw CaptureError( path + ": is not a capture (" +
            ( problem_->empty() ? error : *problem_ ) + ")" + allowedFiles );
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
   problem_ = std::move( other.problem_ );
   cut_ = std::move( other.cut_ );
   path_ = std::move( other.path_ );
   frames_ = other.frames_;
   return *this;
}

bool CaptureReader::next( CaptureFrame& frame ) {
   if ( frames_ % framesBetweenLooks == 0 ) {
      checkInterruption();
   }
   pcap_pkthdr* header = nullptr;
   const u_char* data = nullptr;
   int rc = pcap_next_ex( handle_.get(), &header, &data );
   if ( rc != 1 ) {
      readEnd( rc == PCAP_ERROR_BREAK );
      return false;
   }
   frame.timeNs = stampNs( header->ts );
   frame.data = data;
   frame.length = header->caplen;
   frame.wireLength = std::max( header->len, header->caplen );
   ++frames_;
   return true;
}

// Also of a capture that was cut off, as by a full disk: what is whole is good.
void CaptureReader::readEnd( bool betweenPackets ) {
   checkInterruption();
   const std::string text = pcap_geterr( handle_.get() );
   const std::string count = std::to_string( frames_ );
   if ( betweenPackets && problem_->empty() ) {
      return;
   }
   if ( betweenPackets || std::feof( pcap_file( handle_.get() ) ) ) {
      const std::string what =
            betweenPackets ? "ends too early" : "ends in the middle of a packet";
      cut_ = path_ + ": " + what + " (" + ( problem_->empty() ? text : *problem_ ) + "); the " +
            count + " packets before are whole";
      return;
   }
   const std::string where = path_ + ": after packet " + count + ": ";
   if ( !problem_->empty() ) {
      throw CaptureError( where + *problem_ );
   }
   // The interfaces of a pcapng file may differ; libpcap reads those like the first only.
   const bool interfacesDiffer = text.find( "different from" ) != text.npos;
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
   summary.cut = reader.cut();
   return summary;
}

} // namespace Agent
