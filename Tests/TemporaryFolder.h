#pragma once

// A folder of a test's own, which goes with its object.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

inline std::string contentOf( const std::filesystem::path& path ) {
   std::ifstream in( path, std::ios::binary );
   return std::string( std::istreambuf_iterator< char >( in ), {} );
}

class TemporaryFolder {
 public:
   TemporaryFolder() {
      std::string name = std::filesystem::temp_directory_path() / "karvel-XXXXXX";
      if ( !::mkdtemp( name.data() ) ) {
         throw std::runtime_error( "no temporary folder: " + name );
      }
      path_ = name;
   }
   ~TemporaryFolder() { std::filesystem::remove_all( path_ ); }
   TemporaryFolder( const TemporaryFolder& ) = delete;
   TemporaryFolder& operator=( const TemporaryFolder& ) = delete;

   std::string path() const { return path_; }
   std::string path( const std::string& name ) const { return path_ / name; }
   // Gives the file's path.
   std::string write( const std::string& name, const std::string& text ) const {
      std::ofstream( path_ / name, std::ios::binary ) << text;
      return path( name );
   }

 private:
   std::filesystem::path path_;
};
