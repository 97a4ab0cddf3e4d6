// What a configuration file may hold, what is said about what it may not, and that nothing
// changes when something is wrong.

#include <cstdlib>

#include "Tests/Agent/ConfigurationBed.h"

namespace Agent {
namespace {

class ConfigurationTest : public ConfigurationBed {};

constexpr const char* nested = R"({
  "PORT": { "Ethernet10": { "lanes": [ "1", "2" ] },
            "Ethernet4": { "lanes": "3,4", "admin_status": "DOWN", "alias": "four" },
            "Ethernet8": { "speed": 100000, "chip_port": "0x2" } },
  "PORTCHANNEL": { "PortChannel0007": { "members": [ "Ethernet4" ] }, "PortChannel7": {} },
  "PORTCHANNEL_MEMBER": { "PortChannel0007|Ethernet4": {} },
  "VLAN": { "Vlan10": { "vlanid": "10" } },
  "VLAN_MEMBER": { "Vlan10|PortChannel0007": { "tagging_mode": "tagged" } },
  "FDB": { "Vlan10|02:00:00:00:00:0A": { "port": "PortChannel0007", "type": "Dynamic" } },
  "MIRROR_SESSION": { "m": { "type": "span", "direction": "rx", "dst_port": "Ethernet10",
                             "src_port": "PortChannel0007,Ethernet8" } },
  "FEATURE": { "PORT": { "twice": 1, "twice": 2 } }
})";

constexpr const char* flat = R"({
  "PORT|Ethernet10": { "lanes@": "1,2" },
  "PORT|Ethernet4": { "lanes@": "3,4", "admin_status": "down", "alias": "four" },
  "PORT|Ethernet8": { "speed": "100000", "chip_port": "2" },
  "PORTCHANNEL|PortChannel0007": { "members@": "Ethernet4" },
  "PORTCHANNEL|PortChannel7": { "NULL": "NULL" },
  "PORTCHANNEL_MEMBER|PortChannel0007|Ethernet4": { "NULL": "NULL" },
  "VLAN|Vlan10": {},
  "VLAN_MEMBER|Vlan10|PortChannel0007": { "tagging_mode": "tagged" },
  "FDB|Vlan10|02-00-00-00-00-0a": { "port": "PortChannel0007", "type": "dynamic" },
  "MIRROR_SESSION|m": { "direction": "RX", "dst_port": "Ethernet10",
                        "src_port@": "PortChannel0007, Ethernet8" },
  "FEATURE|PORT": {}
})";

TEST_F( ConfigurationTest, ReadsTheSameFromAllThreeShapes ) {
   const LoadResult result = load( nested );
   ASSERT_EQ( said( result.errors ), "" );
   EXPECT_EQ( said( result.warnings ), "" );
   EXPECT_EQ( result.ignoredTables, std::vector< std::string >{ "FEATURE" } );
   const Configuration& config = result.configuration;

   for ( const std::string& text :
         { std::string( flat ), "{\"ANY\": " + std::string( nested ) + "}" } ) {
      const LoadResult other = load( text );
      EXPECT_EQ( said( other.errors ), "" );
      EXPECT_EQ( other.configuration, config );
      EXPECT_EQ( other.ignoredTables, result.ignoredTables );
   }

   // Numbers go to the names in natural order, around the one that was asked for.
   EXPECT_EQ( config.ports.at( "Ethernet4" ).chipPort, 1 );
   EXPECT_EQ( config.ports.at( "Ethernet8" ).chipPort, 2 );
   EXPECT_EQ( config.ports.at( "Ethernet10" ).chipPort, 3 );
   EXPECT_FALSE( config.ports.at( "Ethernet4" ).adminUp );
   EXPECT_TRUE( config.ports.at( "Ethernet10" ).adminUp );
   EXPECT_EQ( config.ports.at( "Ethernet4" ).alias, "four" );
   // The first of two with the same number has it as its trunk.
   EXPECT_EQ( config.portChannels.at( "PortChannel0007" ).trunk, 7 );
   EXPECT_EQ( config.portChannels.at( "PortChannel7" ).trunk, 0 );
   ASSERT_EQ( config.fdb.size(), 1u );
   EXPECT_FALSE( config.fdb.begin()->second.isStatic );
   const SessionConfig& session = config.sessions.at( "m" );
   EXPECT_EQ( session.type, SessionType::span );
   EXPECT_EQ( session.direction, SessionDirection::rx );
   EXPECT_EQ(
         session.sources, ( std::vector< std::string >{ "PortChannel0007", "Ethernet8" } ) );
   EXPECT_EQ( session.refused, std::nullopt );
   EXPECT_EQ( config.chips.at( 0 ).profile, "trident3" );
}

