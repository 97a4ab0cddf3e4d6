// What the fields of ACL_RULE match: what becomes of good ones, and what is said about others.

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

template < typename T >
std::string textOf( const T& value ) {
   return Zol::toString( value );
}
std::string textOf( const Acl::PortRange& range ) {
   return std::to_string( range.low() ) + "-" + std::to_string( range.high() );
}

// What differs from a filter that matches everything: "srcIp 10.0.0.0 srcIpMask 255.0.0.0 ".
template < typename Filter >
std::string shown( const Filter& filter ) {
   std::string text;
   const Filter any;
   const auto show = [ & ]( const auto& member ) {
      if ( !( member.of( filter ) == member.of( any ) ) ) {
         text += std::string( member.name ) + " " + textOf( member.of( filter ) ) + " ";
      }
   };
   Zol::allMembers< Filter >( [ & ]( const auto&... member ) { ( show( member ), ... ); } );
   return text;
}

TEST_F( AclFieldsTest, BecomeTheFilterAndNothingElse ) {
   struct {
      const char* type;
      const char* fields;
      const char* expected;
   } const cases[] = {
      { "L3", "", "" },
      { "l3", R"("SRC_IP": "10.1.2.3/8")", "srcIp 10.0.0.0 srcIpMask 255.0.0.0 " },
      { "MIRROR", R"("SRC_IP": "10.1.2.3")", "srcIp 10.1.2.3 srcIpMask 255.255.255.255 " },
      { "L3", R"("SRC_IP": "10.1.2.3/0")", "" },
      { "L3", R"("DST_IP": "10.1.2.3/31")", "dstIp 10.1.2.2 dstIpMask 255.255.255.254 " },
      { "MIRRORV6", R"("SRC_IPV6": "2001:db8::1")",
            "srcIp6 2001:db8::1 srcIp6Mask ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff " },
      { "L3V6", R"("DST_IPV6": "2001:db8:ffff::/33")",
            "dstIp6 2001:db8:8000:: dstIp6Mask ffff:ffff:8000:: " },
      { "L3", R"("IP_PROTOCOL": "0x2f")", "proto 47 protoMask 255 " },
      { "L3", R"("IP_PROTOCOL": "0")", "protoMask 255 " },
      { "L3V6", R"("NEXT_HEADER": "17")", "proto 17 protoMask 255 " },
      { "L3", R"("L4_SRC_PORT": "53", "IP_PROTOCOL": "17")",
            "proto 17 protoMask 255 srcPort 53-53 " },
      { "L3", R"("L4_DST_PORT_RANGE": "0-1023", "IP_PROTOCOL": "132")",
            "proto 132 protoMask 255 dstPort 0-1023 " },
      { "L3V6", R"("L4_DST_PORT": "0")", "dstPort 0-0 " },
      { "L3", R"("TCP_FLAGS": "0x02")", "proto 6 protoMask 255 tcpFlags 2 tcpFlagsMask 63 " },
      { "L3", R"("TCP_FLAGS": "0x53/0x42", "IP_PROTOCOL": "6")",
            "proto 6 protoMask 255 tcpFlags 66 tcpFlagsMask 66 " },
      { "L3", R"("DSCP": "46")", "dscp 46 dscpMask 63 " },
      { "L3V6", R"("DSCP": "0x2e/0x38")", "dscp 40 dscpMask 56 " },
      { "L3", R"("ECN": "0")", "ecnMask 3 " },
      { "L3", R"("ICMP_TYPE": "3", "ICMP_CODE": "4")",
            "proto 1 protoMask 255 icmp 772 icmpMask 65535 " },
      { "L3", R"("ICMP_CODE": "4", "IP_PROTOCOL": "1")",
            "proto 1 protoMask 255 icmp 4 icmpMask 255 " },
      { "L3V6", R"("ICMPV6_TYPE": "135")",
            "proto 58 protoMask 255 icmp 34560 icmpMask 65280 " },
      { "L3", R"("IP_FRAG": "NON_FRAG_OR_HEAD", "L4_SRC_PORT": "1")",
            "srcPort 1-1 fragments wholeOrFirst " },
      { "L3", R"("IP_FRAG": "NON_HEAD", "IP_PROTOCOL": "17")",
            "proto 17 protoMask 255 fragments later " },
      { "L3", R"("VLAN_ID": "4094")", "vlanId 4094 vlanIdMask 4095 " },
      { "L3", R"("IP_TYPE": "IPv4ANY", "ETHER_TYPE": "2048")", "" },
      { "L3V6", R"("IP_TYPE": "non_ipv4", "ETHER_TYPE": "0x86dd")", "" },
      { "L3", R"("src_ip": "10.1.2.3/16", "PACKET_ACTION": "REDIRECT:Ethernet4")",
            "srcIp 10.1.0.0 srcIpMask 255.255.0.0 " },
      { "MAC", R"("SRC_MAC": "02:00:00:00:00:0a")",
            "MAC srcMac 02:00:00:00:00:0a srcMacMask ff:ff:ff:ff:ff:ff " },
      { "L2", R"("DST_MAC": "02:00:00:00:00:0a/ff:ff:ff:00:00:00")",
            "MAC dstMac 02:00:00:00:00:00 dstMacMask ff:ff:ff:00:00:00 " },
      { "MAC", R"("ETHER_TYPE": "0x600", "IP_TYPE": "ANY")",
            "MAC etherType 1536 etherTypeMask 65535 " },
      { "L2", R"("VLAN_ID": "1")", "MAC vlanId 1 vlanIdMask 4095 " },
      { "L2", R"("PCP": "4")", "MAC vlanPriority 4 vlanPriorityMask 7 " },
      { "MAC", R"("PCP": "0x7/6")", "MAC vlanPriority 6 vlanPriorityMask 6 " },
      { "MAC", R"("MPLS_LABEL": "3", "MPLS_INNER_LABEL": "1048575")",
            "MAC mplsLabel 3 mplsLabelMask 1048575 mplsInnerLabel 1048575 "
            "mplsInnerLabelMask 1048575 " },
   };
   for ( const auto& [ type, fields, expected ] : cases ) {
      const Acl::RuleConfig found = rule( type, fields );
      const std::string mac = shown( found.mac() );
      EXPECT_EQ( shown( found.ip() ) + ( mac.empty() ? "" : "MAC " + mac ), expected )
            << type << ": " << fields;
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
      { "L3", R"("ICMPV6_TYPE": "1")", "ICMPV6_TYPE: not for a table of type L3" },
      { "L3V6", R"("ICMP_CODE": "1")", "ICMP_CODE: not for a table of type L3V6" },
      { "L3", R"("SRC_MAC": "02:00:00:00:00:01")", "in tables of type MAC, L2" },
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
      { "L3V6", R"("SRC_IPV6": "::1/129")", "SRC_IPV6: '::1/129'; allowed: an IPv6" },
      { "L3", R"("IP_PROTOCOL": "256")", "IP_PROTOCOL: '256'; allowed: 0 to 255" },
      { "L3", R"("L4_SRC_PORT_RANGE": "20-10")", "'20-10'; allowed: two numbers" },
      { "L3", R"("L4_DST_PORT_RANGE": "1-65536")", "'1-65536'; allowed: two numbers" },
      { "L3", R"("L4_DST_PORT_RANGE": "10")", "'10'; allowed: two numbers" },
      { "L3", R"("SRC_IP": "10.0.0.1/")", "SRC_IP: '10.0.0.1/'; allowed: an IPv4" },
      { "L3", R"("TCP_FLAGS": "0x40")", "TCP_FLAGS: '0x40'; allowed: 0 to 0x3f, or" },
      { "L3", R"("DSCP": "64")", "DSCP: '64'; allowed: 0 to 63" },
      { "L3", R"("DSCP": "1/64")", "DSCP: '1/64'; allowed: 0 to 63" },
      { "L3", R"("ECN": "4")", "ECN: '4'; allowed: 0 to 3" },
      { "L3", R"("IP_FRAG": "FIRST")", "allowed: ANY, NON_FRAG, NON_FRAG_OR_HEAD, HEAD" },
      { "L3", R"("VLAN_ID": "0")", "VLAN_ID: '0'; allowed: 1 to 4094" },
      { "MAC", R"("ETHER_TYPE": "0x5ff")", "allowed: 1536 to 65535" },
      { "L2", R"("PCP": "8")", "PCP: '8'; allowed: 0 to 7, or a value and a mask" },
      { "MAC", R"("PCP": "4/8")", "PCP: '4/8'; allowed: 0 to 7" },
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
      { "L3V6", R"("NEXT_HEADER": "6", "IP_PROTOCOL": "17")", "NEXT_HEADER: not the" },
      { "L3", R"("L4_SRC_PORT": "1", "IP_FRAG": "NON_HEAD")",
            "IP_FRAG: such fragments do not carry what L4_SRC_PORT matches" },
   };
   for ( const auto& [ type, fields, expected ] : cases ) {
      expectErrors( "9: ACL_RULE|T|R: ", { { fields, expected } },
            [ &, t = type ]( const auto& text ) { return loadRule( t, text ); } );
   }
}

} // namespace
} // namespace Agent
