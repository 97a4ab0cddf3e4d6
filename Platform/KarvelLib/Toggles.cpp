#include "Platform/KarvelLib/Toggles.h"

#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>

namespace KarvelLib {

namespace {

std::string& directory() {
   static std::string path = ".";
   return path;
}

using Toggles = std::map< std::string, bool, std::less<> >;

// A parser for what the file may hold and nothing more; other JSON is refused.
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
         fail();
      }
      return toggles;
   }

 private:
   void parseOne( Toggles& toggles ) {
      expect( '"' );
      const size_t end = text_.find_first_of( "\"\\\n", at_ );
      if ( end == std::string::npos || text_[ end ] != '"' ) {
         fail();
      }
      const std::string name = text_.substr( at_, end - at_ );
      at_ = end + 1;
      expect( ':' );
      skipSpace();
      const bool on = text_.compare( at_, 4, "true" ) == 0;
      if ( !on && text_.compare( at_, 5, "false" ) != 0 ) {
         fail();
      }
      at_ += on ? 4 : 5;
      if ( !toggles.emplace( name, on ).second ) {
         fail();
      }
   }
   void skipSpace() {
      while ( at_ < text_.size() && std::string_view( " \t\r\n" ).find( text_[ at_ ] ) !=
                                          std::string_view::npos ) {
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
         fail();
      }
   }
   [[noreturn]] void fail() const {
      size_t line = 1;
      for ( size_t i = 0; i < at_ && i < text_.size(); ++i ) {
         line += text_[ i ] == '\n';
      }
      throw std::runtime_error( path_ + ":" + std::to_string( line ) +
                                ": not a toggle file; allowed: one JSON object of true and "
                                "false, each name once" );
   }

   const std::string path_;
   const std::string text_;
   size_t at_ = 0;
};

Toggles readToggles( const std::string& path ) {
   std::ifstream in( path, std::ios::binary );
   if ( !in ) {
      return {};
   }
   std::string text( std::istreambuf_iterator< char >( in ), {} );
   return Parser( path, std::move( text ) ).parse();
}

} // namespace

void toggleDirectoryIs( const std::string& path ) {
   directory() = path;
}

bool toggle( std::string_view file, std::string_view name, bool byDefault ) {
   const Toggles toggles = readToggles( directory() + "/" + std::string( file ) );
   auto at = toggles.find( name );
   return at == toggles.end() ? byDefault : at->second;
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
