// Mirroring filtered by ACLs and by plain addresses, as a user sees it.

#include <optional>

#include "Tests/EveryRefusal.h"
#include "Tests/Packet.h"
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

uint32_t ip( const char* text ) { return Plix::IpAddr::fromString( text )->value(); }

bool isCopied( Rig& rig, const Packet& packet, const std::string& port = "Ethernet0",
      const std::string& to = "Ethernet20" ) {
   rig.forget();
   rig.send( port, packet.bytes() );
   const std::vector< Bytes > copies = rig.copies( to );
   EXPECT_TRUE( copies.empty() || ( copies.size() == 1 && copies[ 0 ] == packet.bytes() ) );
   return !copies.empty();
}

} // namespace

TEST( AclMirroring, CopiesWhatIsPermittedInOrderAndDropsNothing ) {
   Rig rig( filtered( "L3",
         { { "T|top", 30, R"("SRC_IP": "10.1.1.1/32")" },
               { "T|shield", 20, R"("SRC_IP": "10.1.0.0/16")", "" },
               { "T|all", 10, R"("SRC_IP": "10.0.0.0/8")" } } ) );
   EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::active );
   EXPECT_TRUE( isCopied( rig, { .src = ip( "10.1.1.1" ) } ) );
   EXPECT_FALSE( isCopied( rig, { .src = ip( "10.1.1.2" ) } ) ) << "shielded";
   EXPECT_GT( rig.forwarded(), 0U ) << "what a mirror ACL denies is forwarded all the same";
   EXPECT_TRUE( isCopied( rig, { .src = ip( "10.2.0.1" ) } ) );
   EXPECT_FALSE( isCopied( rig, { .src = ip( "11.0.0.1" ) } ) ) << "no rule at all";
   EXPECT_FALSE( isCopied( rig, { .src = ip( "10.1.1.1" ) }, "Ethernet4" ) )
         << "the table is not applied there";
   EXPECT_EQ( rig.entries().size(), 3U );
   rig.del( "ACL_RULE|T|shield" );
   EXPECT_TRUE( isCopied( rig, { .src = ip( "10.1.1.2" ) } ) );
}

// What is refused copies nothing; frames that are not the table's IP are told by their EtherType.
TEST( MirrorTables, CopyExactlyWhatTheirRulesName ) {
   Rig rig( network( fed( "s", "Ethernet20" ) + "," + fed( "cpu", "CPU" ),
         acls( table( "T", "MIRROR", "Ethernet0" ) + "," +
                     table( "D", "MIRROR_DSCP", "Ethernet4" ),
               { { "T|host", 5, R"("SRC_IP": "10.1.1.1/32")" },
                     { "T|arp", 4, R"("IP_TYPE": "ARP")" },
                     { "T|none", 3, R"("L4_DST_PORT": "80", "IP_PROTOCOL": "127")" },
                     { "T|class", 2, R"("TC": "1")" },
                     { "D|d", 1, R"("DSCP": "8")", "cpu" } } ) ) );
   EXPECT_TRUE( isCopied( rig, { .src = ip( "10.1.1.1" ) } ) );
   EXPECT_FALSE( isCopied( rig, { .src = ip( "10.1.1.2" ), .protocol = 127 } ) );
   EXPECT_TRUE( isCopied( rig, { .type = 0x0806 } ) );
   EXPECT_FALSE( isCopied( rig, { .type = 0x88cc } ) );
   for ( const bool isIpv6 : { false, true } ) {
      for ( const int dscp : { 8, 9 } ) {
         const auto tos = static_cast< uint8_t >( dscp << 2 );
         const Packet packet{ .isIpv6 = isIpv6, .tos = tos };
         EXPECT_EQ( isCopied( rig, packet, "Ethernet4", "CPU" ), dscp == 8 );
      }
   }
}

