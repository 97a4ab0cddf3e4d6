#pragma once

// Configurations written to a file and loaded, and what is said about them.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "Agent/Configuration/Loader.h"
#include "Tests/TemporaryFolder.h"

namespace Agent {

class ConfigurationBed : public testing::Test {
 protected:
   std::string write( const std::string& text ) { return folder_.write( "c.json", text ); }
   LoadResult load( const std::string& text, const std::string& profile = "trident3" ) {
      source_ = ConfigSource();
      source_.defaultProfileIs( profile );
      return source_.load( write( text ) );
   }
   using Pairs = std::vector< std::pair< std::string, std::string > >;
   // Of a table of cases: on each line "TEXT => EXPECTED".
   static Pairs pairs( const std::string& lines ) {
      Pairs all;
      std::istringstream in( lines );
      for ( std::string line; std::getline( in, line ); ) {
         line += line.ends_with( " =>" ) ? " " : ""; // nothing is expected
         const size_t arrow = line.find( " => " );
         if ( arrow != std::string::npos ) {
            all.emplace_back( line.substr( 0, arrow ), line.substr( arrow + 4 ) );
         } else {
            EXPECT_EQ( line, "" );
         }
      }
      EXPECT_FALSE( all.empty() );
      return all;
   }
   // Each text is refused with one error, at that place, which holds what is expected; or loads
   // with a warning that does, if that says "refused: ".
   void expectErrors( const std::string& place, const Pairs& mistakes,
         const std::function< LoadResult( const std::string& ) >& loads ) {
      for ( const auto& [ text, expected ] : mistakes ) {
         LoadResult result = loads( text );
         std::erase_if( result.warnings, []( const Diagnostic& warning ) {
            return warning.text.find( ": refused: " ) == std::string::npos ||
                  warning.text.starts_with( "MIRROR_SESSION|" );
         } );
         const bool isLoaded = expected.starts_with( "refused: " );
         EXPECT_TRUE( !isLoaded || result.errors.empty() ) << text << said( result.errors );
         const std::string errors = said( isLoaded ? result.warnings : result.errors );
         EXPECT_EQ( std::count( errors.begin(), errors.end(), '\n' ), 1 ) << text << "\n"
                                                                          << errors;
         EXPECT_TRUE( errors.starts_with( place ) ) << text << "\n" << errors;
         EXPECT_NE( errors.find( expected ), std::string::npos )
               << errors << "expected: " << expected;
      }
   }
   void expectErrors( const Pairs& mistakes ) {
      expectErrors(
            "", mistakes, [ this ]( const auto& more ) { return load( with( more ) ); } );
   }
   // Loads without an error; what is warned of is kept.
   Configuration good( const std::string& text, const std::string& profile = "trident3" ) {
      LoadResult result = load( text, profile );
      EXPECT_EQ( said( result.errors ), "" ) << text;
      warnings_ = said( result.warnings );
      return result.configuration;
   }
   // All errors, a line each: "LINE: TEXT".
   static std::string said( const std::vector< Diagnostic >& diagnostics ) {
      std::string text;
      for ( const Diagnostic& diagnostic : diagnostics ) {
         text += std::to_string( diagnostic.place.line ) + ": " + diagnostic.text + "\n";
      }
      return text;
   }
   // Valid by itself; `more` begins in line 8.
   static std::string with( const std::string& more ) {
      std::string text = R"({
"PORT|E0": {}, "PORT|E4": {}, "PORT|E8": {}, "PORT|E12": {}, "PORT|E16": {}, "PORT|E20": {},
"PORTCHANNEL|PortChannel1": {},
"PORTCHANNEL_MEMBER|PortChannel1|E8": {}, "PORTCHANNEL_MEMBER|PortChannel1|E12": {},
"VLAN|Vlan10": {}, "VLAN|Vlan20": {},
"VLAN_MEMBER|Vlan10|E0": { "tagging_mode": "untagged" },
"VLAN_MEMBER|Vlan20|PortChannel1": { "tagging_mode": "tagged" })";
      return text + ( more.empty() ? "" : ",\n" + more ) + "}\n";
   }
   static std::string withSession( const std::string& fields ) {
      return with( "\"MIRROR_SESSION|m\": {" + fields + "}" );
   }

   const TemporaryFolder folder_;
   ConfigSource source_;
   std::string warnings_;
};

} // namespace Agent
