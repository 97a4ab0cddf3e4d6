// Mirroring filtered by ACLs and by plain addresses, as a user sees it.

#include "Tests/Scenarios/Packets.h"
#include "Tests/Scenarios/Scenario.h"

namespace Scenario {

using Agent::SessionPhase;
using ChipModel::SdkCall;

namespace {

// A session that only ACL rules feed.
std::string fed( const std::string& name, const std::string& destination ) {
   return "\"" + name + "\": { \"type\": \"SPAN\", \"dst_port\": \"" + destination + "\" }";
}

struct Rule {
   std::string key; // "T|r"
   int priority;
   std::string fields;        // "\"SRC_IP\": \"10.0.0.1/32\""
   std::string session = "s"; // empty: drops; "-": what the fields say
};

std::string ruleJson( const Rule& rule ) {
   std::string json = "{ \"PRIORITY\": \"" + std::to_string( rule.priority ) + "\"";
   json += rule.fields.empty() ? "" : ", " + rule.fields;
   if ( rule.session.empty() ) {
      json += ", \"PACKET_ACTION\": \"DROP\"";
   } else if ( rule.session != "-" ) {
      json += ", \"MIRROR_INGRESS_ACTION\": \"" + rule.session + "\"";
   }
   return json + " }";
}

std::string table(
      const std::string& name, const std::string& type, const std::string& ports ) {
   return "\"" + name + "\": { \"type\": \"" + type +
         "\", \"stage\": \"ingress\", \"ports\": \"" + ports + "\" }";
}

std::string acls( const std::string& tables, const std::vector< Rule >& rules ) {
   std::string text = "\"ACL_TABLE\": { " + tables + " }, \"ACL_RULE\": { ";
   for ( size_t i = 0; i < rules.size(); ++i ) {
      text += ( i ? ", \"" : "\"" ) + rules[ i ].key + "\": " + ruleJson( rules[ i ] );
   }
   return text + " }";
}

// Session "s" to Ethernet20, fed by table "T" on Ethernet0.
std::string filtered( const std::string& type, const std::vector< Rule >& rules ) {
   return network( fed( "s", "Ethernet20" ), acls( table( "T", type, "Ethernet0" ), rules ) );
}

bool isCopied( Rig& rig, const Packet& packet, const std::string& port = "Ethernet0",
      const std::string& to = "Ethernet20" ) {
   rig.forget();
   rig.send( port, packet.bytes() );
   const std::vector< Bytes > copies = rig.copies( to );
   EXPECT_TRUE( copies.empty() || ( copies.size() == 1 && copies[ 0 ] == packet.bytes() ) );
   return !copies.empty();
}

// How many frames of the switch's ordinary work left by any port.
size_t forwarded( Rig& rig ) {
   size_t count = 0;
   for ( const auto& sent : rig.sent() ) {
      count += sent.kind == ChipModel::CopyKind::forwarded;
   }
   return count;
}

} // namespace

TEST( AclMirroring, copiesWhatIsPermittedInOrderAndDropsNothing ) {
   Rig rig( filtered( "L3",
         { { "T|top", 30, R"("SRC_IP": "10.1.1.1/32")" },
               { "T|shield", 20, R"("SRC_IP": "10.1.0.0/16")", "" },
               { "T|all", 10, R"("SRC_IP": "10.0.0.0/8")" } } ) );
   EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::active );
   EXPECT_TRUE( isCopied( rig, packet().from( "10.1.1.1" ) ) );
   EXPECT_FALSE( isCopied( rig, packet().from( "10.1.1.2" ) ) ) << "shielded";
   EXPECT_GT( forwarded( rig ), 0U ) << "what a mirror ACL denies is forwarded all the same";
   EXPECT_TRUE( isCopied( rig, packet().from( "10.2.0.1" ) ) );
   EXPECT_FALSE( isCopied( rig, packet().from( "11.0.0.1" ) ) ) << "no rule at all";
   EXPECT_FALSE( isCopied( rig, packet().from( "10.1.1.1" ), "Ethernet4" ) )
         << "the table is not applied there";
   EXPECT_EQ( rig.entries().size(), 3U );
   rig.del( "ACL_RULE|T|shield" );
   EXPECT_TRUE( isCopied( rig, packet().from( "10.1.1.2" ) ) );
}