TEST( Fragments, FollowThePermitThatTheyMayBelongTo ) {
   Rig rig( filtered( "L3",
         { { "T|web", 30,
                 R"("L4_DST_PORT": "80", "IP_PROTOCOL": "6", "DST_IP": "10.0.0.2/32")" },
               { "T|not", 20,
                     R"("L4_DST_PORT": "81", "IP_PROTOCOL": "6", "DST_IP": "10.0.0.3/32")",
                     "" } } ) );
   using Part = Packet::Part;
   const auto isPartCopied = [ & ]( Part part, uint32_t dst = ip( "10.0.0.2" ),
                                   uint8_t protocol = 6 ) {
      return isCopied( rig,
            { .dst = dst, .protocol = protocol, .part = part, .srcPort = 1, .dstPort = 80 } );
   };
   for ( const Part part : { Part::first, Part::later, Part::last } ) {
      EXPECT_TRUE( isPartCopied( part ) ) << static_cast< int >( part );
   }
   EXPECT_FALSE( isPartCopied( Part::last, ip( "10.0.0.2" ), 17 ) );
   EXPECT_FALSE( isPartCopied( Part::last, ip( "10.0.0.3" ) ) );
   // Ports alone are those of three protocols, flags and ICMP of one each.
   using Protocols = std::set< uint8_t >;
   for ( const auto& [ field, protocols ] :
         { std::pair( R"("L4_DST_PORT": "80")", Protocols{ 6, 17, 132 } ),
               { R"("TCP_FLAGS": "0x02/0x02")", { 6 } }, { R"("ICMP_TYPE": "8")", { 1 } } } ) {
      rig.set( "ACL_RULE|T|ports",
            ruleJson( { "", 10, std::string( field ) + R"(, "DST_IP": "10.0.0.4/32")" } ) );
      for ( const uint8_t protocol : Protocols{ 1, 6, 17, 47, 132 } ) {
         EXPECT_EQ( isPartCopied( Part::last, ip( "10.0.0.4" ), protocol ),
               protocols.contains( protocol ) )
               << field << " of " << int{ protocol };
      }
   }
}

TEST( SubInterface, IsThePortsTrafficWithItsVlan ) {
   Rig rig( network( fed( "s", "Ethernet20" ),
         acls( table( "T", "L3", "Ethernet0.20,Ethernet4" ),
               { { "T|r", 10, R"("DST_IP": "10.0.0.2/32")" } } ) ) );
   EXPECT_TRUE( isCopied( rig, { .vlan = 20 } ) );
   EXPECT_FALSE( isCopied( rig, { .vlan = 10 } ) );
   EXPECT_FALSE( isCopied( rig, {} ) );
   EXPECT_TRUE( isCopied( rig, {}, "Ethernet4" ) );
}

TEST( VlanPriority, IsThatOfTheTagAndZeroWithoutOne ) {
   for ( const std::string& chip :
         chipsWhere( []( auto& profile ) { return profile.tcamHelpers; } ) ) {
      SCOPED_TRACE( chip );
      Rig rig( network( fed( "one", "Ethernet20" ) + "," + fed( "masked", "Ethernet24" ) + "," +
                           fed( "zero", "Ethernet28" ),
                     acls( table( "T", "L2", "Ethernet0" ) + "," +
                                 table( "U", "MAC", "Ethernet0" ) + "," +
                                 table( "V", "L2", "Ethernet0" ),
                           { { "T|r", 10, R"("PCP": "5")", "one" },
                                 { "U|r", 10, R"("PCP": "0x6/6")", "masked" },
                                 { "U|not", 20, R"("PCP": "6/7")", "" },
                                 { "V|r", 10, R"("PCP": "0", "VLAN_ID": "10")", "zero" } } ) ),
            chip );
      // Untagged, of VLAN 10 with priorities 0 and 1, and of VLAN 20 with all.
      std::vector< Packet > packets{ {}, { .vlan = 10 }, { .vlan = 10, .priority = 1 } };
      for ( uint8_t priority = 0; priority < 8; ++priority ) {
         packets.push_back( { .vlan = 20, .priority = priority } );
      }
      std::string copied;
      for ( const Packet& packet : packets ) {
         for ( const char* port : { "Ethernet20", "Ethernet24", "Ethernet28" } ) {
            copied += isCopied( rig, packet, "Ethernet0", port ) ? port + 8 : "";
         }
         copied += " ";
      }
      EXPECT_EQ( copied, "28 28       20  24 " );
   }
}

TEST( AclOnAPortChannel, FiltersWhatEveryMemberReceives ) {
   Rig rig( network( fed( "s", "Ethernet20" ),
         acls( table( "T", "L3", "PortChannel1" ),
               { { "T|r", 10, R"("SRC_IP": "10.0.0.1/32")" } } ) ) );
   EXPECT_TRUE( isCopied( rig, {}, "Ethernet12" ) );
   EXPECT_TRUE( isCopied( rig, {}, "Ethernet16" ) );
   rig.del( "PORTCHANNEL_MEMBER|PortChannel1|Ethernet16" );
   EXPECT_FALSE( isCopied( rig, {}, "Ethernet16" ) );
}

