#include "Agent/Packets/OutputDirectory.h"

#include <filesystem>
#include <utility>

#include "Agent/Packets/CaptureReader.h"

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

} // namespace

OutputDirectory::OutputDirectory( std::string path, const std::vector< std::string >& ports,
      const std::vector< std::string >& inputs )
      : path_( std::move( path ) ) {
   for ( const std::string& port : ports ) {
      addPort( port );
   }
   folder_ = std::make_unique< OutputFolder >( path_ );
   for ( const auto& [ name, unused ] : files_ ) {
      checkOutput( name, inputs );
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

void OutputDirectory::checkOutput(
      const std::string& name, const std::vector< std::string >& inputs ) const {
   folder_->checkReplaceable( name );
   for ( const std::string& input : inputs ) {
      std::error_code missing; // a file that is missing is no other file
      if ( std::filesystem::equivalent( folder_->pathOf( name ), input, missing ) ) {
         throw CaptureError( folder_->pathOf( name ) +
               ": is an input of this run; allowed: another output directory" );
      }
   }
}

void OutputDirectory::checkInput( const std::string& file ) const {
   for ( const auto& [ name, unused ] : files_ ) {
      checkOutput( name, { file } );
   }
}

void OutputDirectory::checkPlots( const Plots& plots ) const {
   for ( const auto& [ name, unused ] : plots ) {
      folder_->checkReplaceable( name );
   }
}

CaptureWriter& OutputDirectory::writer( std::string_view port, OutputKind kind ) {
   auto it = files_.find( fileName( port, kind ) );
   if ( it == files_.end() ) {
      addPort( std::string( port ) ); // configured since
      it = files_.find( fileName( port, kind ) );
   }
   if ( !it->second ) {
      it->second = std::make_unique< CaptureWriter >( *folder_, it->first );
   }
   return *it->second;
}

OutputDirectory::Files OutputDirectory::written( const Plots& plots ) const {
   Files files;
   checkPlots( plots );
   for ( const auto& [ name, content ] : plots ) {
      if ( !content.empty() ) {
         files.push_back( std::make_unique< OutputFile >( *folder_, name ) );
         const auto* bytes = reinterpret_cast< const uint8_t* >( content.data() );
         files.back()->append( { bytes, content.size() } );
         files.back()->complete();
      }
   }
   return files;
}

void OutputDirectory::removeEarlier( const Plots& plots ) const {
   for ( const auto& [ name, file ] : files_ ) {
      if ( !file && !published_ ) {
         folder_->remove( name );
      }
   }
   for ( const auto& [ name, content ] : plots ) {
      if ( content.empty() ) {
         folder_->remove( name );
      }
   }
}

void OutputDirectory::commit( const Plots& plots ) {
   const Files drawn = written( plots );
   for ( const auto& [ name, file ] : files_ ) {
      if ( file ) {
         file->file().complete();
      }
   }
   folder_->keep();
   for ( const auto& [ name, file ] : files_ ) {
      if ( file ) {
         file->file().takeName();
      }
   }
   for ( const auto& plot : drawn ) {
      plot->takeName();
   }
   removeEarlier( plots );
}

void OutputDirectory::resume() {
   if ( !folder_->isThere() ) {
      for ( auto& [ name, file ] : files_ ) {
         file.reset();
      }
      folder_ = std::make_unique< OutputFolder >( path_ );
      folder_->keep();
      published_ = false;
   }
   for ( auto& [ name, file ] : files_ ) {
      if ( file && !file->file().isIntact() ) {
         file.reset();
      }
   }
}

void OutputDirectory::publish( const Plots& plots ) {
   Files drawn;
   try {
      if ( !folder_->isThere() ) {
         throw CaptureError( path_ + ": was removed while it was written" );
      }
      drawn = written( plots );
      for ( const auto& [ name, file ] : files_ ) {
         if ( file ) {
            file->file().flush();
         }
      }
   } catch ( const CaptureError& ) {
      rollBack();
      throw;
   }
   folder_->keep();
   for ( const auto& [ name, file ] : files_ ) {
      if ( file ) {
         file->file().keep();
         file->file().takeName();
      }
   }
   for ( const auto& plot : drawn ) {
      plot->takeName();
   }
   removeEarlier( plots );
   published_ = true;
}

void OutputDirectory::rollBack() {
   for ( auto& [ name, file ] : files_ ) {
      if ( file && file->file().hasKept() ) {
         file->file().rollBack();
      } else {
         file.reset();
      }
   }
}

} // namespace Agent
