#include "Agent/Packets/CaptureWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <pcap/pcap.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

constexpr size_t streamBufferBytes = 256 * 1024;
constexpr size_t snapshotBytes = 262144; // the largest that libpcap and its users accept
constexpr unsigned maxAttempts = 99;
constexpr uint64_t nsPerSecond = 1'000'000'000;

[[noreturn]] void fail( const std::string& path, int error ) {
   throw CaptureError( path + ": cannot be written (" + std::strerror( error ) + ")" );
}

std::string temporaryName( const std::string& path, unsigned attempt ) {
   size_t nameStart = path.rfind( '/' ) + 1; // 0 if there is none
   return path.substr( 0, nameStart ) + "." + path.substr( nameStart ) + "." +
         std::to_string( attempt ) + ".part";
}

// A new file of the first such name that is free: others may be another writer's, or the
// remains of one that was killed. Returns the name and the open descriptor.
std::pair< std::string, int > makeTemporary( const std::string& path ) {
   for ( unsigned attempt = 0;; ++attempt ) {
      std::string name = temporaryName( path, attempt );
      int descriptor = ::open( name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666 );
      if ( descriptor >= 0 ) {
         return { std::move( name ), descriptor };
      }
      if ( errno != EEXIST || attempt == maxAttempts ) {
         fail( path, errno );
      }
   }
}

} // namespace

void CaptureWriter::Close::operator()( pcap_dumper* dumper ) const {
   pcap_dump_close( dumper );
}

CaptureWriter::CaptureWriter( std::string path )
      : path_( std::move( path ) ), buffer_( std::make_unique< char[] >( streamBufferBytes ) ) {
   checkReplaceable( path_ );
   openTemporary();
}

void CaptureWriter::checkReplaceable( const std::string& path ) {
   struct stat status {};
   if ( ::stat( path.c_str(), &status ) == 0 && !S_ISREG( status.st_mode ) ) {
      // The renaming would fail, or put a file in the place of a device.
      throw CaptureError( path + ": cannot be written (" +
            ( S_ISDIR( status.st_mode ) ? "is a directory" : "is not a regular file" ) + ")" );
   }
}

void CaptureWriter::openTemporary() {
   int descriptor = -1;
   std::tie( temporary_, descriptor ) = makeTemporary( path_ );
   FILE* stream = ::fdopen( descriptor, "wb" );
   ZOL_ASSERT( stream );
   std::setvbuf( stream, buffer_.get(), _IOFBF, streamBufferBytes );
   pcap_t* format = pcap_open_dead_with_tstamp_precision(
         DLT_EN10MB, snapshotBytes, PCAP_TSTAMP_PRECISION_NANO );
   ZOL_ASSERT( format );
   dumper_.reset( pcap_dump_fopen( format, stream ) );
   pcap_close( format );
   ZOL_ASSERT( dumper_ ); // the header fits the buffer, so no error is possible yet
}

CaptureWriter::~CaptureWriter() {
   if ( !temporary_.empty() ) {
      ::unlink( temporary_.c_str() );
   }
}

void CaptureWriter::write(
      uint64_t timeNs, std::span< const uint8_t > frame, uint32_t wireLength ) {
   ZOL_ASSERT( dumper_ );
   pcap_pkthdr header{};
   header.ts.tv_sec = static_cast< time_t >( timeNs / nsPerSecond );
   header.ts.tv_usec = static_cast< suseconds_t >( timeNs % nsPerSecond );
   header.caplen = static_cast< bpf_u_int32 >( std::min( frame.size(), snapshotBytes ) );
   header.len = wireLength;
   pcap_dump( reinterpret_cast< u_char* >( dumper_.get() ), &header, frame.data() );
   // pcap_dump() itself reports nothing, and the cause is known only now.
   if ( ::ferror_unlocked( pcap_dump_file( dumper_.get() ) ) ) [[unlikely]] {
      failWrite();
   }
   ++frames_;
}

void CaptureWriter::complete() {
   if ( dumper_ ) {
      if ( pcap_dump_flush( dumper_.get() ) != 0 ) {
         failWrite();
      }
      dumper_.reset();
   }
}

void CaptureWriter::commit() {
   complete();
   takeName();
}

void CaptureWriter::publish() {
   ZOL_ASSERT( dumper_ );
   if ( pcap_dump_flush( dumper_.get() ) != 0 ) {
      failWrite();
   }
   takeName();
}

void CaptureWriter::takeName() {
   if ( !temporary_.empty() ) {
      if ( ::rename( temporary_.c_str(), path_.c_str() ) != 0 ) {
         failWrite();
      }
      temporary_.clear();
   }
}

void CaptureWriter::failWrite() const { fail( path_, errno ); }

} // namespace Agent