TEST( Fragments, followThePermitThatTheyMayBelongTo ) {
   Rig rig( filtered( "L3",
         { { "T|web", 30,
                 R"("L4_DST_PORT": "80", "IP_PROTOCOL": "6", "DST_IP": "10.0.0.2/32")" },
               { "T|not", 20,
                     R"("L4_DST_PORT": "81", "IP_PROTOCOL": "6", "DST_IP": "10.0.0.3/32")",
                     "" } } ) );
   auto part = []( uint16_t offset, bool more ) {
      return packet().tcp( 1, 80 ).fragment( offset, more );
   };
   EXPECT_TRUE( isCopied( rig, part( 0, true ) ) ) << "first";
   EXPECT_TRUE( isCopied( rig, part( 10, true ) ) ) << "middle";
   EXPECT_TRUE( isCopied( rig, part( 20, false ) ) ) << "last";
   EXPECT_FALSE( isCopied( rig, packet().udp( 1, 80 ).fragment( 20, false ) ) );
   EXPECT_FALSE( isCopied( rig, part( 20, false ).to( "10.0.0.3" ) ) );
}

TEST( SubInterface, isThePortsTrafficWithItsVlan ) {
   Rig rig( network( fed( "s", "Ethernet20" ),
         acls( table( "T", "L3", "Ethernet0.20,Ethernet4" ),
               { { "T|r", 10, R"("DST_IP": "10.0.0.2/32")" } } ) ) );
   EXPECT_TRUE( isCopied( rig, packet().vlan( 20 ) ) );
   EXPECT_FALSE( isCopied( rig, packet().vlan( 10 ) ) );
   EXPECT_FALSE( isCopied( rig, packet() ) );
   EXPECT_TRUE( isCopied( rig, packet(), "Ethernet4" ) );
}

TEST( VlanPriority, isThatOfTheTagAndZeroWithoutOne ) {
   for ( const ChipModel::Profile& profile : ChipModel::chipProfiles() ) {
      if ( !profile.tcamHelpers ) {
         continue;
      }
      SCOPED_TRACE( profile.name );
      Rig rig( network( fed( "one", "Ethernet20" ) + "," + fed( "masked", "Ethernet24" ) + "," +
                           fed( "zero", "Ethernet28" ),
                     acls( table( "T", "L2", "Ethernet0" ) + "," +
                                 table( "U", "MAC", "Ethernet0" ) + "," +
                                 table( "V", "L2", "Ethernet0" ),
                           { { "T|r", 10, R"("PCP": "5")", "one" },
                                 { "U|r", 10, R"("PCP": "0x6/6")", "masked" },
                                 { "U|not", 20, R"("PCP": "6/7")", "" },
                                 { "V|r", 10, R"("PCP": "0", "VLAN_ID": "10")", "zero" } } ) ),
            std::string( profile.name ) );
      const auto copiedTo = [ & ]( const Packet& packet ) {
         std::string ports;
         for ( const char* port : { "Ethernet20", "Ethernet24", "Ethernet28" } ) {
            ports += isCopied( rig, packet, "Ethernet0", port ) ? port + 8 : "--";
         }
         return ports;
      };
      const char* const expected[] = { "------", "------", "------", "------", "------",
         "20----", "------", "--24--" };
      for ( uint8_t priority = 0; priority < 8; ++priority ) {
         EXPECT_EQ( copiedTo( packet().vlan( 20, priority ) ), expected[ priority ] );
      }
      EXPECT_EQ( copiedTo( packet().vlan( 10, 0 ) ), "----28" );
      EXPECT_EQ( copiedTo( packet() ), "----28" ) << "untagged";
      EXPECT_EQ( copiedTo( packet().vlan( 10, 1 ) ), "------" );
   }
}

