// Which ACLs mirror sessions have from ACL tables and from their own fields.

#include "Tests/Agent/ConfigurationBed.h"

namespace Agent {
namespace {

class AclSessionsTest : public ConfigurationBed {
 protected:
   // Session m to E20, fed by what `more` has.
   static std::string fed( const std::string& more ) {
      return with( "\"MIRROR_SESSION|m\": {\"dst_port\": \"E20\"},\n" + more );
   }
   // Puts in the table T, the beginning of session m, that of one with a source, and the beginning
   // of a rule.
   static std::string expanded( std::string text ) {
      const std::pair< std::string, std::string > meanings[] = {
         { "$T", R"("ACL_TABLE|T": {"type": "L3", "ports": "E0"})" },
         { "$M", R"("MIRROR_SESSION|m": {"dst_port": "E20")" },
         { "$F", R"("MIRROR_SESSION|m": {"dst_port": "E20", "src_port": "E0")" },
         { "$R", R"("ACL_RULE|T|r": {"PRIORITY": 1, "MIRROR_ACTION": "m")" },
      };
      for ( const auto& [ name, meaning ] : meanings ) {
         for ( size_t at; ( at = text.find( name ) ) != std::string::npos; ) {
            text.replace( at, name.size(), meaning );
         }
      }
      return text;
   }
   // "KEY[INTERFACES](+RULE -RULE@INTERFACES)", for each ACL.
   static std::string shown( const SessionConfig& session ) {
      std::string text;
      for ( const SessionAcl& acl : session.acls ) {
         text += ( text.empty() ? "" : " " ) + acl.key.aclName() + "[";
         text += names( acl.interfaces ) + "](";
         for ( const Acl::RuleConfig& rule : acl.rules->rules ) {
            text += text.ends_with( '(' ) ? "" : " ";
            text += ( rule.action() == Acl::RuleAction::permit ? "+" : "-" ) + rule.name();
            if ( !rule.intf().empty() ) {
               text += "@" + names( { rule.intf().begin(), rule.intf().end() } );
            }
            text += rule.ip().vlanIdMask() ? "#" + std::to_string( rule.ip().vlanId() ) : "";
         }
         text += ")";
      }
      return text;
   }
   static std::string names( const std::vector< Plix::IntfId >& interfaces ) {
      std::string text;
      for ( const Plix::IntfId& interface : interfaces ) {
         text += ( text.empty() ? "" : "," ) + interface.name();
      }
      return text;
   }
};

const std::string tableT = R"("ACL_TABLE|T": {"type": "L3", "ports": "E0"})";

std::string rule( const std::string& key, int priority, const std::string& fields ) {
   return ",\n\"ACL_RULE|" + key + "\": {\"PRIORITY\": " + std::to_string( priority ) +
         ( fields.empty() ? "" : ", " + fields ) + "}";
}

std::string mirrors( const std::string& to ) { return "\"MIRROR_ACTION\": \"" + to + "\""; }

TEST_F( AclSessionsTest, RulesStandByPriorityAndShieldWhatIsBelow ) {
   const Configuration config = good( fed( tableT + rule( "T|low", 9, mirrors( "m" ) ) +
         rule( "T|top", 100, mirrors( "m" ) ) +
         rule( "T|forwards", 50, R"("PACKET_ACTION": "FORWARD")" ) +
         rule( "T|last", 0, R"("PACKET_ACTION": "DROP", "MIRROR_INGRESS_ACTION": "m")" ) ) );
   EXPECT_EQ( warnings_,
         "13: ACL_RULE|T|last: PACKET_ACTION: DROP filters no traffic here: this agent mirrors "
         "only\n" );
   const SessionConfig& session = config.sessions.at( "m" );
   EXPECT_EQ( shown( session ), "T[E0](+top -forwards +low +last)" );
   EXPECT_EQ( session.acls[ 0 ].key, Ixo::AclKey( "T", Acl::ip() ) );
   EXPECT_EQ( session.acls[ 0 ].rules->rules[ 0 ].ruleId(), 100u );
   EXPECT_EQ( session.direction, SessionDirection::rx ) << "it takes one destination";
   EXPECT_FALSE( session.mirrorsSources );
   EXPECT_EQ( session.refused, std::nullopt );

   const Configuration same = good( fed( tableT + rule( "T|r10", 7, mirrors( "m" ) ) +
         rule( "T|r9", 7, mirrors( "m" ) ) + rule( "T|r8", 7, "" ) ) );
   EXPECT_EQ( shown( same.sessions.at( "m" ) ), "T[E0](-r8 +r9 +r10)" );
   EXPECT_EQ( warnings_,
         "11: ACL_RULE|T|r9: PRIORITY: 7 is that of r8, too; rules of the same priority are "
         "tried in the order of their names\n" );
}

TEST_F( AclSessionsTest, RefusedRulesShieldNothingAndOtherFramesHaveAnAclOfTheirOwn ) {
   const std::string text = tableT +
         rule( "T|arp", 3, mirrors( "m" ) + R"(, "IP_TYPE": "ARP")" ) +
         rule( "T|shield", 2, R"("TC": "1")" ) + rule( "T|low", 1, mirrors( "m" ) ) +
         R"(, "ACL_TABLE|D": {"type": "MIRROR_DSCP", "ports": "E4"})" +
         rule( "D|d", 1, mirrors( "m" ) + R"(, "DSCP": "8")" );
   EXPECT_EQ( shown( good( fed( text ) ).sessions.at( "m" ) ),
         "D[E4](+d) D:ipv6[E4](+d) T[E0](+low) T:mac[E0](+arp)" );
   EXPECT_TRUE( warnings_.starts_with(
         "8: MIRROR_SESSION|m: may copy more than it says: ACL_RULE|T|shield" ) )
         << warnings_;
}

TEST_F( AclSessionsTest, SessionsOfOneTableHaveAnAclEach ) {
   const Configuration config = good( fed( R"("MIRROR_SESSION|n": {"dst_port": "E16"},
            "MIRROR_SESSION|o": {"dst_port": "E16", "src_port": "E4", "acl": "T"}, )" +
         tableT + rule( "T|a", 3, mirrors( "m" ) ) +
         rule( "T|b", 2, mirrors( "n" ) + R"(, "PACKET_ACTION": "ACCEPT")" ) +
         rule( "T|c", 1, mirrors( "o" ) ) + rule( "T|d", 0, "" ) ) );
   EXPECT_EQ( shown( config.sessions.at( "m" ) ), "T/m[E0](+a -b -c -d)" );
   EXPECT_EQ( shown( config.sessions.at( "n" ) ), "T/n[E0](-a +b -c -d)" );
   EXPECT_EQ( shown( config.sessions.at( "o" ) ), "T/o[E4](-a +b +c -d)" )
         << "what it names filters its sources";
   EXPECT_NE( warnings_.find( "acl: T filters src_port; its own ports do not count" ),
         std::string::npos );
}

TEST_F( AclSessionsTest, SessionsAreFedByTablesOfAllKindsBesideTheirSources ) {
   const Configuration config = good(
         with( R"("MIRROR_SESSION|m": {"dst_port": "E20", "src_port": "E4", "direction": "TX"},
            "ACL_TABLE|S": {"type": "MIRRORV6", "ports": ["E0", "E16"]},
            "ACL_TABLE|Idle": {"type": "L3", "ports": "Ethernet99"},
            "ACL_TABLE|R": {"type": "MAC", "ports": "E0"}, )" +
               tableT + rule( "T|a", 1, mirrors( "m" ) ) + rule( "S|a", 1, mirrors( "m" ) ) +
               rule( "R|a", 1, mirrors( "m" ) ) + rule( "Idle|a", 1, "" ) ) );
   const SessionConfig& session = config.sessions.at( "m" );
   EXPECT_EQ( shown( session ), "R[E0](+a) S[E0,E16](+a) T[E0](+a)" );
   EXPECT_EQ( session.acls[ 0 ].key.aclType(), Acl::mac() );
   EXPECT_EQ( session.acls[ 1 ].key.aclType(), Acl::ipv6() );
   EXPECT_TRUE( session.mirrorsSources );
   EXPECT_EQ( session.direction, SessionDirection::tx );
   EXPECT_EQ( warnings_, "" ) << "an ACL that does not mirror may be anything";
}