TEST_F( ConfigurationTest, SaysWhyAFileCannotBeRead ) {
   const std::pair< std::string, std::string > cases[] = {
      { "", "0: empty; allowed: a JSON object" },
      { " \n ", "0: empty; allowed: a JSON object" },
      { "[ 1 ]", "1: an array; allowed: an object" },
      { "{\n\"PORT\": {\n", "2: not JSON at column 10: " },
      { "{\n\n  \"PORT\" 1}", "3: not JSON at column 11: " },
      { "{\n\"VLAN\": {\"\xc0\xaf\": {}}}", "2: not UTF-8; allowed: JSON in UTF-8" },
      { "{\n\"VLAN\": {\"\xed\xa0\x80\": {}}}", "2: not UTF-8" },
      { "{\"a\": " + std::string( 1'000'000, '[' ), "1: nested too deeply; allowed: up to 64" },
      { "{\"VLAN\": [\n]}", "1: VLAN: an array; allowed: an object of entries" },
      { "{\"VLAN\": {\n\"Vlan10\": 7}}", "2: VLAN|Vlan10: a number; allowed: an object" },
      { std::string( "{}\0{}", 5 ), "1: a NUL byte; allowed: JSON" },
      { "{\"VLAN|Vlan10\": {\"mtu\": {\n}}}", "1: VLAN|Vlan10: mtu: an object; allowed: text" },
      { "{\"VLAN|Vlan10\": {\"mtu\": [\n[]]}}", "2: VLAN|Vlan10: mtu: an array in the array" },
      { "{\"VLAN\": {\n\"Vlan10\": {},\n\"Vlan10\": {}}}",
            "3: VLAN|Vlan10: duplicate entry; the first is in line 2\n" },
      { "{\"VLAN\": {},\n\"VLAN\": {}}", "2: VLAN: duplicate table\n" },
      { "{\"PORT|E\": {\"lanes\": 1,\n\"lanes@\": 1}}", "2: PORT|E: lanes: duplicate field\n" },
   };
   for ( const auto& [ text, expected ] : cases ) {
      const std::string errors = said( load( text ).errors );
      EXPECT_TRUE( errors.starts_with( expected ) ) << errors << "\nexpected: " << expected;
      EXPECT_EQ( std::count( errors.begin(), errors.end(), '\n' ), 1 ) << errors;
   }
   for ( const std::string& path : { folder_.path(), folder_.path( "none" ) } ) {
      const LoadResult result = source_.load( path );
      ASSERT_EQ( result.errors.size(), 1u );
      EXPECT_TRUE( result.errors[ 0 ].toString().starts_with( path + ": " ) );
   }
   EXPECT_EQ( said( load( "\xef\xbb\xbf{}" ).errors ), "" ) << "a byte order mark is allowed";
}