TEST( AclOnAPortChannel, filtersWhatEveryMemberReceives ) {
   Rig rig( network( fed( "s", "Ethernet20" ),
         acls( table( "T", "L3", "PortChannel1" ),
               { { "T|r", 10, R"("SRC_IP": "10.0.0.1/32")" } } ) ) );
   EXPECT_TRUE( isCopied( rig, packet(), "Ethernet12" ) );
   EXPECT_TRUE( isCopied( rig, packet(), "Ethernet16" ) );
   rig.del( "PORTCHANNEL_MEMBER|PortChannel1|Ethernet16" );
   EXPECT_FALSE( isCopied( rig, packet(), "Ethernet16" ) );
}

TEST( SeveralFilters, eachGiveTheirCopy ) {
   // The same packet for two sessions, by an ACL and by its port.
   Rig rig( network( fed( "a", "Ethernet20" ) + "," + fed( "b", "Ethernet24" ) + "," +
               span( "c", "Ethernet0", "Ethernet28", "RX" ),
         acls( table( "T", "L3", "Ethernet0" ) + "," + table( "U", "L3", "Ethernet0" ),
               { { "T|r", 10, R"("SRC_IP": "10.0.0.1/32")", "a" },
                     { "U|r", 10, R"("DST_IP": "10.0.0.2/32")", "b" } } ) ) );
   rig.send( "Ethernet0", packet().bytes() );
   EXPECT_EQ( rig.copyCount( "Ethernet20" ), 1U );
   EXPECT_EQ( rig.copyCount( "Ethernet24" ), 1U );
   EXPECT_EQ( rig.copyCount( "Ethernet28" ), 1U );
   rig.send( "Ethernet0", packet().from( "10.9.9.9" ).bytes() );
   EXPECT_EQ( rig.copyCount( "Ethernet20" ), 0U );
   EXPECT_EQ( rig.copyCount( "Ethernet24" ), 1U );
}

TEST( OneDestination, takesPortsAndAclsOfEveryKindAtOnce ) {
   Rig rig( network( span( "s", "Ethernet4", "Ethernet20", "RX" ),
         acls( table( "T4", "L3", "Ethernet0" ) + "," + table( "T6", "L3V6", "Ethernet0" ) +
                     "," + table( "TM", "MAC", "Ethernet0" ),
               { { "T4|r", 10, R"("SRC_IP": "10.0.0.1/32")" },
                     { "T6|r", 10, R"("SRC_IPV6": "2001:db8::1/128")" },
                     { "TM|deny", 20, R"("ETHER_TYPE": "0x0800")", "" },
                     { "TM|r", 10, R"("SRC_MAC": "02:00:00:00:00:07")" } } ) ) );
   EXPECT_EQ( rig.session( "s" ).held.size(), 1U );
   EXPECT_TRUE( isCopied( rig, packet6(), "Ethernet4" ) );
   EXPECT_TRUE( isCopied( rig, packet() ) ) << "one ACL's deny does not shield another ACL";
   EXPECT_TRUE( isCopied( rig, packet6() ) );
   EXPECT_TRUE( isCopied(
         rig, packet().macs( "02:00:00:00:00:07", "02:00:00:00:00:02" ).etherType( 0x88b5 ) ) );
   EXPECT_FALSE( isCopied( rig, packet().from( "10.0.0.9" ) ) );
}

