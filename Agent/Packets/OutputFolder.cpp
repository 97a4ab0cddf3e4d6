#include "Agent/Packets/OutputFolder.h"

#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Agent/Packets/CaptureReader.h"

namespace Agent {

namespace {

constexpr unsigned maxAttempts = 99;
constexpr std::string_view hiddenEnd = ".part";

std::string because( int error ) { return std::string( " (" ) + std::strerror( error ) + ")"; }

std::string hiddenName( const std::string& name, unsigned attempt ) {
   return "." + name + "." + std::to_string( attempt ) + std::string( hiddenEnd );
}

// Such a name, of one of the files that an agent writes.
bool isHiddenName( std::string_view name ) {
   if ( !name.starts_with( '.' ) || !name.ends_with( hiddenEnd ) ) {
      return false;
   }
   name.remove_suffix( hiddenEnd.size() );
   const size_t digits = name.find_last_not_of( "0123456789" );
   if ( digits == name.npos || digits + 1 == name.size() || name[ digits ] != '.' ) {
      return false;
   }
   name = name.substr( 0, digits );
   return name.ends_with( ".pcap" ) || name.ends_with( ".svg" );
}

// A writer holds this lock as long as it lives.
bool locks( int descriptor ) { return ::flock( descriptor, LOCK_EX | LOCK_NB ) == 0; }

} // namespace

OutputFolder::OutputFolder( std::string path ) : path_( std::move( path ) ) {
   made_ = ::mkdir( path_.c_str(), 0777 ) == 0;
   if ( !made_ && errno != EEXIST ) {
      throw CaptureError( path_ + ": cannot be made" + because( errno ) );
   }
   open();
   removeRemains();
}

void OutputFolder::open() {
   struct stat status {};
   if ( ::stat( path_.c_str(), &status ) != 0 || !S_ISDIR( status.st_mode ) ) {
      throw CaptureError( path_ + ": is not a directory; allowed: a directory or a new name" );
   }
   descriptor_ = ::open( path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC );
   if ( descriptor_ < 0 || ::faccessat( descriptor_, ".", W_OK | X_OK, 0 ) != 0 ) {
      const int error = errno;
      ::close( descriptor_ );
      throw CaptureError( path_ + ": cannot be written" + because( error ) );
   }
}

OutputFolder::~OutputFolder() {
   if ( made_ && isThere() ) {
      ::rmdir( path_.c_str() );
   }
   ::close( descriptor_ );
}

bool OutputFolder::isThere() const {
   struct stat now {};
   struct stat opened {};
   return ::stat( path_.c_str(), &now ) == 0 && ::fstat( descriptor_, &opened ) == 0 &&
         now.st_dev == opened.st_dev && now.st_ino == opened.st_ino;
}

void OutputFolder::checkReplaceable( const std::string& name ) const {
   struct stat status {};
   if ( ::fstatat( descriptor_, name.c_str(), &status, AT_SYMLINK_NOFOLLOW ) != 0 ||
         S_ISREG( status.st_mode ) || S_ISLNK( status.st_mode ) ) {
      return;
   }
   // The renaming would fail, or put a file in the place of a device.
   throw CaptureError( pathOf( name ) + ": cannot be written (" +
         ( S_ISDIR( status.st_mode ) ? "is a directory" : "is not a regular file" ) + ")" );
}

void OutputFolder::remove( const std::string& name ) const {
   checkReplaceable( name );
   if ( ::unlinkat( descriptor_, name.c_str(), 0 ) != 0 && errno != ENOENT ) {
      throw CaptureError( pathOf( name ) + ": is of an earlier run and cannot be removed" +
            because( errno ) );
   }
}

// Best effort: they are in nobody's way.
void OutputFolder::removeRemains() const {
   const int readable = ::openat( descriptor_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC );
   DIR* const folder = readable < 0 ? nullptr : ::fdopendir( readable );
   if ( !folder ) {
      return;
   }
   while ( const dirent* const entry = ::readdir( folder ) ) {
      if ( !isHiddenName( entry->d_name ) ) {
         continue;
      }
      const int file = ::openat(
            descriptor_, entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC );
      if ( file >= 0 ) {
         if ( locks( file ) ) {
            ::unlinkat( descriptor_, entry->d_name, 0 );
         }
         ::close( file );
      }
   }
   ::closedir( folder );
}

OutputFile::OutputFile( const OutputFolder& folder, std::string name )
      : folder_( folder ), name_( std::move( name ) ) {
   folder_.checkReplaceable( name_ );
   makeHidden();
   buffer_.reserve( bufferBytes );
}

void OutputFile::makeHidden() {
   for ( unsigned attempt = 0; attempt < maxAttempts; ++attempt ) {
      hidden_ = hiddenName( name_, attempt );
      descriptor_ = ::openat( folder_.descriptor(), hidden_.c_str(),
            O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666 );
      if ( descriptor_ < 0 && errno != EEXIST ) {
         fail( errno );
      }
      if ( descriptor_ < 0 ) {
         continue;
      }
      // Another agent that opens the folder may have found the file before it was locked. Some
      // file systems have no locks; there the remains stay.
      struct stat status {};
      const bool isOurs = locks( descriptor_ ) || errno != EWOULDBLOCK;
      if ( isOurs && ::fstat( descriptor_, &status ) == 0 && status.st_nlink > 0 ) {
         return;
      }
      ::close( descriptor_ );
   }
   fail( EEXIST );
}

OutputFile::~OutputFile() {
   if ( !hidden_.empty() ) {
      ::unlinkat( folder_.descriptor(), hidden_.c_str(), 0 );
   }
   ::close( descriptor_ );
}

void OutputFile::flush() {
   for ( size_t at = 0; at < buffer_.size(); ) {
      const ssize_t count =
            ::pwrite( descriptor_, buffer_.data() + at, buffer_.size() - at, written_ );
      if ( count < 0 && errno != EINTR ) {
         fail( errno );
      }
      at += static_cast< size_t >( count > 0 ? count : 0 );
      written_ += count > 0 ? count : 0;
   }
   buffer_.clear();
}

void OutputFile::complete() {
   flush();
   // Some file systems say only at a close that there is no room. The file itself stays open,
   // and locked, as long as it is hidden.
   const int again = ::dup( descriptor_ );
   if ( again < 0 || ::close( again ) != 0 ) {
      fail( errno );
   }
}

void OutputFile::takeName() {
   if ( !hidden_.empty() ) {
      folder_.checkReplaceable( name_ ); // also if it has come meanwhile
      const int folder = folder_.descriptor();
      if ( ::renameat( folder, hidden_.c_str(), folder, name_.c_str() ) != 0 ) {
         fail( errno );
      }
      hidden_.clear();
   }
}

void OutputFile::rollBack() {
   buffer_.clear();
   written_ = kept_;
   if ( ::ftruncate( descriptor_, kept_ ) != 0 ) {
      fail( errno );
   }
}

bool OutputFile::isIntact() const {
   struct stat named {};
   struct stat opened {};
   return ::fstatat( folder_.descriptor(), name_.c_str(), &named, AT_SYMLINK_NOFOLLOW ) == 0 &&
         ::fstat( descriptor_, &opened ) == 0 && named.st_dev == opened.st_dev &&
         named.st_ino == opened.st_ino && opened.st_size == kept_;
}

void OutputFile::fail( int error ) const {
   throw CaptureError( folder_.pathOf( name_ ) + ": cannot be written" + because( error ) );
}

} // namespace Agent