TEST_F( ConfigurationTest, ChecksNamesRangesAndReferences ) {
   good( with( "" ) );
   expectErrors( pairs( R"(
"PORT|E24": {"colour": "red"} => colour: unknown; allowed: admin_status, alias,
"MIRROR_SESSION|m": {"dst_prot": "E16", "src_port": "E0"} => the nearest known name is dst_port
"VLAN|Vlan0": {}, "VLAN_MEMBER|Vlan0|E4": {} => VLAN|Vlan0: not a VLAN's name
"PORT|E24": {"admin_statsu": "up"} => admin_statsu: unknown; allowed: the nearest known name is admin_status
"PORTCHANNEL_MEMBER|PortChannel1|E16": {"x": "1"} => x: unknown; allowed: no fields
"PORT|E24": {"chip_port": "129"} => 129 is not on chip 0; allowed: 1 to 128 (trident3)
"PORT|E1": {"chip_port": "9"}, "PORT|E2": {"chip_port": "9"} => PORT|E2: chip_port: 9 is taken by E1
"PORT|Ether net": {} => not a port's name
"PORT|cpu": {} => not a port's name
"PORT|PortChannel9": {} => not a port's name
"PORT|E24": {"lanes": "1,two"} => lanes: '1,two'; allowed: numbers
"PORTCHANNEL|PortChannel12345": {} => allowed: PortChannel and 1 to 4 digits
"PORTCHANNEL_MEMBER|PortChannel1|E5": {} => refused: there is no port E5
"PORTCHANNEL_MEMBER|PortChannel9|E4": {} => refused: there is no PortChannel9
"PORTCHANNEL_MEMBER|PortChannel1": {} => not a member's key
"PORTCHANNEL|PortChannel2": {}, "PORTCHANNEL_MEMBER|PortChannel2|E8": {} => refused: E8 is in PortChannel1, too
"VLAN|Vlan4095": {} => allowed: Vlan2 to Vlan4094
"VLAN|Vlan30": {"vlanid": "31"} => vlanid: 31 is not the number in the name; allowed: 30
"VLAN_MEMBER|Vlan30|E0": {} => refused: there is no Vlan30
"VLAN_MEMBER|Vlan10|E5": {} => refused: there is no E5
"VLAN_MEMBER|Vlan10": {} => the key names no port
"INTERFACE|E0|10.0.0.1/24": {} => refused: E0 is in Vlan10
"INTERFACE|E8": {} => refused: E8 is a member of PortChannel1
"VLAN_MEMBER|Vlan20|E0": {} => refused: E0 is untagged in Vlan10, too
"VLAN_MEMBER|Vlan20|E8": {} => refused: E8 is a member of PortChannel1
"FDB|Vlan10|03:00:00:00:00:0a": {"port": "E0"} => allowed: a unicast MAC address
"FDB|Vlan10|00:00:00:00:00:00": {"port": "E0"} => allowed: a unicast MAC address
"FDB|Vlan10|02:00:00:00:00": {"port": "E0"} => allowed: a unicast MAC address
"FDB|Vlan10|02:00:00:00:00:0a": {} => port: missing
"FDB|Vlan10|02:00:00:00:00:0a": {"port": "E4"} => refused: port: E4 is not in Vlan10
"FDB|Vlan30|02:00:00:00:00:0a": {"port": "E4"} => refused: there is no Vlan30
"CHIP|8": {} => not a unit; allowed: 0 to 7
"CHIP|0": {"profile": "abacus"} => profile: unknown; allowed: trident3, trident2,
"CHIP|0": {"ports": "E5"} => ports: E5 is not in PORT
"CHIP|0": {"ports": "E4"}, "CHIP|1": {"ports": "E4"} => E4 is repeated, before on chip 0
"CHIP|0": {}, "CHIP|1": {"ports": "E12"} => refused: E12 is on chip 1, E8 of the same port channel on chip 0)" ) );
}

TEST_F( ConfigurationTest, ChecksMirrorSessions ) {
   expectErrors( "8: MIRROR_SESSION|m: ", pairs( R"(
"type": "SPAN", "src_port": "E0" => dst_port: missing
"dst_port": "E5", "src_port": "E0" => dst_port: there is no E5
"dst_port": "E16", "src_port": "Vlan10" => src_port: there is no Vlan10
"dst_port": "E16", "src_port": "E0,,E4" => an empty name between commas
"dst_port": "E16", "src_port": "E4,E0,E4" => E4 is repeated
"dst_port": "E16", "src_port": "PortChannel1,E8" => E8 is repeated, it shares E8 with PortChannel1
"dst_port": "E16", "src_port": "E0.10" => E0.10 is a sub-interface; allowed: in a session that filters by acl
"dst_port": "E16", "src_port": "E4,E16" => E16 is a source
"dst_port": "E0", "src_port": "E4" => E0 is in Vlan10
"dst_port": "PortChannel1", "src_port": "E4" => PortChannel1 is in Vlan20
"dst_port": "E8", "src_port": "E4" => E8 is a member of PortChannel1
"type": "SPAN", "dst_port": "E16", "src_port": "E0", "gre_key": "1" => gre_key: not valid for SPAN; only for ERSPAN
"type": "ERSPAN", "src_ip": "1.1.1.1", "dst_ip": "1.1.1.2", "dst_port": "E16" => dst_port: not valid for ERSPAN; only for SPAN
"src_ip": "1.1.1.1", "dst_ip": "2001:db8::1" => dst_ip: not of the family of src_ip
"src_ip": "1.1.1.1" => dst_ip: missing)" ),
         [ this ]( const auto& fields ) { return load( withSession( fields ) ); } );
   for ( const std::string loop : { R"("dst_port": "E8", "src_port": "PortChannel1")",
               R"("dst_port": "PortChannel1", "src_port": "E12")" } ) {
      const std::string errors = said( load( withSession( loop ) ).errors );
      EXPECT_NE( errors.find( " with the source " ), std::string::npos ) << errors;
   }
   const std::string fields = R"(": {"dst_port": "E16", "src_port": "E0"})";
   for ( const std::string& name : { std::string( "-a" ), std::string( 33, 'a' ) } ) {
      const std::string errors =
            said( load( with( "\"MIRROR_SESSION|" + name + fields ) ).errors );
      EXPECT_NE( errors.find( "not a session's name" ), std::string::npos ) << errors;
   }
}