// Ports that stand for others, and rules for some of them.
TEST_F( AclSessionsTest, InterfacesAreTakenApartAndMet ) {
   auto acl = [ & ]( const std::string& ports, const std::string& inPorts,
                    const std::string& more = "" ) {
      return shown(
            good( fed( "\"ACL_TABLE|T\": {\"type\": \"L3\", \"ports\": \"" + ports + "\"}" +
                        rule( "T|a", 2,
                              mirrors( "m" ) + more + ", \"IN_PORTS\": \"" + inPorts + "\"" ) +
                        rule( "T|b", 1, "" ) ) )
                  .sessions.at( "m" ) );
   };
   EXPECT_EQ( acl( "PortChannel1,E8,E0", "" ), "T[E0,E12,E8](+a -b)" );
   EXPECT_EQ( acl( "E0.10,E0.20,E4", "" ), "T[E0.10,E0.20,E4](+a -b)" );
   EXPECT_EQ( acl( "E0.10,E0,E0.20", "" ), "T[E0](+a -b)" ) << "the port has them all";
   EXPECT_EQ( acl( "PortChannel1.7", "" ), "T[E12.7,E8.7](+a -b)" );

   EXPECT_EQ( acl( "E0,PortChannel1", "PortChannel1,E4" ), "T[E0,E12,E8](+a@E12,E8 -b)" );
   EXPECT_EQ( acl( "E0.10,E0.20", "E0" ), "T[E0.10,E0.20](+a@E0.10,E0.20 -b)" );
   EXPECT_EQ( acl( "E0.10,E0.20", "E0.20" ), "T[E0.10,E0.20](+a@E0.20 -b)" );
   EXPECT_EQ( acl( "E0,E4", "E0.20,E4.10,E0.10" ), "T[E0,E4](+a@E0,E4#10 +a@E0#20 -b)" );
   EXPECT_EQ( acl( "E0", "E0.20,E0.10", R"(, "VLAN_ID": "20")" ), "T[E0](+a@E0#20 -b)" );
   EXPECT_EQ( warnings_, "" );
   // A rule that is for none of them must not become a rule for all.
   EXPECT_EQ( acl( "E0,E4.10", "E8,E4.20" ), "T[E0,E4.10](-b)" );
   EXPECT_NE(
         warnings_.find( "IN_PORTS: none of them is in the ports of T" ), std::string::npos );
   const std::string empty =
         good( fed( R"("PORTCHANNEL|PortChannel2": {}, )" + tableT +
                     rule( "T|a", 2, mirrors( "m" ) + R"(, "IN_PORTS": "PortChannel2")" ) +
                     rule( "T|b", 1, "" ) ) )
               .sessions.at( "m" )
               .acls.at( 0 )
               .rules->rules.at( 0 )
               .name();
   EXPECT_EQ( empty, "b" );
}