TEST( SeveralFilters, EachGiveTheirCopy ) {
   // The same packet for two sessions, by an ACL and by its port.
   Rig rig( network( fed( "a", "Ethernet20" ) + "," + fed( "b", "Ethernet24" ) + "," +
               span( "c", "Ethernet0", "Ethernet28", "RX" ),
         acls( table( "T", "L3", "Ethernet0" ) + "," + table( "U", "L3", "Ethernet0" ),
               { { "T|r", 10, R"("SRC_IP": "10.0.0.1/32")", "a" },
                     { "U|r", 10, R"("DST_IP": "10.0.0.2/32")", "b" } } ) ) );
   EXPECT_EQ( rig.copied( "Ethernet0", Packet{}.bytes(), "Ethernet20" ), 1U );
   EXPECT_EQ( rig.copyCount( "Ethernet24" ), 1U );
   EXPECT_EQ( rig.copyCount( "Ethernet28" ), 1U );
   EXPECT_FALSE( isCopied( rig, { .src = ip( "10.9.9.9" ) } ) );
   EXPECT_EQ( rig.copyCount( "Ethernet24" ), 1U );
}

TEST( OneDestination, TakesPortsAndAclsOfEveryKindAtOnce ) {
   Rig rig( network( span( "s", "Ethernet4", "Ethernet20", "RX" ),
         acls( table( "T4", "L3", "Ethernet0" ) + "," + table( "T6", "L3V6", "Ethernet0" ) +
                     "," + table( "TM", "MAC", "Ethernet0" ),
               { { "T4|r", 10, R"("SRC_IP": "10.0.0.1/32")" },
                     { "T6|r", 10, R"("SRC_IPV6": "2000::a00:1/128")" },
                     { "TM|deny", 20, R"("ETHER_TYPE": "0x0800")", "" },
                     { "TM|r", 10, R"("SRC_MAC": "02:00:00:00:00:07")" } } ) ) );
   EXPECT_EQ( rig.session( "s" ).held.size(), 1U );
   EXPECT_TRUE( isCopied( rig, { .isIpv6 = true }, "Ethernet4" ) );
   EXPECT_TRUE( isCopied( rig, {} ) ) << "one ACL's deny does not shield another ACL";
   EXPECT_TRUE( isCopied( rig, { .isIpv6 = true } ) );
   EXPECT_TRUE( isCopied( rig, { .station = 7, .type = 0x88b5 } ) );
   EXPECT_FALSE( isCopied( rig, { .src = ip( "10.0.0.9" ) } ) );
}

TEST( SessionFilter, OfItsOwnIsAppliedToItsSources ) {
   Rig rig( network( R"("s": { "type": "SPAN", "dst_port": "Ethernet20", "direction": "RX",
                               "src_port": "Ethernet0,Ethernet4", "acl": "T",
                               "match": "10.5.0.0/16>192.0.2.1, any>192.0.2.2" })",
         acls( table( "T", "L3", "" ),
               { { "T|r", 10, R"("SRC_IP": "10.0.0.1/32", "PACKET_ACTION": "FORWARD")",
                     "-" } } ) ) );
   const Packet inNet{ .src = ip( "10.5.7.7" ), .dst = ip( "192.0.2.1" ) };
   const Packet outside{ .src = ip( "10.6.7.7" ), .dst = ip( "192.0.2.1" ) };
   const Packet toSecond{ .src = ip( "1.2.3.4" ), .dst = ip( "192.0.2.2" ) };
   for ( const char* port : { "Ethernet0", "Ethernet4" } ) {
      EXPECT_TRUE( isCopied( rig, {}, port ) && isCopied( rig, inNet, port ) );
      EXPECT_TRUE( isCopied( rig, toSecond, port ) );
      EXPECT_FALSE( isCopied( rig, outside, port ) );
   }
   EXPECT_FALSE( isCopied( rig, {}, "Ethernet8" ) );
   // One address pair less; the other's entry stays.
   const std::vector< int > before = rig.entries();
   rig.set( "MIRROR_SESSION|s",
         R"({ "type": "SPAN", "dst_port": "Ethernet20", "direction": "RX",
              "src_port": "Ethernet0,Ethernet4", "match": "any>192.0.2.2" })" );
   EXPECT_FALSE( isCopied( rig, {} ) );
   EXPECT_FALSE( isCopied( rig, inNet ) );
   EXPECT_TRUE( isCopied( rig, toSecond ) );
}

