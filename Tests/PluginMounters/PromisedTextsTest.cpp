// That Docs/diagnostics.md, which people and scripts search logs by, is true of the library.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace KarvelMirror {

// Many of them cannot be provoked from outside: what prints them is there in case of mistakes.
TEST( PromisedTexts, StandInTheLibraryWordForWord ) {
   std::ostringstream library;
   library << std::ifstream( KARVEL_PLUGIN, std::ios::binary ).rdbuf();
   std::ifstream page( KARVEL_SOURCE_DIR "/Docs/diagnostics.md" );
   int texts = 0;
   for ( std::string line; std::getline( page, line ); ) {
      if ( line.starts_with( "- `" ) ) {
         ++texts;
         // A literal ends with a zero: what goes on is another text.
         const std::string text = line.substr( 3, line.rfind( '`' ) - 3 );
         EXPECT_NE( library.view().find( text + '\0' ), std::string::npos ) << text;
      }
   }
   EXPECT_GT( texts, 90 );
}

} // namespace KarvelMirror
