#include "Agent/Runtime/PluginLibrary.h"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>

namespace Agent {

PluginLibrary::PluginLibrary( const std::string& path )
      : handle_( dlopen( path.c_str(), RTLD_NOW | RTLD_LOCAL ) ) {
   if ( !handle_ ) {
      throw std::runtime_error( std::string( "plug-in cannot be loaded: " ) + dlerror() );
   }
}

PluginLibrary::~PluginLibrary() { dlclose( handle_ ); }

std::string findPlugin() {
   namespace fs = std::filesystem;
   std::error_code error;
   const fs::path program = fs::read_symlink( "/proc/self/exe", error ).parent_path();
   const char* name = "libKarvelMirrorSlice.so";
   for ( const char* folder : { ".", "../PluginMounters/Slice", "../lib/karvel" } ) {
      const fs::path path = program / folder / name;
      if ( fs::exists( path, error ) ) {
         return path.lexically_normal().string();
      }
   }
   return {};
}

} // namespace Agent