TEST_F( ConfigurationTest, SaysAllErrorsInTheOrderOfTheirLines ) {
   EXPECT_EQ(
         said( load( "{\"VLAN_MEMBER\": {\n\"Vlan9|E\": {}},\n\"VLAN\": {\n\"Vlan0\": {},\n"
                     "\"Vlan8\": 1},\n\"PORT\": {\n\"E\": {\"mtuu\": 1}}}" )
                     .errors ),
         "4: VLAN|Vlan0: not a VLAN's name; allowed: Vlan2 to Vlan4094\n"
         "5: VLAN|Vlan8: a number; allowed: an object of fields, {} if there are none\n"
         "7: PORT|E: mtuu: unknown; allowed: the nearest known name is mtu\n" );
}

TEST_F( ConfigurationTest, ServesWhatItCanAndRefusesSessionsThatAskForMore ) {
   const Configuration config = good( withSession(
         R"("src_ip": "1.1.1.1", "dst_ip": "1.1.1.2", "src_port": "E0", "sample_rate": "256",
            "truncate_size": "0")" ) );
   const std::string reason = "this chip cannot sample; this chip cannot truncate";
   EXPECT_EQ( config.sessions.at( "m" ).refused, reason );
   EXPECT_EQ( warnings_, "8: MIRROR_SESSION|m: refused: " + reason + "\n" );
}

TEST_F( ConfigurationTest, WarnsOfWhatIsServedInAnotherWay ) {
   for ( const auto& [ more, expected ] : pairs( R"(
"VLAN_MEMBER|Vlan10|E4": {"tagging_mode": "priority_tagged"} => 8: VLAN_MEMBER|Vlan10|E4: tagging_mode: priority_tagged is served as
"PORTCHANNEL|PortChannel2": {"members": ["E4"]} => 8: PORTCHANNEL|PortChannel2: members: E4 is not in PORTCHANNEL_MEMBER
"VLAN|Vlan30": {"members": ["E4"]} => 8: VLAN|Vlan30: members: E4 is not in VLAN_MEMBER
"ACL_TABLE|T": {"type": "L2"}, "ACL_RULE|T|r": {"PRIORITY": 1, "PCP": "4/0"} => 8: ACL_RULE|T|r: PCP: '4/0': the mask is 0
"ACL_TABLE|T": {"type": "L2"}, "ACL_RULE|T|r": {"PRIORITY": 1, "PCP": "7/6"} => 8: ACL_RULE|T|r: PCP: '7/6': bits outside of the mask
"VLAN_MEMBR": {} => 8: VLAN_MEMBR: unknown table, ignored; did you mean VLAN_MEMBER?)" ) ) {
      good( with( more ) );
      EXPECT_EQ( std::count( warnings_.begin(), warnings_.end(), '\n' ), 1 );
      EXPECT_TRUE( warnings_.starts_with( expected ) ) << warnings_;
   }
}

// Whatever a file holds: either it loads, or each error is one line.
TEST_F( ConfigurationTest, SurvivesDamagedFiles ) {
   const std::string whole = nested;
   auto check = [ this ]( const std::string& text ) {
      const LoadResult result = load( text );
      for ( const Diagnostic& error : result.errors ) {
         EXPECT_EQ( error.toString().find( '\n' ), std::string::npos ) << error.toString();
      }
      return result.errors.size();
   };
   for ( size_t size = 0; size < whole.size(); ++size ) {
      EXPECT_GE( check( whole.substr( 0, size ) ), 1u );
   }
   const std::string_view damage = "\"{]|0\n\xff";
   for ( size_t at = 0; at < whole.size(); ++at ) {
      std::string damaged = whole;
      damaged[ at ] = damage[ at % damage.size() ];
      check( damaged );
   }
   EXPECT_EQ( check( R"({"VLAN|a\nb\u0000": {"x\ny": {}}})" ), 2u );
}

TEST_F( ConfigurationTest, DealsPortsToChips ) {
   const std::string chips =
         R"("CHIP": { "2": {"profile": "tomahawk", "ingress_entries": 100},
      "5": {"profile": "helix4", "ports": "E16,E4"} })";
   const Configuration config = good( with( chips + R"(, "PORTCHANNEL|PortChannel2": {},
      "PORTCHANNEL_MEMBER|PortChannel2|E4": {})" ),
         "trident2" );
   EXPECT_EQ( config.chips.at( 2 ).ingressEntries, 100 );
   EXPECT_EQ( config.chips.at( 5 ).ingressEntries, std::nullopt );
   EXPECT_EQ( config.unitOf( "E20" ), 2 );
   EXPECT_EQ( config.unitOf( "PortChannel1" ), 2 );
   EXPECT_EQ( config.unitOf( "E16" ), 5 );
   EXPECT_EQ( config.unitOf( "PortChannel2" ), 5 );
   EXPECT_EQ( config.ports.at( "E4" ).chipPort, 1 );
   EXPECT_EQ( config.ports.at( "E16" ).chipPort, 2 );
   EXPECT_EQ( config.ports.at( "E20" ).chipPort, 4 );
   EXPECT_EQ( config.channelOf( "E12" ), &config.portChannels.at( "PortChannel1" ) );

   const Configuration across = good( with( chips +
         R"(, "MIRROR_SESSION|m": {"dst_port": "E16", "src_port": "E0"},
      "MIRROR_SESSION|n": {"dst_port": "E16", "src_port": "E4", "queue": "7"})" ) );
   EXPECT_EQ(
         across.sessions.at( "m" ).refused, "E0 is on chip 2, the destination E16 on chip 5" );
   EXPECT_EQ( across.sessions.at( "n" ).refused, std::nullopt );
   EXPECT_EQ( across.sessions.at( "n" ).queue, 7 );
}

