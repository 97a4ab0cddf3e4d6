#include "Agent/Packets/InputStream.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include "Agent/Packets/CaptureReader.h"
#include "Agent/Packets/Interruption.h"
#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

constexpr const char* standardInput = "-";
constexpr unsigned packedBufferBytes = 128 * 1024;

struct Unpacker {
   gzFile file = nullptr;
   std::string& problem;
};

ssize_t readUnpacked( void* cookie, char* buffer, size_t size ) {
   auto& unpacker = *static_cast< Unpacker* >( cookie );
   const int count = ::gzread( unpacker.file, buffer, static_cast< unsigned >( size ) );
   int error = Z_OK;
   const char* text = ::gzerror( unpacker.file, &error );
   if ( error == Z_ERRNO && errno == EINTR ) {
      return -1; // not the file's fault
   }
   if ( error != Z_OK ) {
      unpacker.problem = error == Z_ERRNO ? std::strerror( errno ) : text;
   }
   return count; // at an unexpected end: first what there is
}

int closeUnpacked( void* cookie ) {
   const std::unique_ptr< Unpacker > unpacker( static_cast< Unpacker* >( cookie ) );
   ::gzclose( unpacker->file );
   return 0;
}

std::FILE* unpack( int descriptor, std::string& problem ) {
   auto unpacker = std::make_unique< Unpacker >( Unpacker{ nullptr, problem } );
   unpacker->file = ::gzdopen( descriptor, "rb" );
   ZOL_ASSERT( unpacker->file );
   ::gzbuffer( unpacker->file, packedBufferBytes );
   std::FILE* const stream = ::fopencookie(
         unpacker.get(), "rb", { readUnpacked, nullptr, nullptr, closeUnpacked } );
   ZOL_ASSERT( stream );
   unpacker.release(); // closed with the stream
   return stream;
}

int openDescriptor( const std::string& path ) {
   const int descriptor = path == standardInput ? ::fcntl( STDIN_FILENO, F_DUPFD_CLOEXEC, 0 )
                                                : ::open( path.c_str(), O_RDONLY | O_CLOEXEC );
   if ( descriptor < 0 ) {
      const int error = errno;
      checkInterruption(); // while it waited for a writer
      throw CaptureError( path + ": cannot be read (" + std::strerror( error ) + ")" );
   }
   return descriptor;
}

} // namespace

bool canBeReadOnce( const std::string& path ) {
   struct stat status {};
   return path == standardInput ||
         ( ::stat( path.c_str(), &status ) == 0 && !S_ISREG( status.st_mode ) &&
               !S_ISDIR( status.st_mode ) );
}

std::FILE* openInput( const std::string& path, std::string& problem ) {
   const int descriptor = openDescriptor( path );
   std::array< unsigned char, 2 > start{};
   const ssize_t count = ::pread( descriptor, start.data(), start.size(), 0 );
   const bool isPlain = count >= 0 && !( start[ 0 ] == 0x1f && start[ 1 ] == 0x8b );
   // A pipe does not let us look ahead; zlib passes on what is not packed.
   std::FILE* const stream =
         isPlain ? ::fdopen( descriptor, "rb" ) : unpack( descriptor, problem );
   ZOL_ASSERT( stream );
   return stream;
}

} // namespace Agent