TEST_F( AclSessionsTest, SessionsFilterTheirSources ) {
   auto session = [ & ]( const std::string& fields ) {
      return good( with( "\"MIRROR_SESSION|m\": {\"dst_port\": \"E20\", " + fields + "},\n" +
                         tableT + R"(, "ACL_TABLE|V": {"type": "L3V6"})" +
                         rule( "T|drop", 4, R"("PACKET_ACTION": "DROP")" ) +
                         rule( "T|take", 3, R"("PACKET_ACTION": "forward")" ) +
                         rule( "T|trap", 2, R"("PACKET_ACTION": "TRAP")" ) +
                         rule( "V|all", 1, R"("PACKET_ACTION": "ACCEPT")" ) ) )
            .sessions.at( "m" );
   };
   const SessionConfig acls = session( R"("src_port": "E0.10,PortChannel1", "acl": "V,T")" );
   EXPECT_EQ( shown( acls ), "T[E0.10,E12,E8](-drop +take -trap) V[E0.10,E12,E8](+all)" );
   EXPECT_EQ( acls.sources, ( std::vector< std::string >{ "E0.10", "PortChannel1" } ) );
   EXPECT_EQ( names( acls.filteredInterfaces ), "E0.10,E12,E8" );
   EXPECT_FALSE( acls.mirrorsSources );
   EXPECT_EQ( acls.direction, SessionDirection::rx );
   EXPECT_EQ( acls.refused, std::nullopt );

   const Configuration two =
         good( with( R"("MIRROR_SESSION|m": {"dst_port": "E20", "src_port": "E0", "acl": "T"},
            "MIRROR_SESSION|n": {"dst_port": "E16", "src_port": "E4", "acl": "T"}, )" +
               tableT + rule( "T|a", 1, R"("PACKET_ACTION": "PERMIT")" ) ) );
   EXPECT_EQ( shown( two.sessions.at( "m" ) ), "T/m[E0](+a)" );
   EXPECT_EQ( shown( two.sessions.at( "n" ) ), "T/n[E4](+a)" );

   const SessionConfig matches = session(
         R"("src_port": "E0,E4", "direction": "RX",
            "match": "10.1.2.3/8>any, any > 10.0.0.9,10.0.0.1>192.0.2.0/24")" );
   const Plix::IpAddr any;
   const Plix::IpAddr host( 0xffffffff );
   const std::vector< SessionMatch > expected{
      { Plix::IpAddr( 0x0a000000 ), Plix::IpAddr( 0xff000000 ), any, any },
      { any, any, Plix::IpAddr( 0x0a000009 ), host },
      { Plix::IpAddr( 0x0a000001 ), host, Plix::IpAddr( 0xc0000200 ),
            Plix::IpAddr( 0xffffff00 ) },
   };
   EXPECT_EQ( matches.matches, expected );
   EXPECT_FALSE( matches.mirrorsSources );
   EXPECT_EQ( names( matches.filteredInterfaces ), "E0,E4" );
   EXPECT_EQ( matches.refused, std::nullopt );

   const SessionConfig whole = session( R"("src_port": "E0,E4")" );
   EXPECT_TRUE( whole.mirrorsSources );
   EXPECT_EQ( names( whole.filteredInterfaces ) + shown( whole ), "" );
   EXPECT_EQ( whole.direction, SessionDirection::both );
}