TEST( SessionFilter, ofItsOwnIsAppliedToItsSources ) {
   Rig rig( network( R"("s": { "type": "SPAN", "dst_port": "Ethernet20", "direction": "RX",
                               "src_port": "Ethernet0,Ethernet4", "acl": "T",
                               "match": "10.5.0.0/16>192.0.2.1, any>192.0.2.2" })",
         acls( table( "T", "L3", "" ),
               { { "T|r", 10, R"("SRC_IP": "10.0.0.1/32", "PACKET_ACTION": "FORWARD")",
                     "-" } } ) ) );
   for ( const char* port : { "Ethernet0", "Ethernet4" } ) {
      EXPECT_TRUE( isCopied( rig, packet(), port ) );
      EXPECT_TRUE( isCopied( rig, packet().from( "10.5.7.7" ).to( "192.0.2.1" ), port ) );
      EXPECT_TRUE( isCopied( rig, packet().from( "1.2.3.4" ).to( "192.0.2.2" ), port ) );
      EXPECT_FALSE( isCopied( rig, packet().from( "10.6.7.7" ).to( "192.0.2.1" ), port ) );
   }
   EXPECT_FALSE( isCopied( rig, packet(), "Ethernet8" ) );
   // One address pair less; the other's entry stays.
   const std::vector< int > before = rig.entries();
   rig.set( "MIRROR_SESSION|s",
         R"({ "type": "SPAN", "dst_port": "Ethernet20", "direction": "RX",
              "src_port": "Ethernet0,Ethernet4", "match": "any>192.0.2.2" })" );
   EXPECT_FALSE( isCopied( rig, packet() ) );
   EXPECT_FALSE( isCopied( rig, packet().from( "10.5.7.7" ).to( "192.0.2.1" ) ) );
   EXPECT_TRUE( isCopied( rig, packet().to( "192.0.2.2" ) ) );
}

TEST( AclEdit, reachesTheChipAtOnceAndTouchesNoOtherSession ) {
   Rig rig( network( fed( "s", "Ethernet20" ) + "," + fed( "other", "Ethernet24" ),
         acls( table( "T", "L3", "Ethernet0" ) + "," + table( "U", "L3", "Ethernet0" ),
               { { "T|a", 20, R"("SRC_IP": "10.0.0.0/24")" },
                     { "U|a", 20, R"("SRC_IP": "10.0.0.0/24")", "other" } } ) ) );
   const std::vector< int > others = rig.entries( "other" );
   ASSERT_EQ( others.size(), 1U );
   rig.set( "ACL_RULE|T|b", ruleJson( { "", 30, R"("SRC_IP": "10.0.0.1/32")", "" } ) );
   EXPECT_FALSE( isCopied( rig, packet() ) ) << "a rule was added above";
   rig.set( "ACL_RULE|T|b", ruleJson( { "", 10, R"("SRC_IP": "10.0.0.1/32")", "" } ) );
   EXPECT_TRUE( isCopied( rig, packet() ) ) << "and moved below";
   rig.set( "MIRROR_SESSION|s", R"({ "type": "SPAN", "dst_port": "Ethernet28" })" );
   EXPECT_TRUE( isCopied( rig, packet(), "Ethernet0", "Ethernet28" ) );
   rig.del( "ACL_RULE|T|a" );
   EXPECT_FALSE( isCopied( rig, packet(), "Ethernet0", "Ethernet28" ) );
   rig.del( "ACL_RULE|T|b" );
   EXPECT_EQ( rig.entries( "other" ), others );
   rig.del( "ACL_TABLE|T" );
   rig.del( "MIRROR_SESSION|s" );
   EXPECT_EQ( rig.entries(), others );
   rig.del( "ACL_RULE|U|a" );
   EXPECT_EQ( rig.entriesUsed(), 0 );
}

TEST( FullTcam, ofAnAclIsToldAndRetried ) {
   Rig rig( network( "" ) );
   ASSERT_FALSE( rig.runtime.capacity( "ingress-entries", 3 ) );
   rig.set( "MIRROR_SESSION|s", R"({ "type": "SPAN", "dst_port": "Ethernet20" })" );
   rig.set( "ACL_TABLE|T", R"({ "type": "L3", "ports": "Ethernet0" })" );
   rig.set( "ACL_RULE|T|a", ruleJson( { "", 30, R"("SRC_IP": "10.0.0.1/32")" } ) );
   EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::active );
   rig.set( "ACL_RULE|T|b", ruleJson( { "", 20, R"("SRC_IP": "10.0.0.2/32")" } ) );
   rig.set( "ACL_RULE|T|c", ruleJson( { "", 10, R"("SRC_IP": "10.0.0.3/32")" } ) );
   EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::failed );
   EXPECT_FALSE( rig.session( "s" ).reason.empty() );
   EXPECT_TRUE( rig.entries().empty() );
   ASSERT_FALSE( rig.runtime.capacity( "ingress-entries", 100 ) );
   EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::active );
   EXPECT_TRUE( isCopied( rig, packet().from( "10.0.0.3" ) ) );
}