TEST_F( ConfigurationTest, KeepsToTheSizeOfTheChip ) {
   auto many = []( const std::string& entry, int count ) {
      std::string text = "{ \"PORT|E0\": {}";
      for ( int i = 1; i <= count; ++i ) {
         text += ",\n\"" + entry + std::to_string( i ) + "\": {}";
      }
      return text + "}";
   };
   EXPECT_EQ( said( load( many( "PORT|E", 51 ), "helix4" ).errors ), "" );
   EXPECT_EQ( said( load( many( "PORT|E", 60 ), "helix4" ).errors ),
         "53: PORT|E52: chip 0 has no port left for it: there are 61 ports; allowed: up to "
         "52 (helix4)\n" );
   EXPECT_EQ( said( load( many( "PORTCHANNEL|PortChannel", 64 ), "helix4" ).errors ), "" );
   EXPECT_EQ( said( load( many( "PORTCHANNEL|PortChannel", 65 ), "helix4" ).errors ),
         "66: PORTCHANNEL|PortChannel65: chip 0 has no trunk left for it: there are 65 port "
         "channels; allowed: up to 64\n" );
   std::string members = many( "PORT|E", 9 );
   members.back() = ',';
   members += "\"PORTCHANNEL|PortChannel1\": {}";
   for ( int i = 1; i <= 9; ++i ) {
      members += ",\n\"PORTCHANNEL_MEMBER|PortChannel1|E" + std::to_string( i ) + "\": {}";
   }
   EXPECT_EQ( said( load( members + "}", "helix4" ).warnings ),
         "19: PORTCHANNEL_MEMBER|PortChannel1|E9: refused: PortChannel1 has no place left for "
         "it; allowed: up to 8 members\n" );
}