TEST_F( AclSessionsTest, WhatThisChipHasNotIsRefusedSessionBySession ) {
   for ( const auto& [ text, reason ] : pairs( R"(
$M}, "ACL_TABLE|T": {"type": "L3"}, $R} => fed by ACL rules only (it has no src_port), and no rule of a table with ports mirrors to it
$M}, "ACL_TABLE|T": {"type": "MIRROR", "stage": "EGRESS", "ports": "E4"}, $R} => mirroring on ACL egress, which ACL_RULE|T|r asks for, is beyond this chip
$M, "src_port": "E4"}, $T, "ACL_RULE|T|r": {"PRIORITY": 1, "MIRROR_EGRESS_ACTION": "m"} => mirroring on ACL egress, which ACL_RULE|T|r asks for, is beyond this chip
$M}, $T, $R, "DEI": "1"} => fed by ACL rules only (it has no src_port), and no rule of a table with ports mirrors to it
$F, "acl": "T", "direction": "BOTH"}, $T => acl and match filter what arrives (direction RX); mirroring on ACL egress is beyond this chip
$F, "acl": "T"}, "ACL_TABLE|T": {"type": "L3V4V6"} => tables of type L3V4V6 like T are beyond this chip
$F, "acl": "T"}, "ACL_TABLE|T": {"type": "L3", "stage": "egress"} => T is for egress, and mirroring on ACL egress is beyond this chip
$M, "src_port": "E0.10", "match": "any>10.0.0.1"}, $T => a match on the sub-interface E0.10 is beyond this chip (an acl takes sub-interfaces))" ) ) {
      const Configuration config = good( with( expanded( text ) +
            R"(, "MIRROR_SESSION|other": {"dst_port": "E16", "src_port": "E4"})" ) );
      EXPECT_EQ( config.sessions.at( "m" ).refused, reason );
      EXPECT_EQ( config.sessions.at( "other" ).refused, std::nullopt );
      EXPECT_NE( warnings_.find( "MIRROR_SESSION|m: refused: " + reason ), std::string::npos )
            << warnings_;
   }
}

