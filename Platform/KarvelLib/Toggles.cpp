#include "Platform/KarvelLib/Toggles.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>

namespace KarvelLib {

namespace {

std::string& directorySet() {
   static std::string path;
   return path;
}

using Toggles = std::map< std::string, bool, std::less<> >;

[[noreturn]] void refuse( const std::string& path, size_t line, const std::string& what ) {
   throw std::runtime_error( path + ":" + std::to_string( line ) + ": " + what +
         "; allowed: one JSON object of true and false, each name once" );
}

// Parses what the file may hold and nothing more; other JSON is refused.
class Parser {
 public:
   Parser( const std::string& path, std::string text )
         : path_( path ), text_( std::move( text ) ) {}

   Toggles parse() {
      Toggles toggles;
      expect( '{' );
      if ( !take( '}' ) ) {
         do {
            parseOne( toggles );
         } while ( take( ',' ) );
         expect( '}' );
      }
      skipSpace();
      if ( at_ != text_.size() ) {
         fail( "something follows the object" );
      }
      return toggles;
   }

 private:
   void parseOne( Toggles& toggles ) {
      expect( '"' );
      size_t end = at_;
      while ( end < text_.size() && text_[ end ] != '"' ) {
         if ( text_[ end ] == '\\' || static_cast< unsigned char >( text_[ end ] ) < ' ' ) {
            fail( "a name holds a backslash or a control character" );
         }
         ++end;
      }
      if ( end == text_.size() ) {
         fail( "a name has no end" );
      }
      const std::string name = text_.substr( at_, end - at_ );
      if ( toggles.contains( name ) ) {
         fail( "'" + name + "' stands here again" );
      }
      at_ = end + 1;
      expect( ':' );
      skipSpace();
      const bool on = text_.compare( at_, 4, "true" ) == 0;
      if ( !on && text_.compare( at_, 5, "false" ) != 0 ) {
         fail( "'" + name + "' is neither true nor false" );
      }
      at_ += on ? 4 : 5;
      toggles.emplace( name, on );
   }
   void skipSpace() {
      while ( at_ < text_.size() &&
            std::string_view( " \t\r\n" ).find( text_[ at_ ] ) != std::string_view::npos ) {
         ++at_;
      }
   }
   bool take( char wanted ) {
      skipSpace();
      if ( at_ < text_.size() && text_[ at_ ] == wanted ) {
         ++at_;
         return true;
      }
      return false;
   }
   void expect( char wanted ) {
      if ( !take( wanted ) ) {
         fail( std::string( "no '" ) + wanted + "' where one must stand" );
      }
   }
   [[noreturn]] void fail( const std::string& what ) const {
      const std::string_view before = std::string_view( text_ ).substr( 0, at_ );
      const auto linesBefore = std::ranges::count( before, '\n' );
      refuse( path_, static_cast< size_t >( linesBefore + 1 ), what );
   }

   const std::string path_;
   const std::string text_;
   size_t at_ = 0;
};

Toggles readToggles( const std::string& path ) {
   std::error_code error;
   if ( !std::filesystem::exists( path, error ) && !error ) {
      return {};
   }
   // A file that is there but cannot be read must not pass for missing.
   std::ifstream in( path, std::ios::binary );
   std::string text;
   char chunk[ 4096 ];
   do {
      in.read( chunk, sizeof chunk );
      text.append( chunk, static_cast< size_t >( in.gcount() ) );
   } while ( in );
   if ( !in.is_open() || in.bad() ) {
      refuse( path, 1, "the file cannot be read" );
   }
   return Parser( path, std::move( text ) ).parse();
}

} // namespace

void toggleDirectoryIs( const std::string& path ) { directorySet() = path; }

std::string toggleDirectory() {
   if ( !directorySet().empty() ) {
      return directorySet();
   }
   const char* fromEnvironment = std::getenv( "KARVEL_TOGGLE_DIR" );
   return fromEnvironment && *fromEnvironment ? fromEnvironment : ".";
}

bool toggle( std::string_view file, std::string_view name, bool byDefault ) {
   const Toggles toggles = readToggles( toggleDirectory() + "/" + std::string( file ) );
   auto at = toggles.find( name );
   return at == toggles.end() ? byDefault : at->second;
}

std::vector< std::string > togglesIn( const std::string& path ) {
   std::vector< std::string > names;
   for ( const auto& [ name, isOn ] : readToggles( path ) ) {
      names.push_back( name );
   }
   return names;
}

std::optional< std::string > checkToggleFile( const std::string& path ) {
   try {
      readToggles( path );
   } catch ( const std::runtime_error& error ) {
      return error.what();
   }
   return {};
}

} // namespace KarvelLib