TEST( ManyRules, costWorkForTheirOwnSessionOnly ) {
   Rig rig( network( fed( "s", "Ethernet20" ) + "," + fed( "big", "Ethernet24" ),
         acls( table( "T", "L3", "Ethernet0" ) + "," + table( "U", "L3", "Ethernet0" ), [] {
            std::vector< Rule > rules{ { "T|r", 10, R"("SRC_IP": "10.0.0.1/32")" } };
            for ( int i = 0; i < 500; ++i ) {
               rules.push_back( { "U|r" + std::to_string( i ), i + 1,
                     R"("SRC_IP": "10.1.)" + std::to_string( i / 250 ) + "." +
                           std::to_string( i % 250 ) + R"(/32")",
                     "big" } );
            }
            return rules;
         }() ) ) );
   EXPECT_TRUE( isCopied( rig, packet().from( "10.1.1.249" ), "Ethernet0", "Ethernet24" ) );
   const uint64_t before = rig.calls( SdkCall::bcm_field_entry_create );
   rig.set( "ACL_RULE|T|r", ruleJson( { "", 10, R"("SRC_IP": "10.0.0.2/32")" } ) );
   EXPECT_LE( rig.calls( SdkCall::bcm_field_entry_create ) - before, 2U );
   EXPECT_TRUE( isCopied( rig, packet().from( "10.0.0.2" ) ) );
}

// Every call that can be refused while a session comes and goes: the agent stays up, nothing
// keeps mirroring after its session has gone, and in the end the chip is empty.
TEST( RefusedCalls, leaveNothingBehind ) {
   const std::string sessions[] = {
      R"({ "type": "SPAN", "dst_port": "Ethernet20", "direction": "TX", "src_port": "Ethernet0" })",
      R"({ "type": "SPAN", "dst_port": "Ethernet20", "direction": "RX", "src_port": "Ethernet0",
           "match": "any>10.0.0.2" })",
      R"({ "type": "SPAN", "dst_port": "Ethernet20", "direction": "RX", "src_port": "Ethernet0",
           "acl": "T" })"
   };
   for ( const char* call : { "bcm_field_group_create", "bcm_field_group_destroy",
               "bcm_field_entry_create", "bcm_field_entry_destroy", "bcm_port_class_set" } ) {
      for ( const std::string& session : sessions ) {
         Rig rig( network( "",
               acls( table( "T", "L3", "" ),
                     { { "T|r", 10, R"("DST_IP": "10.0.0.2/32", "PACKET_ACTION": "FORWARD")",
                           "-" } } ) ) );
         rig.runtime.fail( call, 1, 2 );
         rig.set( "MIRROR_SESSION|s", session );
         rig.del( "MIRROR_SESSION|s" );
         rig.forget();
         rig.send( "Ethernet0", packet().bytes() );
         EXPECT_EQ( rig.copyCount( "Ethernet20" ), 0U ) << call << " " << session;
         rig.runtime.advance( 5 );
         rig.set( "MIRROR_SESSION|s", session );
         rig.runtime.advance( 11 );
         EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::active ) << call << " " << session;
         rig.del( "MIRROR_SESSION|s" );
         rig.runtime.advance( 5 );
         EXPECT_EQ( rig.entriesUsed(), 0 ) << call << " " << session;
      }
   }
}

} // namespace Scenario