TEST_F( AclSessionsTest, TablesOfOtherTypesAreLeftAloneWithAWordOfWhatIsNotMirrored ) {
   good( fed( R"("ACL_TABLE_TYPE|OURS": {"MATCHES": "SRC_IP"},
      "ACL_TABLE|A": {"type": "OURS", "ports": "E99"}, "ACL_RULE|A|r": {"X": "1"},
      "ACL_RULE|A|r": {"MIRROR_ACTION": "m"}, "ACL_TABLE|S": {"type": "CTRLPLANE"},
      "ACL_RULE|S|r": {"FIELD": 1},
      "ACL_TABLE|B": {"ttl": 1, "type": "hash", "value": {"type": "L3V4V6"}},
      "ACL_RULE|B|r": {"MIRROR_INGRESS_ACTION": "m"}, )" +
         tableT + rule( "T|a", 1, mirrors( "m" ) ) ) );
   // The one of A stands twice, the first does not mirror.
   EXPECT_EQ( warnings_,
         "13: ACL_TABLE|B: type: its rules do not mirror to m, since this agent leaves tables "
         "of type L3V4V6 alone\n" );
   good( fed( R"("ACL_TABLE|T": {"type": "L3"})" + rule( "T|a", 1, mirrors( "m" ) ) ) );
   EXPECT_TRUE( warnings_.starts_with( "8: MIRROR_SESSION|m: refused: " ) ) << warnings_;
   EXPECT_NE( warnings_.find( "9: ACL_TABLE|T: ports: none, so its rules mirror nothing to m" ),
         std::string::npos );
}

TEST_F( AclSessionsTest, PortsOfOtherChipsAreLeftOut ) {
   const Configuration config = good( fed( R"("CHIP": {"0": {}, "1": {"ports": "E4,E16"}},
            "ACL_TABLE|T": {"type": "L3", "ports": "E0,E4,E16.5"})" +
         rule( "T|a", 2, mirrors( "m" ) + R"(, "IN_PORTS": "E4")" ) +
         rule( "T|b", 1, mirrors( "m" ) ) ) );
   EXPECT_EQ( shown( config.sessions.at( "m" ) ), "T[E0](+b)" );
   EXPECT_EQ( warnings_,
         "8: MIRROR_SESSION|m: dst_port: E20 is on chip 0, so these ports of T on other chips "
         "are not mirrored to it: E16.5, E4\n" );
}

