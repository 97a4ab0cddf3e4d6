#include <gtest/gtest.h>

#include "Platform/KarvelLib/Toggles.h"
#include "Tests/Raised.h"
#include "Tests/TemporaryFolder.h"

namespace KarvelLib {
namespace {

class Toggles : public ::testing::Test {
 protected:
   ~Toggles() override { toggleDirectoryIs( "" ); }
   void write( const std::string& text ) { folder_.write( "KarvelLib.json", text ); }

   const TemporaryFolder folder_;
   const std::string directory_ = folder_.path();
   const std::string file_ = folder_.path( "KarvelLib.json" );
};

TEST_F( Toggles, WhatTheFileDoesNotSayIsTheDefault ) {
   toggleDirectoryIs( directory_ );
   EXPECT_TRUE( toggle( "KarvelLib.json", "A", true ) );
   EXPECT_FALSE( checkToggleFile( file_ ) );

   write( " {\n \"A\" : false,\r\n\t\"B\":true } \n" );
   for ( bool byDefault : { false, true } ) {
      EXPECT_FALSE( toggle( "KarvelLib.json", "A", byDefault ) );
      EXPECT_TRUE( toggle( "KarvelLib.json", "B", byDefault ) );
      EXPECT_EQ( toggle( "KarvelLib.json", "C", byDefault ), byDefault );
      EXPECT_EQ( toggle( "Other.json", "A", byDefault ), byDefault );
   }
   write( "{}" );
   EXPECT_FALSE( checkToggleFile( file_ ) );
}

TEST_F( Toggles, MalformedFileIsRefusedWithItsLine ) {
   struct Case {
      const char* text;
      int line;
      const char* what;
   };
   for ( const Case& c : {
               Case{ "", 1, "no '{'" },
               Case{ "\n[]", 2, "no '{'" },
               Case{ "{\n\"A\": true,\n}", 3, "no '\"'" },
               Case{ "{\n\"A\" true }", 2, "no ':'" },
               Case{ "{ \"A\": true\n \"B\": true }", 2, "no '}'" },
               Case{ "{ \"A\": truely }", 1, "no '}'" },
               Case{ "{ \"A\": True }", 1, "'A' is neither" },
               Case{ "{ \"A\":\n\n1 }", 3, "'A' is neither" },
               Case{ "{ \"A\": { \"B\": true } }", 1, "'A' is neither" },
               Case{ "{ \"A\": true,\n \"A\": true }", 2, "'A' stands here again" },
               Case{ "{ \"A\\u0042\": true }", 1, "backslash" },
               Case{ "{ \"A\n\": true }", 1, "control character" },
               Case{ "{ \"A", 1, "no end" },
               Case{ "{ \"A\":", 1, "'A' is neither" },
               Case{ "{}\n{}", 2, "something follows" },
         } ) {
      SCOPED_TRACE( c.text );
      write( c.text );
      const auto error = checkToggleFile( file_ );
      ASSERT_TRUE( error );
      EXPECT_TRUE( error->starts_with( file_ + ":" + std::to_string( c.line ) + ": " ) )
            << *error;
      EXPECT_NE( error->find( c.what ), std::string::npos ) << *error;
      EXPECT_NE( error->find( "; allowed: " ), std::string::npos ) << *error;

      toggleDirectoryIs( directory_ );
      EXPECT_EQ( raised< std::runtime_error >( [] { toggle( "KarvelLib.json", "A", true ); } ),
            *error );
   }
}

TEST_F( Toggles, WhatCannotBeReadDoesNotPassForMissing ) {
   std::filesystem::create_directory( file_ );
   EXPECT_TRUE( checkToggleFile( file_ ).value_or( "" ).starts_with(
         file_ + ":1: the file cannot be read; allowed: " ) );
}

TEST_F( Toggles, EnvironmentNamesTheDirectoryUnlessItIsSet ) {
   write( "{ \"A\": false }" );
   setenv( "KARVEL_TOGGLE_DIR", directory_.c_str(), 1 );
   EXPECT_FALSE( toggle( "KarvelLib.json", "A", true ) );
   toggleDirectoryIs( directory_ + "/elsewhere" );
   EXPECT_TRUE( toggle( "KarvelLib.json", "A", true ) );
   unsetenv( "KARVEL_TOGGLE_DIR" );
   toggleDirectoryIs( "" );
   EXPECT_EQ( toggleDirectory(), "." );
}

} // namespace
} // namespace KarvelLib
