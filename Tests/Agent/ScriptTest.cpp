// The script language: every form a step may take, and for every mistake a line that says
// where it is, what is wrong and what is allowed.

#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "Agent/Commands/Script.h"
#include "Tests/TemporaryFolder.h"

namespace {

using namespace Agent;

template < typename Kind >
Kind parsed( std::string_view line ) {
   std::optional< StepAction > action = parseStep( line );
   EXPECT_TRUE( action && std::holds_alternative< Kind >( *action ) ) << line;
   return action && std::holds_alternative< Kind >( *action ) ? std::get< Kind >( *action )
                                                              : Kind{};
}

template < typename Operation >
std::string errorOf( Operation operation ) {
   try {
      operation();
   } catch ( const ScriptError& error ) {
      return error.what();
   }
   return "no error";
}

TEST( ScriptTest, StepsSayWhatIsWritten ) {
   auto set = parsed< SetStep >( " set\tINTERFACE|Ethernet0|10.0.0.1/31  {\"a\": 1}  # why" );
   EXPECT_EQ( set.table + " " + set.key + " " + set.json,
         "INTERFACE Ethernet0|10.0.0.1/31 {\"a\": 1}" );
   auto del = parsed< DelStep >( "del MIRROR_SESSION|span # gone" );
   EXPECT_EQ( del.table + " " + del.key, "MIRROR_SESSION span" );
   auto in = parsed< InStep >( "in Ethernet0 my captures/a#1.pcap # hosts" );
   EXPECT_EQ( in.port + " " + in.file, "Ethernet0 my captures/a#1.pcap" );
   EXPECT_EQ( parsed< ShowStep >( "show sessions, tables,counters" ).what,
         ( std::vector< std::string >{ "sessions", "tables", "counters" } ) );
   auto fail = parsed< FailStep >( "fail entryInstall 3" );
   EXPECT_EQ( fail.call, "entryInstall" );
   EXPECT_EQ( std::pair( fail.first, fail.last ), std::pair( 3U, 3U ) );
   fail = parsed< FailStep >( "fail entryInstall 2..4294967295" );
   EXPECT_EQ( std::pair( fail.first, fail.last ), std::pair( 2U, 4294967295U ) );
   auto capacity = parsed< CapacityStep >( "capacity policers 0" );
   EXPECT_EQ( capacity.what, "policers" );
   EXPECT_EQ( capacity.count, 0U );
   EXPECT_EQ( parsed< PortStep >( "port Ethernet8 down # unplugged" ).port, "Ethernet8" );
   EXPECT_FALSE( parsed< PortStep >( "port Ethernet8 down" ).isUp );
   EXPECT_TRUE( parsed< PortStep >( "port Ethernet8 up" ).isUp );
   auto plugin = parsed< PluginStep >( "plugin 1 show  all # of it" );
   EXPECT_EQ( plugin.unit, 1 );
   EXPECT_EQ( plugin.text, "show  all" );
   EXPECT_EQ( parsed< PluginStep >( "plugin 0" ).text, "" );
   parsed< ReloadStep >( "reload # the file" );
}

TEST( ScriptTest, JsonReachesFromTheFirstBraceToTheOneThatClosesIt ) {
   for ( std::string json : { R"({})", R"({"a": {"b": "}"}, "c": " # no comment"})",
               R"({"quote": "\"}", "slash": "\\"})" } ) {
      EXPECT_EQ( parsed< SetStep >( "set T|k " + json ).json, json );
      EXPECT_EQ( parsed< SetStep >( "set T|k " + json + " # {\r" ).json, json );
   }
}