TEST_F( AclSessionsTest, SaysWhatIsWrongWithTablesAndFilters ) {
   std::string many;
   for ( int i = 0; i < 257; ++i ) {
      many += "any>10.0.0.1,";
   }
   many.pop_back();
   expectErrors( { { expanded( R"($F, "match": ")" ) + many + "\"}",
         "match: there are 257; allowed: up to 256" } } );
   expectErrors( "", pairs( R"(
"ACL_TABLE|T": {} => ACL_TABLE|T: type: missing; allowed: L3,
"ACL_TABLE|T": {"type": "MIROR"} => type: 'MIROR'; allowed: L3,
"ACL_TABLE|T/m": {"type": "L3"} => not a table's name
"ACL_RULE|T|r": {"PRIORITY": 1} => ACL_RULE|T|r: there is no table T
"ACL_RULE|T": {}, $T => ACL_RULE|T: not a rule's key
$T, "ACL_RULE|T|r": {} => ACL_RULE|T|r: PRIORITY: missing
$T, "ACL_RULE|T|r": {"PRIORITY": 1}, "ACL_RULE|T|r": {"PRIORITY": 2} => ACL_RULE|T|r: duplicate entry
$M}, "MIRROR_SESSION|n": {"dst_port": "E20"}, $T, $R, "MIRROR_INGRESS_ACTION": "n"} => MIRROR_ACTION: not the session of MIRROR_INGRESS_ACTION
$M}, "ACL_TABLE|T": {"type": "L3", "ports": "E5"}, $R} => ACL_TABLE|T: ports: there is no E5
$M}, "ACL_TABLE|T": {"type": "L3", "ports": "E0,E20.7"}, $R} => dst_port: E20 shares E20 with the ports of T, its copies would be mirrored
"PORTCHANNEL|PortChannel2": {}, "PORTCHANNEL_MEMBER|PortChannel2|E16": {}, "MIRROR_SESSION|m": {"dst_port": "PortChannel2"}, "ACL_TABLE|T": {"type": "L3", "ports": "E16"}, $R} => dst_port: PortChannel2 shares E16 with the ports of T
$M, "acl": "T"}, $T => src_port: missing
$F, "acl": "X"} => acl: there is no table X
$F, "acl": "T,U"}, "ACL_TABLE|U": {"type": "MIRROR"}, $T => acl: U is of the kind of T; allowed: one
$F, "match": "any>any"} => match: 'any>any'; allowed: SOURCE>DEST
$F, "match": "10.0.0.1"} => match: '10.0.0.1'; allowed:
$F, "match": "10.0.0.1>10.0.0.0/33"} => allowed: SOURCE>DEST
$M, "src_port": "E8.7,PortChannel1.7", "acl": "T"}, $T => src_port: PortChannel1.7 is repeated, it shares E8 with E8.7
$M, "src_port": "E0.010", "acl": "T"}, $T => src_port: E0.010 is not a sub-interface)" ),
         [ this ]( const std::string& text ) { return load( with( expanded( text ) ) ); } );
}

// Whoever programs the rules compares lists by pointer.
TEST_F( AclSessionsTest, RulesThatStayAreTheSameListAfterAStep ) {
   const std::string text = fed( R"("ACL_TABLE|S": {"type": "L3", "ports": "E4"}, )" + tableT +
         rule( "T|a", 1, mirrors( "m" ) ) + rule( "S|a", 1, mirrors( "m" ) ) );
   const Configuration before = good( text );
   const Place step{ "script", 1 };
   auto list = []( const Configuration& config, size_t acl ) {
      return config.sessions.at( "m" ).acls.at( acl ).rules;
   };

   const LoadResult changed =
         source_.set( "ACL_RULE|T|b", R"({"PRIORITY": 2, "PACKET_ACTION": "DROP"})", step );
   ASSERT_EQ( said( changed.errors ), "" );
   EXPECT_EQ( shown( changed.configuration.sessions.at( "m" ) ), "S[E4](+a) T[E0](-b +a)" );
   EXPECT_EQ( list( changed.configuration, 0 ), list( before, 0 ) );
   EXPECT_FALSE( changed.configuration == before );

   const LoadResult back = source_.del( "ACL_RULE|T|b", step );
   EXPECT_EQ( back.configuration, before ) << "compared by what the rules say";
   const LoadResult ports =
         source_.set( "ACL_TABLE|T", R"({"type": "L3", "ports": "E16"})", step );
   EXPECT_EQ( list( ports.configuration, 1 ), list( back.configuration, 1 ) );

   const std::pair< LoadResult, std::string > refused[] = {
      { source_.del( "ACL_TABLE|T", step ), "ACL_TABLE|T: is still needed by ACL_RULE|T|a (" },
      { source_.del( "MIRROR_SESSION|m", step ), "MIRROR_SESSION|m: is still needed by " },
      { source_.set( "ACL_RULE|T|a", R"({"PRIORITY": "x"})", step ), "ACL_RULE|T|a: PRIORITY" },
      { source_.set( "ACL_RULE|U|a", "{}", step ), "ACL_RULE|U|a: there is no table U" },
   };
   for ( const auto& [ result, expected ] : refused ) {
      EXPECT_NE( said( result.errors ).find( expected ), std::string::npos )
            << said( result.errors );
   }
   const LoadResult after = source_.set( "VLAN|Vlan30", "{}", step );
   EXPECT_EQ( after.configuration.sessions, ports.configuration.sessions );
   EXPECT_EQ( list( after.configuration, 0 ), list( before, 0 ) );
}

} // namespace
} // namespace Agent