TEST_F( ConfigurationTest, SetsAndDeletesSingleEntries ) {
   const LoadResult loaded = load( withSession( R"("dst_port": "E16", "src_port": "E0")" ) );
   ASSERT_EQ( said( loaded.errors ), "" );
   const Place step{ "script", 3 };
   auto set = [ & ]( const std::string& name, const std::string& json ) {
      return source_.set( name, json, step );
   };

   // What is refused, and why; always said at the step.
   const std::pair< LoadResult, std::string > refused[] = {
      { set( "LOOPBACK_INTERFACE|Loopback0", "{}" ),
            "3: LOOPBACK_INTERFACE|Loopback0: no table of the agent; allowed: ACL_RULE, " },
      { set( "VLAN|Vlan30", "{\"mtu\":" ), "3: VLAN|Vlan30: not JSON at column 7: " },
      { set( "VLAN|Vlan30", "[]" ), "3: VLAN|Vlan30: an array; allowed: an object" },
      { set( "VLAN|Vlan30", "{\"vlanid\": 31}" ), "3: VLAN|Vlan30: vlanid: 31 is not" },
      { set( "VLAN_MEMBER|Vlan20|E16", "{}" ),
            "3: VLAN_MEMBER|Vlan20|E16: does not go with " + write( "" ) +
                  ":8: MIRROR_SESSION|m: dst_port: E16 is in Vlan20" },
      { source_.del( "PORT|E16", step ),
            "3: PORT|E16: is still needed by MIRROR_SESSION|m (" + write( "" ) + ":8)\n" },
      { set( "VLAN_MEMBER|Vlan10|E5", "{}" ), "3: VLAN_MEMBER|Vlan10|E5: there is no E5" },
      { source_.del( "VLAN|Vlan20", step ),
            "3: VLAN|Vlan20: is still needed by VLAN_MEMBER|Vlan20|PortChannel1 (" },
      { source_.del( "PORT|E5", step ), "3: PORT|E5: there is no such entry" },
      // A command of a running agent has no line.
      { source_.set( "PORT|E0", R"({"mtu": "1"})", { "command", 0 } ),
            "0: PORT|E0: mtu: '1';" },
   };
   for ( const auto& [ result, expected ] : refused ) {
      EXPECT_EQ( result.errors.size(), 1u );
      EXPECT_TRUE( said( result.errors ).starts_with( expected ) ) << said( result.errors );
   }

   // Nothing of it has stayed: the next step sees the entries as they were.
   LoadResult now = set( "VLAN|Vlan30", "{}" );
   ASSERT_EQ( said( now.errors ), "" );
   EXPECT_TRUE( now.configuration.vlans.contains( 30 ) );
   now = source_.del( "VLAN|Vlan30", step );
   EXPECT_EQ( now.configuration, loaded.configuration );

   // An entry is replaced as a whole, and only what is new is warned of.
   const std::string beyond = R"("src_port": "E0", "match": "any>10.0.0.1", "direction": "TX")";
   now = set( "MIRROR_SESSION|m", R"({"dst_port": "E20", )" + beyond + "}" );
   EXPECT_EQ( now.configuration.sessions.at( "m" ).destination, "E20" );
   EXPECT_EQ( now.warnings.size(), 1u );
   EXPECT_EQ( set( "VLAN|Vlan30", "{}" ).warnings.size(), 0u );
   EXPECT_EQ( said( source_.del( "PORT|E16", step ).errors ), "" );
   // A file that cannot be loaded leaves all of that as it is.
   EXPECT_NE( source_.load( folder_.path() ).errors.size(), 0u );
   EXPECT_EQ( source_.del( "VLAN|Vlan30", step ).configuration.ports.size(), 5u );
   // A file says all its warnings each time that it is loaded.
   const std::string file = write( withSession( R"("dst_port": "E16", )" + beyond ) );
   EXPECT_EQ( source_.load( file ).warnings.size(), 1u );
   EXPECT_EQ( source_.load( file ).warnings.size(), 1u );
}

