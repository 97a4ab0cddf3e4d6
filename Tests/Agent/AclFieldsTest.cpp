// What the fields of ACL_RULE match: what becomes of good ones, and what is said about others.

#include <functional>

#include "Tests/Agent/ConfigurationBed.h"

namespace Agent {
namespace {

class AclFieldsTest : public ConfigurationBed {
 protected:
   // Session m is fed by the one rule R of table T; the rule begins in line 9.
   LoadResult loadRule( const std::string& type, const std::string& fields ) {
      return load( with( "\"MIRROR_SESSION|m\": {\"dst_port\": \"E20\"}, \"ACL_TABLE|T\": "
                         "{\"type\": \"" +
            type + "\", \"ports\": \"E0\"},\n\"ACL_RULE|T|R\": {\"PRIORITY\": 5, " +
            "\"MIRROR_ACTION\": \"m\"" + ( fields.empty() ? "" : ", " + fields ) + "}" ) );
   }
   Acl::RuleConfig rule( const std::string& type, const std::string& fields ) {
      const LoadResult result = loadRule( type, fields );
      EXPECT_EQ( said( result.errors ) + said( result.warnings ), "" ) << fields;
      const auto session = result.configuration.sessions.find( "m" );
      if ( session == result.configuration.sessions.end() || session->second.acls.empty() ) {
         ADD_FAILURE() << "no ACL: " << fields;
         return {};
      }
      EXPECT_EQ( session->second.acls.front().rules->rules.size(), 1u );
      return session->second.acls.front().rules->rules.front();
   }
};

Plix::IpAddr ip4( const char* text ) { return *Plix::IpAddr::fromString( text ); }
Plix::Ip6Addr ip6( const char* text ) { return *Plix::Ip6Addr::fromString( text ); }
Plix::EthAddr mac( const char* text ) { return *Plix::EthAddr::fromString( text ); }

void protocol( Acl::IpFilter& filter, uint8_t number ) {
   filter.protoIs( number );
   filter.protoMaskIs( 0xff );
}

void icmp( Acl::IpFilter& filter, uint16_t value, uint16_t mask ) {
   filter.icmpIs( value );
   filter.icmpMaskIs( mask );
}

void tcpFlags( Acl::IpFilter& filter, uint8_t value, uint8_t mask ) {
   protocol( filter, 6 );
   filter.tcpFlagsIs( value );
   filter.tcpFlagsMaskIs( mask );
}

void dscp( Acl::IpFilter& filter, uint8_t value, uint8_t mask ) {
   filter.dscpIs( value );
   filter.dscpMaskIs( mask );
}

void source( Acl::IpFilter& filter, const char* address, const char* mask ) {
   filter.srcIpIs( ip4( address ) );
   filter.srcIpMaskIs( ip4( mask ) );
}

void destination6( Acl::IpFilter& filter, const char* address, const char* mask ) {
   filter.dstIp6Is( ip6( address ) );
   filter.dstIp6MaskIs( ip6( mask ) );
}

using IpSetter = std::function< void( Acl::IpFilter& ) >;

TEST_F( AclFieldsTest, BecomeTheIpFilterAndNothingElse ) {
   struct {
      const char* type;
      const char* fields;
      IpSetter expected;
   } const cases[] = {
      { "L3", "", []( auto& ) {} },
      { "l3", R"("SRC_IP": "10.1.2.3/8")",
            []( auto& f ) { source( f, "10.0.0.0", "255.0.0.0" ); } },
      { "MIRROR", R"("SRC_IP": "10.1.2.3")",
            []( auto& f ) { source( f, "10.1.2.3", "255.255.255.255" ); } },
      { "L3", R"("SRC_IP": "10.1.2.3/0")", []( auto& ) {} },
      { "L3", R"("DST_IP": "10.1.2.3/31")",
            []( auto& f ) {
               f.dstIpIs( ip4( "10.1.2.2" ) );
               f.dstIpMaskIs( ip4( "255.255.255.254" ) );
            } },
      { "MIRRORV6", R"("SRC_IPV6": "2001:db8::1")",
            []( auto& f ) {
               f.srcIp6Is( ip6( "2001:db8::1" ) );
               f.srcIp6MaskIs( ip6( "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" ) );
            } },
      { "L3V6", R"("DST_IPV6": "2001:db8:ffff::/33")",
            []( auto& f ) { destination6( f, "2001:db8:8000::", "ffff:ffff:8000::" ); } },
      { "L3", R"("IP_PROTOCOL": "0x2f")", []( auto& f ) { protocol( f, 47 ); } },
      { "L3", R"("IP_PROTOCOL": "0")", []( auto& f ) { protocol( f, 0 ); } },
      { "L3V6", R"("NEXT_HEADER": "17")", []( auto& f ) { protocol( f, 17 ); } },
      { "L3V6", R"("IP_PROTOCOL": "17")", []( auto& f ) { protocol( f, 17 ); } },
      { "L3", R"("L4_SRC_PORT": "53", "IP_PROTOCOL": "17")",
            []( auto& f ) {
               f.srcPortIs( { 53, 53 } );
               protocol( f, 17 );
            } },
      { "L3", R"("L4_DST_PORT_RANGE": "0-1023", "IP_PROTOCOL": "132")",
            []( auto& f ) {
               f.dstPortIs( { 0, 1023 } );
               protocol( f, 132 );
            } },
      { "L3V6", R"("L4_DST_PORT": "0")",
            []( auto& f ) {
               f.dstPortIs( { 0, 0 } );
            } },
      { "L3", R"("TCP_FLAGS": "0x02")", []( auto& f ) { tcpFlags( f, 0x02, 0x3f ); } },
      { "L3", R"("TCP_FLAGS": "0x53/0x42", "IP_PROTOCOL": "6")",
            []( auto& f ) { tcpFlags( f, 0x42, 0x42 ); } },
      { "L3", R"("DSCP": "46")", []( auto& f ) { dscp( f, 46, 0x3f ); } },
      { "L3V6", R"("DSCP": "0x2e/0x38")", []( auto& f ) { dscp( f, 0x28, 0x38 ); } },
      { "L3", R"("ECN": "0")", []( auto& f ) { f.ecnMaskIs( 3 ); } },
      { "L3", R"("ICMP_TYPE": "3", "ICMP_CODE": "4")",
            []( auto& f ) {
               protocol( f, 1 );
               icmp( f, 0x0304, 0xffff );
            } },
      { "L3", R"("ICMP_CODE": "4", "IP_PROTOCOL": "1")",
            []( auto& f ) {
               protocol( f, 1 );
               icmp( f, 0x0004, 0x00ff );
            } },
      { "L3V6", R"("ICMPV6_TYPE": "135")",
            []( auto& f ) {
               protocol( f, 58 );
               icmp( f, 0x8700, 0xff00 );
            } },
      { "L3", R"("IP_FRAG": "NON_FRAG_OR_HEAD", "L4_SRC_PORT": "1")",
            []( auto& f ) {
               f.fragmentsIs( Acl::Fragments::wholeOrFirst );
               f.srcPortIs( { 1, 1 } );
            } },
      { "L3", R"("IP_FRAG": "NON_HEAD", "IP_PROTOCOL": "17")",
            []( auto& f ) {
               f.fragmentsIs( Acl::Fragments::later );
               protocol( f, 17 );
            } },
      { "L3", R"("VLAN_ID": "4094")",
            []( auto& f ) {
               f.vlanIdIs( 4094 );
               f.vlanIdMaskIs( 0xfff );
            } },
      { "L3", R"("IP_TYPE": "IPv4ANY", "ETHER_TYPE": "2048")", []( auto& ) {} },
      { "L3V6", R"("IP_TYPE": "non_ipv4", "ETHER_TYPE": "0x86dd")", []( auto& ) {} },
      { "L3", R"("src_ip": "10.1.2.3/16", "PACKET_ACTION": "REDIRECT:Ethernet4")",
            []( auto& f ) { source( f, "10.1.0.0", "255.255.0.0" ); } },
   };
   for ( const auto& each : cases ) {
      Acl::IpFilter expected;
      each.expected( expected );
      const Acl::RuleConfig found = rule( each.type, each.fields );
      EXPECT_EQ( found.ip(), expected ) << each.type << ": " << each.fields;
      EXPECT_EQ( found.mac(), Acl::MacFilter() ) << each.fields;
   }
}

TEST_F( AclFieldsTest, BecomeTheMacFilterAndNothingElse ) {
   struct {
      const char* type;
      const char* fields;
      std::function< void( Acl::MacFilter& ) > expected;
   } const cases[] = {
      { "MAC", R"("SRC_MAC": "02:00:00:00:00:0a")",
            []( auto& f ) {
               f.srcMacIs( mac( "02:00:00:00:00:0a" ) );
               f.srcMacMaskIs( mac( "ff:ff:ff:ff:ff:ff" ) );
            } },
      { "L2", R"("DST_MAC": "02:00:00:00:00:0a/ff:ff:ff:00:00:00")",
            []( auto& f ) {
               f.dstMacIs( mac( "02:00:00:00:00:00" ) );
               f.dstMacMaskIs( mac( "ff:ff:ff:00:00:00" ) );
            } },
      { "MAC", R"("ETHER_TYPE": "0x600", "IP_TYPE": "ANY")",
            []( auto& f ) {
               f.etherTypeIs( 0x600 );
               f.etherTypeMaskIs( 0xffff );
            } },
      { "L2", R"("VLAN_ID": "1")",
            []( auto& f ) {
               f.vlanIdIs( 1 );
               f.vlanIdMaskIs( 0xfff );
            } },
      { "MAC", R"("MPLS_LABEL": "0", "MPLS_INNER_LABEL": "1048575")",
            []( auto& f ) {
               f.mplsLabelIs( 0 );
               f.mplsLabelMaskIs( 0xfffff );
               f.mplsInnerLabelIs( 0xfffff );
               f.mplsInnerLabelMaskIs( 0xfffff );
            } },
   };
   for ( const auto& each : cases ) {
      Acl::MacFilter expected;
      each.expected( expected );
      const Acl::RuleConfig found = rule( each.type, each.fields );
      EXPECT_EQ( found.mac(), expected ) << each.type << ": " << each.fields;
      EXPECT_EQ( found.ip(), Acl::IpFilter() ) << each.fields;
   }
}

TEST_F( AclFieldsTest, SayWhatIsWrongWithThemAndWhatIsAllowed ) {
   struct {
      const char* type;
      const char* fields;
      const char* expected;
   } const cases[] = {
      // Of the wrong kind.
      { "L3V6", R"("SRC_IP": "10.0.0.1")",
            "SRC_IP: not for a table of type L3V6; allowed: in tables of type L3, MIRROR" },
      { "MIRROR", R"("DST_IPV6": "::1")", "allowed: in tables of type L3V6, MIRRORV6" },
      { "L3", R"("NEXT_HEADER": "6")", "NEXT_HEADER: not for a table of type L3" },
      { "L3", R"("ICMPV6_TYPE": "1")", "ICMPV6_TYPE: not for a table of type L3" },
      { "L3V6", R"("ICMP_CODE": "1")", "ICMP_CODE: not for a table of type L3V6" },
      { "L3", R"("SRC_MAC": "02:00:00:00:00:01")", "in tables of type MAC, L2" },
      { "L3", R"("MPLS_LABEL": "1")", "in tables of type MAC, L2" },
      { "MAC", R"("SRC_IP": "10.0.0.1")", "SRC_IP: not for a table of type MAC" },
      { "L2", R"("DSCP": "1")", "in tables of type L3, MIRROR, L3V6, MIRRORV6" },
      { "L3", R"("PCP": "1")", "PCP: not for a table of type L3" },
      { "L3", R"("ETHER_TYPE": "0x86dd")",
            "ETHER_TYPE: not of a table of type L3; allowed: 0x0800" },
      { "L3V6", R"("ETHER_TYPE": "0x800")", "allowed: 0x86dd" },
      { "L3", R"("IP_TYPE": "IPV6ANY")", "IP_TYPE: contradicts the table's type L3" },
      { "L3V6", R"("IP_TYPE": "ARP")", "allowed: ANY, IP, IPV6, IPV6ANY, NON_IPV4" },
      { "MAC", R"("IP_TYPE": "IP")", "IP_TYPE: 'IP'; allowed: ANY" },
      // Out of range, or no such thing.
      { "L3", R"("SRC_IP": "10.0.0.1/33")", "SRC_IP: '10.0.0.1/33'; allowed: an IPv4" },
      { "L3", R"("SRC_IP": "10.0.0.1/")", "SRC_IP: '10.0.0.1/'; allowed: an IPv4" },
      { "L3", R"("DST_IP": "any")", "DST_IP: 'any'; allowed: an IPv4" },
      { "L3V6", R"("SRC_IPV6": "::1/129")", "SRC_IPV6: '::1/129'; allowed: an IPv6" },
      { "L3", R"("IP_PROTOCOL": "256")", "IP_PROTOCOL: '256'; allowed: 0 to 255" },
      { "L3", R"("L4_SRC_PORT": "65536")", "allowed: 0 to 65535" },
      { "L3", R"("L4_SRC_PORT_RANGE": "20-10")", "'20-10'; allowed: two numbers" },
      { "L3", R"("L4_DST_PORT_RANGE": "1-65536")", "'1-65536'; allowed: two numbers" },
      { "L3", R"("L4_DST_PORT_RANGE": "10")", "'10'; allowed: two numbers" },
      { "L3", R"("TCP_FLAGS": "0x40")", "TCP_FLAGS: '0x40'; allowed: 0 to 0x3f, or" },
      { "L3", R"("TCP_FLAGS": "1/0x100")", "TCP_FLAGS: '1/0x100'; allowed:" },
      { "L3", R"("DSCP": "64")", "DSCP: '64'; allowed: 0 to 63" },
      { "L3", R"("DSCP": "1/64")", "DSCP: '1/64'; allowed: 0 to 63" },
      { "L3", R"("ECN": "4")", "ECN: '4'; allowed: 0 to 3" },
      { "L3", R"("ICMP_TYPE": "256")", "ICMP_TYPE: '256'; allowed: 0 to 255" },
      { "L3", R"("IP_FRAG": "FIRST")", "allowed: ANY, NON_FRAG, NON_FRAG_OR_HEAD, HEAD" },
      { "L3", R"("IP_TYPE": "IPX")", "IP_TYPE: 'IPX'; allowed: ANY" },
      { "L3", R"("VLAN_ID": "0")", "VLAN_ID: '0'; allowed: 1 to 4094" },
      { "MAC", R"("VLAN_ID": "4095")", "VLAN_ID: '4095'; allowed: 1 to 4094" },
      { "MAC", R"("ETHER_TYPE": "0x5ff")", "allowed: 1536 to 65535" },
      { "MAC", R"("MPLS_LABEL": "1048576")", "allowed: 0 to 1048575" },
      { "MAC", R"("SRC_MAC": "02:00:00:00:00:01/ff")", "allowed: a MAC address" },
      { "L3", R"("IN_PORTS": "E5")", "IN_PORTS: there is no E5" },
      { "L3", R"("IN_PORTS": "E0.4095")", "IN_PORTS: E0.4095 is no sub-interface" },
      { "L3", R"("PACKET_ACTION": "MAYBE")", "PACKET_ACTION: 'MAYBE'; allowed: FORWARD" },
      { "L3", R"("MIRROR_ACTON": "m")", "the nearest known name is MIRROR_ACTION" },
      { "L3", R"("mirror_action": "m")", "MIRROR_ACTION: the field is there twice" },
      { "L3", R"("MIRROR_INGRESS_ACTION": "x")", "there is no session x" },
      // What contradicts itself.
      { "L3", R"("L4_SRC_PORT": "1", "L4_SRC_PORT_RANGE": "1-2")",
            "L4_SRC_PORT_RANGE: together with L4_SRC_PORT; allowed: one of the two" },
      { "L3", R"("L4_DST_PORT": "1", "IP_PROTOCOL": "1")",
            "L4_DST_PORT: protocol 1 does not have it; allowed: with the protocol 6, 17, 132" },
      { "L3", R"("TCP_FLAGS": "2", "IP_PROTOCOL": "17")", "TCP_FLAGS: protocol 17 does not" },
      { "L3", R"("ICMP_TYPE": "8", "IP_PROTOCOL": "58")", "ICMP_TYPE: protocol 58 does not" },
      { "L3V6", R"("ICMPV6_CODE": "8", "NEXT_HEADER": "1")", "protocol 1 does not have it" },
      { "L3", R"("ICMP_TYPE": "8", "L4_SRC_PORT": "1")", "together with L4_SRC_PORT" },
      { "L3", R"("ICMP_TYPE": "8", "TCP_FLAGS": "1")", "together with TCP_FLAGS" },
      { "L3V6", R"("NEXT_HEADER": "6", "IP_PROTOCOL": "17")", "NEXT_HEADER: not the" },
      { "L3", R"("L4_SRC_PORT": "1", "IP_FRAG": "NON_HEAD")",
            "IP_FRAG: such fragments do not carry what L4_SRC_PORT matches" },
      { "L3", R"("ICMP_TYPE": "1", "IP_FRAG": "NON_HEAD")", "what ICMP_TYPE matches" },
   };
   for ( const auto& [ type, fields, expected ] : cases ) {
      const std::string errors = said( loadRule( type, fields ).errors );
      EXPECT_EQ( std::count( errors.begin(), errors.end(), '\n' ), 1 )
            << type << ": " << fields << "\n"
            << errors;
      EXPECT_TRUE( errors.starts_with( "9: ACL_RULE|T|R: " ) ) << fields << "\n" << errors;
      EXPECT_NE( errors.find( expected ), std::string::npos )
            << errors << "expected: " << expected;
   }
}

} // namespace
} // namespace Agent
