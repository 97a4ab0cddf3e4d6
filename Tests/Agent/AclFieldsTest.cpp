// What the fields of ACL_RULE match: what becomes of good ones, and what is said about others.

#include "Tests/Agent/ConfigurationBed.h"

namespace Agent {
namespace {

class AclFieldsTest : public ConfigurationBed {
 protected:
   // A table's type and fields of its rule. Session m is fed by the one rule R of table T; the
   // rule begins in line 9.
   LoadResult loadRule( const std::string& text ) {
      const size_t end = std::min( text.find( ' ' ), text.size() );
      const std::string type = text.substr( 0, end );
      const std::string fields = text.substr( end );
      return load( with( "\"MIRROR_SESSION|m\": {\"dst_port\": \"E20\"}, \"ACL_TABLE|T\": "
                         "{\"type\": \"" +
            type + "\", \"ports\": \"E0\"},\n\"ACL_RULE|T|R\": {\"PRIORITY\": 5, " +
            "\"MIRROR_ACTION\": \"m\"" + ( fields.empty() ? "" : ", " + fields ) + "}" ) );
   }
   Acl::RuleConfig rule( const std::string& text ) {
      const LoadResult result = loadRule( text );
      EXPECT_EQ( said( result.errors ) + said( result.warnings ), "" ) << text;
      const auto session = result.configuration.sessions.find( "m" );
      if ( session == result.configuration.sessions.end() || session->second.acls.empty() ) {
         ADD_FAILURE() << "no ACL: " << text;
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

// What differs from a filter that matches everything: "srcIp 10.0.0.0 srcIpMask 255.0.0.0".
template < typename Filter >
std::string shown( const Filter& filter ) {
   std::string text;
   const Filter any;
   const auto show = [ & ]( const auto& member ) {
      if ( !( member.of( filter ) == member.of( any ) ) ) {
         text += ( text.empty() ? "" : " " ) + std::string( member.name ) + " " +
               textOf( member.of( filter ) );
      }
   };
   Zol::allMembers< Filter >( [ & ]( const auto&... member ) { ( show( member ), ... ); } );
   return text;
}

TEST_F( AclFieldsTest, BecomeTheFilterAndNothingElse ) {
   for ( const auto& [ text, expected ] : pairs( R"(
L3 =>
l3 "SRC_IP": "10.1.2.3/8" => srcIp 10.0.0.0 srcIpMask 255.0.0.0
MIRROR "SRC_IP": "10.1.2.3" => srcIp 10.1.2.3 srcIpMask 255.255.255.255
L3 "SRC_IP": "10.1.2.3/0" =>
L3 "DST_IP": "10.1.2.3/31" => dstIp 10.1.2.2 dstIpMask 255.255.255.254
MIRRORV6 "SRC_IPV6": "2001:db8::1" => srcIp6 2001:db8::1 srcIp6Mask ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff
L3V6 "DST_IPV6": "2001:db8:ffff::/33" => dstIp6 2001:db8:8000:: dstIp6Mask ffff:ffff:8000::
L3 "IP_PROTOCOL": "0x2f" => proto 47 protoMask 255
L3 "IP_PROTOCOL": "0" => protoMask 255
L3V6 "NEXT_HEADER": "17" => proto 17 protoMask 255
L3 "L4_SRC_PORT": "53", "IP_PROTOCOL": "17" => proto 17 protoMask 255 srcPort 53-53
L3 "L4_DST_PORT_RANGE": "0-1023", "IP_PROTOCOL": "132" => proto 132 protoMask 255 dstPort 0-1023
L3V6 "L4_DST_PORT": "0" => dstPort 0-0
L3 "TCP_FLAGS": "0x02" => proto 6 protoMask 255 tcpFlags 2 tcpFlagsMask 63
L3 "TCP_FLAGS": "0x42/0x42", "IP_PROTOCOL": "6" => proto 6 protoMask 255 tcpFlags 66 tcpFlagsMask 66
L3 "DSCP": "46" => dscp 46 dscpMask 63
L3V6 "DSCP": "0x28/0x38" => dscp 40 dscpMask 56
L3 "ECN": "0" => ecnMask 3
L3 "ICMP_TYPE": "3", "ICMP_CODE": "4" => proto 1 protoMask 255 icmp 772 icmpMask 65535
L3 "ICMP_CODE": "4", "IP_PROTOCOL": "1" => proto 1 protoMask 255 icmp 4 icmpMask 255
L3V6 "ICMPV6_TYPE": "135" => proto 58 protoMask 255 icmp 34560 icmpMask 65280
L3 "IP_FRAG": "NON_FRAG_OR_HEAD", "L4_SRC_PORT": "1" => srcPort 1-1 fragments wholeOrFirst
L3 "IP_FRAG": "NON_HEAD", "IP_PROTOCOL": "17" => proto 17 protoMask 255 fragments later
L3 "VLAN_ID": "4094" => vlanId 4094 vlanIdMask 4095
L3 "IP_TYPE": "IPv4ANY", "ETHER_TYPE": "2048" =>
MIRROR "ETHER_TYPE": "0x88cc", "VLAN_ID": "5" => MAC etherType 35020 etherTypeMask 65535 vlanId 5 vlanIdMask 4095
MIRRORV6 "IP_TYPE": "ARP" => MAC etherType 2054 etherTypeMask 65535
MIRROR_DSCP "DSCP": "8/0x38", "IP_TYPE": "IPV6ANY" => dscp 8 dscpMask 56
L3V6 "IP_TYPE": "non_ipv4", "ETHER_TYPE": "0x86dd" =>
L3 "src_ip": "10.1.2.3/16", "PACKET_ACTION": "REDIRECT:Ethernet4" => srcIp 10.1.0.0 srcIpMask 255.255.0.0
MAC "SRC_MAC": "02:00:00:00:00:0a" => MAC srcMac 02:00:00:00:00:0a srcMacMask ff:ff:ff:ff:ff:ff
L2 "DST_MAC": "02:00:00:00:00:0a/ff:ff:ff:00:00:00" => MAC dstMac 02:00:00:00:00:00 dstMacMask ff:ff:ff:00:00:00
MAC "ETHER_TYPE": "0x600", "IP_TYPE": "ANY" => MAC etherType 1536 etherTypeMask 65535
L2 "VLAN_ID": "1" => MAC vlanId 1 vlanIdMask 4095
L2 "PCP": "4" => MAC vlanPriority 4 vlanPriorityMask 7
MAC "PCP": "0x6/6" => MAC vlanPriority 6 vlanPriorityMask 6
MAC "MPLS_LABEL": "3", "MPLS_INNER_LABEL": "1048575" => MAC mplsLabel 3 mplsLabelMask 1048575 mplsInnerLabel 1048575 mplsInnerLabelMask 1048575)" ) ) {
      const Acl::RuleConfig found = rule( text );
      const std::string mac = shown( found.mac() );
      EXPECT_EQ( shown( found.ip() ) + ( mac.empty() ? "" : "MAC " + mac ), expected ) << text;
   }
}

TEST_F( AclFieldsTest, SayWhatIsWrongWithThemAndWhatIsAllowed ) {
   expectErrors( "9: ACL_RULE|T|R: ", pairs( R"(
L3V6 "SRC_IP": "10.0.0.1" => refused: SRC_IP: not for a table of type L3V6; allowed: in tables of type L3, MIRROR
MIRROR "DST_IPV6": ":::" => DST_IPV6: ':::'; allowed: an IPv6
MIRROR "TC": "1" => refused: TC: no chip profile
MIRROR_DSCP "SRC_IP": "10.0.0.1" => refused: SRC_IP: not for a table of type MIRROR_DSCP
L3 "SRC_MAC": "02:00:00:00:00:01" => refused: SRC_MAC: not for
L2 "DSCP": "1" => refused: DSCP: not for a table of type L2; allowed: in tables of type L3, MIRROR, L3V6, MIRRORV6, MIRROR_DSCP
L2 "DEI": "1" => refused: DEI: no chip profile
L2 "DEI": "2" => DEI: '2'; allowed: 0 to 1
L3 "ETHER_TYPE": "0x86dd", "DSCP": "1" => refused: DSCP: frames of the rule's EtherType do not have it
L3 "ETHER_TYPE": "0x86dd", "IP_TYPE": "ARP" => refused: IP_TYPE: contradicts ETHER_TYPE
L3 "IP_TYPE": "NON_IP" => refused: IP_TYPE: more than one EtherType
MAC "IP_TYPE": "IP" => refused: IP_TYPE: more than one EtherType
L3 "SRC_IP": "10.0.0.1/33" => SRC_IP: '10.0.0.1/33'; allowed: an IPv4
L3V6 "SRC_IPV6": "::1/129" => SRC_IPV6: '::1/129'; allowed: an IPv6
L3 "L4_SRC_PORT_RANGE": "20-10" => '20-10'; allowed: two numbers
L3 "L4_DST_PORT_RANGE": "1-65536" => '1-65536'; allowed: two numbers
L3 "L4_DST_PORT_RANGE": "10" => '10'; allowed: two numbers
L3 "SRC_IP": "10.0.0.1/" => SRC_IP: '10.0.0.1/'; allowed: an IPv4
L3 "TCP_FLAGS": "0x40" => TCP_FLAGS: '0x40'; allowed: 0 to 0x3f, or
L3 "DSCP": "64" => DSCP: '64'; allowed: 0 to 63
L3 "DSCP": "1/64" => DSCP: '1/64'; allowed: 0 to 63
L2 "PCP": "8" => PCP: '8'; allowed: 0 to 7, or a value and a mask
MAC "PCP": "4/8" => PCP: '4/8'; allowed: 0 to 7
MAC "SRC_MAC": "02:00:00:00:00:01/ff" => allowed: a MAC address
L3 "IN_PORTS": "E5" => IN_PORTS: there is no E5
L3 "IN_PORTS": "E0.4095" => IN_PORTS: E0.4095 is not a sub-interface
L3 "MIRROR_ACTON": "m" => the nearest known name is MIRROR_ACTION
L3 "mirror_action": "m" => MIRROR_ACTION: duplicate field
L3 "MIRROR_INGRESS_ACTION": "x" => there is no session x
L3 "L4_SRC_PORT": "1", "L4_SRC_PORT_RANGE": "1-2" => refused: L4_SRC_PORT_RANGE: together with L4_SRC_PORT; allowed: one of the two
L3 "L4_DST_PORT": "1", "IP_PROTOCOL": "1" => refused: L4_DST_PORT: protocol 1 does not have it; allowed: with the protocol 6, 17, 132
L3 "TCP_FLAGS": "2", "IP_PROTOCOL": "17" => refused: TCP_FLAGS: protocol 17 does not
L3 "ICMP_TYPE": "8", "IP_PROTOCOL": "58" => refused: ICMP_TYPE: protocol 58 does not
L3V6 "ICMPV6_CODE": "8", "NEXT_HEADER": "1" => refused: ICMPV6_CODE: protocol 1 does not have it
L3 "ICMP_TYPE": "8", "L4_SRC_PORT": "1" => refused: ICMP_TYPE: together with L4_SRC_PORT
L3V6 "NEXT_HEADER": "6", "IP_PROTOCOL": "17" => refused: NEXT_HEADER: not the
L3 "L4_SRC_PORT": "1", "IP_FRAG": "NON_HEAD" => refused: IP_FRAG: such fragments do not carry what L4_SRC_PORT matches)" ),
         [ this ]( const std::string& text ) { return loadRule( text ); } );
}

} // namespace
} // namespace Agent
