// That Docs/diagnostics.md, which people and scripts search logs by, is true of the library.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace KarvelMirror {

namespace {

std::string contents( const char* path ) {
   std::ostringstream all;
   all << std::ifstream( path, std::ios::binary ).rdbuf();
   return all.str();
}

} // namespace

// Many of them cannot be provoked from outside: what prints them is there in case of mistakes.
TEST( PromisedTexts, StandInTheLibraryWordForWord ) {
   const std::string library = contents( KARVEL_PLUGIN );
   std::istringstream page( contents( KARVEL_SOURCE_DIR "/Docs/diagnostics.md" ) );
   int texts = 0;
   for ( std::string line; std::getline( page, line ); ) {
      if ( line.starts_with( "- `" ) ) {
         ++texts;
         const std::string text = line.substr( 3, line.rfind( '`' ) - 3 );
         // A literal ends with a zero: what goes on is another text.
         EXPECT_NE( library.find( text + '\0' ), std::string::npos ) << text;
      }
   }
   EXPECT_GT( texts, 90 );
}

} // namespace KarvelMirror