TEST( AclEdit, ReachesTheChipAtOnceAndTouchesNoOtherSession ) {
   Rig rig( network( fed( "s", "Ethernet20" ) + "," + fed( "other", "Ethernet24" ),
         acls( table( "T", "L3", "Ethernet0" ) + "," + table( "U", "L3", "Ethernet0" ),
               { { "T|a", 20, R"("SRC_IP": "10.0.0.0/24")" },
                     { "U|a", 20, R"("SRC_IP": "10.0.0.0/24")", "other" } } ) ) );
   const std::vector< int > others = rig.entries( "other" );
   ASSERT_EQ( others.size(), 1U );
   rig.set( "ACL_RULE|T|b", ruleJson( { "", 30, R"("SRC_IP": "10.0.0.1/32")", "" } ) );
   EXPECT_FALSE( isCopied( rig, {} ) ) << "a rule was added above";
   rig.set( "ACL_RULE|T|b", ruleJson( { "", 10, R"("SRC_IP": "10.0.0.1/32")", "" } ) );
   EXPECT_TRUE( isCopied( rig, {} ) ) << "and moved below";
   rig.set( "MIRROR_SESSION|s", R"({ "type": "SPAN", "dst_port": "Ethernet28" })" );
   EXPECT_TRUE( isCopied( rig, {}, "Ethernet0", "Ethernet28" ) );
   rig.del( "ACL_RULE|T|a" );
   EXPECT_FALSE( isCopied( rig, {}, "Ethernet0", "Ethernet28" ) );
   rig.del( "ACL_RULE|T|b" );
   EXPECT_EQ( rig.entries( "other" ), others );
   rig.del( "ACL_TABLE|T" );
   rig.del( "MIRROR_SESSION|s" );
   EXPECT_EQ( rig.entries(), others );
   rig.del( "ACL_RULE|U|a" );
   EXPECT_EQ( rig.entriesUsed(), 0 );
}

TEST( FullTcam, OfAnAclIsToldAndRetried ) {
   Rig rig( network( "" ) );
   ASSERT_FALSE( rig.runtime.capacity( "ingress-entries", 2 ) );
   rig.set( "MIRROR_SESSION|s", R"({ "type": "SPAN", "dst_port": "Ethernet20" })" );
   rig.set( "ACL_TABLE|T", R"({ "type": "L3", "ports": "Ethernet0" })" );
   rig.set( "ACL_RULE|T|a", ruleJson( { "", 30, R"("SRC_IP": "10.0.0.1/32")" } ) );
   EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::active );
   rig.set( "ACL_RULE|T|b", ruleJson( { "", 20, R"("SRC_IP": "10.0.0.2/32")" } ) );
   rig.set( "ACL_RULE|T|c", ruleJson( { "", 10, R"("SRC_IP": "10.0.0.3/32")" } ) );
   EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::failed );
   EXPECT_EQ( rig.session( "s" ).reason,
         "ACL T is not applied: the chip has no TCAM entries left for it" );
   EXPECT_TRUE( rig.entries().empty() );
   ASSERT_FALSE( rig.runtime.capacity( "ingress-entries", 100 ) );
   EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::active );
   EXPECT_TRUE( isCopied( rig, { .src = ip( "10.0.0.3" ) } ) );
}

// An ACL takes one hardware group, and no other; a chip with few of them has room for as many
// destinations with both kinds of ACL as it has destinations.
TEST( HardwareGroups, AreEnoughForBothKindsOfAclOfEverySession ) {
   for ( const char* chip : { "trident2", "helix5" } ) {
      Rig rig( network( "" ), chip );
      for ( const std::string session : { "a", "b", "c", "d" } ) {
         rig.set(
               "MIRROR_SESSION|" + session, R"({ "type": "SPAN", "dst_port": "Ethernet20" })" );
         for ( const std::string kind : { "L3", "L3V6" } ) {
            rig.set( "ACL_TABLE|" + session + kind,
                  R"({ "ports": "Ethernet0", "type": ")" + kind + "\" }" );
            rig.set( "ACL_RULE|" + session + kind + "|r", ruleJson( { "", 10, "", session } ) );
         }
         EXPECT_EQ( rig.session( session ).reason, "" ) << chip;
      }
      EXPECT_EQ( rig.entriesUsed(), 8 ) << chip;
   }
}