// What a chip is programmed with must not move under traffic because of a neighbour.
TEST_F( ConfigurationTest, NumbersStayWithTheirPortsAndPortChannels ) {
   ASSERT_EQ( said( load( R"({ "PORT|E4": {}, "PORT|E8": {}, "PORT|E12": {"chip_port": "9"},
      "PORTCHANNEL|PortChannel7": {}, "PORTCHANNEL|PortChannel1000": {} })" )
                          .errors ),
         "" );
   const Place step{ "script", 1 };
   auto numbers = []( const LoadResult& result, const auto& interfaces, auto number ) {
      std::string text = said( result.errors );
      for ( const auto& [ name, interface ] : interfaces ) {
         text += name + "=" + std::to_string( interface.*number ) + " ";
      }
      return text;
   };
   auto ports = [ & ]( const LoadResult& result ) {
      return numbers( result, result.configuration.ports, &PortConfig::chipPort );
   };
   auto trunks = [ & ]( const LoadResult& result ) {
      return numbers( result, result.configuration.portChannels, &PortChannelConfig::trunk );
   };
   EXPECT_EQ( ports( source_.set( "PORT|E0", "{}", step ) ), "E0=3 E12=9 E4=1 E8=2 " );
   EXPECT_EQ( ports( source_.del( "PORT|E4", step ) ), "E0=3 E12=9 E8=2 " );
   EXPECT_EQ( ports( source_.set( "PORT|E16", "{}", step ) ), "E0=3 E12=9 E16=1 E8=2 " )
         << "a number that is free again";
   // Only who asks for a number by name can take it from another.
   EXPECT_EQ( ports( source_.set( "PORT|E20", R"({"chip_port": "2"})", step ) ),
         "E0=3 E12=9 E16=1 E20=2 E8=4 " );

   EXPECT_EQ( trunks( source_.set( "PORTCHANNEL|PortChannel0007", "{}", step ) ),
         "PortChannel0007=1 PortChannel1000=0 PortChannel7=7 " );
   EXPECT_EQ( trunks( source_.set( "PORTCHANNEL|PortChannel0", "{}", step ) ),
         "PortChannel0=2 PortChannel0007=1 PortChannel1000=0 PortChannel7=7 " );
   EXPECT_EQ( trunks( source_.del( "PORTCHANNEL|PortChannel7", step ) ),
         "PortChannel0=2 PortChannel0007=1 PortChannel1000=0 " );
}

// The whole examples among the code of the documentation; others are pieces.
TEST_F( ConfigurationTest, LoadsTheExamplesOfTheDocumentation ) {
   std::ifstream in( KARVEL_SOURCE_DIR "/Docs/configuration.md" );
   std::string example;
   std::string line;
   int count = 0;
   bool isInside = false;
   while ( std::getline( in, line ) ) {
      if ( line == "```json" ) {
         isInside = true;
         example.clear();
      } else if ( line == "```" && isInside ) {
         isInside = false;
         if ( example.find( "\"PORT\"" ) != std::string::npos ) {
            EXPECT_EQ( good( example ).sessions.size(), 1u ) << example;
            EXPECT_EQ( warnings_, "" ) << example;
            ++count;
         }
      } else if ( isInside ) {
         example += line + "\n";
      }
   }
   EXPECT_EQ( count, 5 );
}

TEST_F( ConfigurationTest, LoadsWholeDevices ) {
   const char* folder = std::getenv( "KARVEL_CONFIG_EXAMPLES" );
   if ( !folder ) {
      GTEST_SKIP() << "KARVEL_CONFIG_EXAMPLES names no folder of configurations";
   }
   int count = 0;
   for ( const auto& file : std::filesystem::directory_iterator( folder ) ) {
      if ( file.path().extension() == ".json" ) {
         ++count;
         const LoadResult result = source_.load( file.path() );
         EXPECT_EQ( said( result.errors ), "" ) << file.path();
         EXPECT_FALSE( result.configuration.ports.empty() ) << file.path();
      }
   }
   EXPECT_GT( count, 0 );
}

} // namespace
} // namespace Agent
