#include "Agent/Packets/OutputDirectory.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

std::string fileName( std::string_view port, OutputKind kind ) {
   return std::string( port ) + ( kind == OutputKind::Mirrored ? ".mirror.pcap" : ".pcap" );
}

void checkPortName( const std::string& port ) {
   if ( port.empty() || port.front() == '.' || port.find( '/' ) != port.npos ||
         port.find( '\0' ) != port.npos ) {
      throw CaptureError( "port \"" + port +
            "\" cannot name a capture file; allowed: names without '/' that do not begin "
            "with '.'" );
   }
}

bool isRegularFile( const std::string& path ) {
   struct stat status {};
   return ::lstat( path.c_str(), &status ) == 0 && S_ISREG( status.st_mode );
}

} // namespace

OutputDirectory::OutputDirectory( std::string path, const std::vector< std::string >& ports,
      const std::vector< std::string >& inputs )
      : path_( std::move( path ) ) {
   for ( const std::string& port : ports ) {
      addPort( port );
   }
   makeDirectory();
   for ( const auto& [ name, unused ] : files_ ) {
      checkOutput( path_ + "/" + name, inputs );
   }
}

void OutputDirectory::addPort( const std::string& port ) {
   checkPortName( port );
   for ( OutputKind kind : { OutputKind::Forwarded, OutputKind::Mirrored } ) {
      std::string name = fileName( port, kind );
      if ( !files_.try_emplace( name ).second ) {
         throw CaptureError( "port \"" + port + "\": " + name +
               " would hold the packets of two ports; allowed: names that "
               "differ, also with \".mirror\" appended" );
      }
   }
}

void OutputDirectory::makeDirectory() {
   if ( ::mkdir( path_.c_str(), 0777 ) == 0 ) {
      made_ = true;
      return;
   }
   int error = errno;
   if ( error != EEXIST ) {
      throw CaptureError( path_ + ": cannot be made (" + std::strerror( error ) + ")" );
   }
   struct stat status {};
   if ( ::stat( path_.c_str(), &status ) != 0 || !S_ISDIR( status.st_mode ) ) {
      throw CaptureError( path_ + ": is not a directory; allowed: a directory or a new name" );
   }
   if ( ::access( path_.c_str(), W_OK | X_OK ) != 0 ) {
      throw CaptureError( path_ + ": cannot be written (" + std::strerror( errno ) + ")" );
   }
}

void OutputDirectory::checkOutput(
      const std::string& file, const std::vector< std::string >& inputs ) const {
   CaptureWriter::checkReplaceable( file );
   for ( const std::string& input : inputs ) {
      std::error_code missing; // a file that is missing is no other file
      if ( std::filesystem::equivalent( file, input, missing ) ) {
         throw CaptureError(
               file + ": is an input of this run; allowed: another output directory" );
      }
   }
}

void OutputDirectory::checkInput( const std::string& file ) const {
   for ( const auto& [ name, unused ] : files_ ) {
      checkOutput( path_ + "/" + name, { file } );
   }
}

OutputDirectory::~OutputDirectory() {
   files_.clear(); // takes the hidden files away
   if ( made_ ) {
      ::rmdir( path_.c_str() );
   }
}

CaptureWriter& OutputDirectory::writer( std::string_view port, OutputKind kind ) {
   auto it = files_.find( fileName( port, kind ) );
   if ( it == files_.end() ) {
      addPort( std::string( port ) ); // configured since
      it = files_.find( fileName( port, kind ) );
   }
   if ( !it->second ) {
      it->second = std::make_unique< CaptureWriter >( path_ + "/" + it->first );
   }
   return *it->second;
}

void OutputDirectory::removeEarlier( const std::string& name ) const {
   const std::string path = path_ + "/" + name;
   if ( isRegularFile( path ) && ::unlink( path.c_str() ) != 0 ) {
      throw CaptureError( path + ": is of an earlier run and cannot be removed (" +
            std::strerror( errno ) + ")" );
   }
}

void OutputDirectory::commit() {
   for ( auto& [ name, file ] : files_ ) {
      if ( file ) {
         file->complete();
      }
   }
   made_ = false;
   for ( auto& [ name, file ] : files_ ) {
      if ( file ) {
         file->commit();
      } else {
         removeEarlier( name );
      }
   }
}

void OutputDirectory::publish() {
   made_ = false;
   for ( auto& [ name, file ] : files_ ) {
      if ( file ) {
         file->publish();
      } else if ( !published_ ) {
         removeEarlier( name );
      }
   }
   published_ = true;
}

} // namespace Agent