TEST( ScriptTest, TimeIsExactToTheNanosecond ) {
   EXPECT_EQ( parsed< WaitStep >( "wait 0" ).ns, 0U );
   EXPECT_EQ( parsed< WaitStep >( "wait 1.5" ).ns, 1'500'000'000U );
   EXPECT_EQ( parsed< WaitStep >( "wait 0.000000001" ).ns, 1U );
   EXPECT_EQ( parsed< WaitStep >( "wait 0.10" ).ns, 100'000'000U );
   EXPECT_EQ( parsed< WaitStep >( "wait 1000000000" ).ns, 1'000'000'000'000'000'000U );
}

TEST( ScriptTest, LinesAreCountedAndEmptyOnesPassedOver ) {
   auto steps =
         parseScript( "\xef\xbb\xbf# first\r\n\r\nwait 1\r\n \t\n  #wait 2\nwait 3", "s" );
   ASSERT_EQ( steps.size(), 2U );
   EXPECT_EQ( steps[ 0 ].line, 3U );
   EXPECT_EQ( steps[ 1 ].line, 6U );
   EXPECT_TRUE( parseScript( "", "s" ).empty() );
}

TEST( ScriptTest, EveryMistakeIsToldWithItsPlaceAndWhatIsAllowed ) {
   struct Case {
      const char* line;
      const char* error; // how it goes on after the place
   };
   for ( const Case& c : std::initializer_list< Case >{
               { "Set T|k {}",
                     "\"Set\" is not a step; allowed: set, del, in, wait, show, "
                     "fail, capacity, port" },
               { "\x1b[2J\x7f", "\"\\x1b[2J\\x7f\" is not a step" },
               { "set", "TABLE|KEY is missing; allowed: set TABLE|KEY {json}" },
               { "set T {}", "\"T\" is not a table and a key" },
               { "set T| {}", "\"T|\" is not a table and a key" },
               { "set |k {}", "\"|k\" is not a table and a key" },
               { "set T|k", "JSON text in braces is missing" },
               { "set T|k [1]", "JSON text in braces is missing" },
               { "set T|k {\"a\": {}", "the JSON text is not closed on this line" },
               { "set T|k {\"a\\", "the JSON text is not closed on this line" },
               { "set T|k {} {}", "unexpected \"{}\"; allowed: set TABLE|KEY {json}" },
               { "del T", "\"T\" is not a table and a key; allowed: del TABLE|KEY" },
               { "in Ethernet0 # a.pcap", "FILE is missing; allowed: in PORT FILE" },
               { "wait", "SECONDS is missing; allowed: wait SECONDS, from 0 to 1000000000" },
               { "plugin one hello",
                     "\"one\" is not a chip number; allowed: plugin UNIT TEXT" },
               { "stop now", "unexpected \"now\"; allowed: stop" },
               { "wait -1", "\"-1\" is not valid; allowed: wait SECONDS, from 0" },
               { "wait 1.", "\"1.\" is not" },
               { "wait 1.-5", "\"1.-5\" is not" },
               { "wait 0.0000000001", "\"0.0000000001\" is not" },
               { "wait 1000000000.1", "\"1000000000.1\" is not" },
               { "wait 1e3", "\"1e3\" is not" },
               { "wait 99999999999999999999", "\"99999999999999999999\" is not" },
               { "show", "WHAT is missing; allowed: show WHAT[,WHAT...]" },
               { "show a,,b", "WHAT is missing" },
               { "show a b", "\"a b\" is not one word" },
               { "fail", "CALL is missing; allowed: fail CALL N[..M]" },
               { "fail x 0", "\"0\" does not say which calls; allowed: fail CALL N[..M]" },
               { "fail x 3..2", "\"3..2\" does not say" },
               { "fail x 1..", "\"1..\" does not say" },
               { "fail x 4294967296", "\"4294967296\" does not say" },
               { "capacity x", "N is missing; allowed: capacity WHAT N" },
               { "capacity x -1", "\"-1\" is not valid" },
               { "capacity x 1000001",
                     "\"1000001\" is not valid; allowed: capacity WHAT N, N" },
               { "port", "PORT is missing; allowed: port PORT up, port PORT down" },
               { "port x UP", "\"UP\" is not a link state" },
         } ) {
      const std::string script = std::string( "wait 1\n\n" ) + c.line + "\r\nwait x";
      const std::string error = errorOf( [ & ] { parseScript( script, "s" ); } );
      EXPECT_TRUE( error.starts_with( std::string( "s:3: " ) + c.error ) ) << error;
      EXPECT_NE( error.find( "; allowed: " ), error.npos ) << error;
      EXPECT_EQ( error.find_first_of( "\r\n\x1b" ), error.npos ) << error;
   }
   const std::string endless( 100'000, 'x' );
   EXPECT_LT( errorOf( [ & ] { parseScript( endless, "s" ); } ).size(), 200U );
}

TEST( ScriptTest, AScriptThatCannotBeReadIsToldByItsName ) {
   const TemporaryFolder folder;
   for ( const std::string& path : { folder.path(), folder.path( "none" ) } ) {
      const std::string error = errorOf( [ & ] { readScript( path ); } );
      EXPECT_TRUE( error.starts_with( path + ": " ) ) << error;
   }
}

} // namespace