TEST( ManyRules, CostWorkForTheirOwnSessionOnly ) {
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
   EXPECT_TRUE( isCopied( rig, { .src = ip( "10.1.1.249" ) }, "Ethernet0", "Ethernet24" ) );
   const uint64_t before = rig.calls( SdkCall::bcm_field_entry_create );
   rig.set( "ACL_RULE|T|r", ruleJson( { "", 10, R"("SRC_IP": "10.0.0.2/32")" } ) );
   EXPECT_LE( rig.calls( SdkCall::bcm_field_entry_create ) - before, 2U );
   EXPECT_TRUE( isCopied( rig, { .src = ip( "10.0.0.2" ) } ) );
}

// Every call that can be refused while a session comes and goes: the agent stays up, nothing
// keeps mirroring after its session has gone, and in the end the chip is empty.
TEST( MovedPort, IsFollowedByEveryFilter ) {
   const std::string rules = acls( table( "T", "L3", "Ethernet0" ),
         { { "T|r", 10, R"("DST_IP": "10.0.0.2/32", "PACKET_ACTION": "FORWARD")", "-" } } );
   for ( const char* profile : { "trident3", "trident2", "tomahawk3" } ) {
      for ( const char* filter : { R"("match": "any>10.0.0.2")", R"("acl": "T")" } ) {
         SCOPED_TRACE( std::string( profile ) + filter );
         Rig rig( network( R"("s": { "type": "SPAN", "dst_port": "Ethernet20",
            "src_port": "Ethernet0", "direction": "RX", )" +
                              std::string( filter ) + " }",
                        rules ),
               profile );
         rig.set( "PORT|Ethernet0", R"({ "chip_port": "20" })" );
         EXPECT_TRUE( isCopied( rig, {} ) );
         rig.set( "PORT|Ethernet4", R"({ "chip_port": "1" })" );
         EXPECT_FALSE( isCopied( rig, {}, "Ethernet4" ) ) << "it has the old number";
         EXPECT_EQ( rig.session( "s" ).phase, SessionPhase::active );
      }
   }
}

TEST( RefusedCalls, LeaveNothingBehind ) {
   const std::string accessList = acls( table( "T", "L3", "" ),
         { { "T|r", 10, R"("DST_IP": "10.0.0.2/32", "PACKET_ACTION": "FORWARD")", "-" } } );
   const std::string sessions[] = {
      R"({ "type": "SPAN", "dst_port": "Ethernet20", "direction": "TX", "src_port": "Ethernet0" })",
      R"({ "type": "SPAN", "dst_port": "Ethernet20", "direction": "RX", "src_port": "Ethernet0",
           "match": "any>10.0.0.2" })",
      R"({ "type": "SPAN", "dst_port": "Ethernet20", "direction": "RX", "src_port": "Ethernet0",
           "acl": "T" })"
   };
   for ( const std::string& session : sessions ) {
      SCOPED_TRACE( session );
      std::optional< Rig > rig;
      const auto come = [ & ] { rig->set( "MIRROR_SESSION|s", session ); };
      const auto go = [ & ] {
         rig->del( "MIRROR_SESSION|s" );
         EXPECT_FALSE( isCopied( *rig, {} ) );
         rig->runtime.advance( 5 );
      };
      EveryRefusal every;
      every.setUp = [ & ] { return &rig.emplace( network( "", accessList ) ).gate(); };
      every.act = [ & ]( const auto& ) {
         come();
         go();
         come();
         rig->runtime.advance( 11 );
         EXPECT_EQ( rig->session( "s" ).phase, SessionPhase::active );
      };
      every.undo = go;
      every.left = [ & ] { return rig->left(); };
      using enum ChipModel::SdkCall;
      std::vector< ChipModel::SdkCall > refused{ bcm_field_group_create,
         bcm_field_group_destroy, bcm_field_entry_create, bcm_field_entry_destroy };
      if ( session.find( "match" ) == std::string::npos ) {
         refused.push_back( bcm_port_class_set ); // fatal for an entry that matches addresses
      }
      every.ofTheFirst( 2, refused );
   }
}

} // namespace Scenario
