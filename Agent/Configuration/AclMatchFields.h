#pragma once

// What an ACL_RULE can match on: a row for each field, with the types of table that it is for.
//
// A field's way to the chip: it has its row here, is read in AclMatch.cpp, carried by a filter of
// Platform/Acl/Rules.h, and programmed by AgentServices/AclEntryWriter.cpp with a qualifier; see
// ChipModel/Fields/FieldCatalogue.h for a new one.

#include <cstdint>
#include <string_view>

#include "Agent/Configuration/FieldSchema.h"

namespace Agent {

ValueKind< Masked< Plix::IpAddr > > ip4Prefix();
ValueKind< Masked< Plix::Ip6Addr > > ip6Prefix();
ValueKind< Acl::PortRange > portRange();
ValueKind< Masked< Plix::EthAddr > > maskedMac();
// See parseMasked().
ValueKind< Masked< uint8_t > > maskedNumber(
      uint8_t most, uint8_t whole, const std::string& allowed );

constexpr std::string_view onlyIp4 = "L3, MIRROR";
constexpr std::string_view onlyIp6 = "L3V6, MIRRORV6";
constexpr std::string_view onlyIp = "L3, MIRROR, L3V6, MIRRORV6";
constexpr std::string_view onlyMac = "MAC, L2";
constexpr std::string_view allWithDscp = "L3, MIRROR, L3V6, MIRRORV6, MIRROR_DSCP";

// Without a mask: FIN, SYN, RST, PSH, ACK and URG, not those that ECN has added.
constexpr uint8_t classicTcpFlags = 0x3f;
constexpr uint8_t wholeDscp = 0x3f;
constexpr uint8_t highestPriority = 7;             // IEEE 802.1Q
constexpr NumberRange etherTypes{ 0x600, 0xffff }; // below, it is a length (IEEE 802.3 3.2.6)
constexpr NumberRange mplsLabels{ 0, 0xfffff };    // RFC 3032

constexpr uint16_t ip4EtherType = 0x0800;
constexpr uint16_t arpEtherType = 0x0806;
constexpr uint16_t ip6EtherType = 0x86dd;

// What frames a rule can be about.
struct Families {
   bool ip4;
   bool ip6;
   bool others;
   uint16_t only = 0; // the one EtherType of all these frames; 0: there are several
   bool has( uint16_t etherType ) const;
};

// No chip here can match on it.
struct BeyondField : FieldSchema {
   BeyondField( TableSchema& table, std::string_view fieldName )
         : FieldSchema( table, fieldName, "any",
                 "not supported by any chip profile: a rule with it is refused" ) {}
};

struct AclMatchFields {
   explicit AclMatchFields( TableSchema& aclRule ) : table( aclRule ) {}
   bool isBeyond( const FieldSchema& field ) const;

   TableSchema& table;

   ValueField< uint16_t > vlanId{ table, "VLAN_ID", NumberRange{ 1, 4094 }, "any",
      ", the outer VLAN" };
   TextField inPorts{ table, "IN_PORTS", "all",
      "list of ports, port channels and sub-interfaces; the rule is for these of the table's "
      "only" };
   ValueField< uint16_t > etherType{ table, "ETHER_TYPE", etherTypes, "any",
      "; what is not IP of the table's kind has none of the fields below, and is matched all "
      "the same" };
   DefaultedField< Families > ipType{ table, "IP_TYPE",
      { { "ANY", { true, true, true } }, { "IP", { true, true, false } },
            { "NON_IP", { false, false, true } },
            { "IPV4", { true, false, false, ip4EtherType } },
            { "IPV4ANY", { true, false, false, ip4EtherType } },
            { "NON_IPV4", { false, true, true } },
            { "IPV6", { false, true, false, ip6EtherType } },
            { "IPV6ANY", { false, true, false, ip6EtherType } },
            { "NON_IPV6", { true, false, true } },
            { "ARP", { false, false, true, arpEtherType } } },
      "ANY",
      "; of one EtherType it is the same as `ETHER_TYPE`, others only narrow what the table is "
      "for, and a rule that nothing is left of is refused" };

   ValueField< Masked< Plix::IpAddr > > srcIp{ table, "SRC_IP", ip4Prefix(), "any",
      "; bits behind the prefix do not count", onlyIp4 };
   ValueField< Masked< Plix::IpAddr > > dstIp{ table, "DST_IP", ip4Prefix(), "any",
      "; bits behind the prefix do not count", onlyIp4 };
   ValueField< Masked< Plix::Ip6Addr > > srcIp6{ table, "SRC_IPV6", ip6Prefix(), "any",
      "; bits behind the prefix do not count", onlyIp6 };
   ValueField< Masked< Plix::Ip6Addr > > dstIp6{ table, "DST_IPV6", ip6Prefix(), "any",
      "; bits behind the prefix do not count", onlyIp6 };
   ValueField< uint8_t > protocol{ table, "IP_PROTOCOL", NumberRange{ 0, 255 }, "any", "",
      onlyIp };
   ValueField< uint8_t > nextHeader{ table, "NEXT_HEADER", NumberRange{ 0, 255 }, "any",
      ", the same as `IP_PROTOCOL`", onlyIp6 };
   ValueField< uint16_t > srcPort{ table, "L4_SRC_PORT", NumberRange{ 0, 65535 }, "any", "",
      onlyIp };
   ValueField< Acl::PortRange > srcPorts{ table, "L4_SRC_PORT_RANGE", portRange(), "any",
      "; not besides the single port", onlyIp };
   ValueField< uint16_t > dstPort{ table, "L4_DST_PORT", NumberRange{ 0, 65535 }, "any", "",
      onlyIp };
   ValueField< Acl::PortRange > dstPorts{ table, "L4_DST_PORT_RANGE", portRange(), "any",
      "; not besides the single port", onlyIp };
   ValueField< Masked< uint8_t > > tcpFlags{ table, "TCP_FLAGS",
      maskedNumber( 0xff, classicTcpFlags,
            "0 to 0x3f, or a value and a mask, each 0 to 0xff, like 0x02/0x12" ),
      "any", "; without a mask all six are compared", onlyIp };
   ValueField< Masked< uint8_t > > dscp{ table, "DSCP",
      maskedNumber( wholeDscp, wholeDscp, "0 to 63, or a value and a mask like 0x28/0x38" ),
      "any", "", allWithDscp };
   ValueField< uint8_t > ecn{ table, "ECN", NumberRange{ 0, 3 }, "any",
      " (of this agent alone)", onlyIp };
   ValueField< uint8_t > icmpType{ table, "ICMP_TYPE", NumberRange{ 0, 255 }, "any", "",
      onlyIp4 };
   ValueField< uint8_t > icmpCode{ table, "ICMP_CODE", NumberRange{ 0, 255 }, "any", "",
      onlyIp4 };
   ValueField< uint8_t > icmp6Type{ table, "ICMPV6_TYPE", NumberRange{ 0, 255 }, "any", "",
      onlyIp6 };
   ValueField< uint8_t > icmp6Code{ table, "ICMPV6_CODE", NumberRange{ 0, 255 }, "any", "",
      onlyIp6 };
   DefaultedField< Acl::Fragments > fragments{ table, "IP_FRAG",
      { { "ANY", Acl::Fragments::any }, { "NON_FRAG", Acl::Fragments::whole },
            { "NON_FRAG_OR_HEAD", Acl::Fragments::wholeOrFirst },
            { "HEAD", Acl::Fragments::first }, { "NON_HEAD", Acl::Fragments::later } },
      "ANY",
      ": NON_FRAG are whole datagrams, HEAD first fragments, NON_HEAD the others (of this "
      "agent "
      "alone)",
      onlyIp };

   ValueField< Masked< uint8_t > > vlanPriority{ table, "PCP",
      maskedNumber(
            highestPriority, highestPriority, "0 to 7, or a value and a mask like 4/6" ),
      "any",
      ": the priority of the outer VLAN tag; a frame without a tag has priority 0 in the VLAN "
      "of "
      "its port, and none where the port has no VLAN for it",
      onlyMac };
   ValueField< Masked< Plix::EthAddr > > srcMac{ table, "SRC_MAC", maskedMac(), "any", "",
      onlyMac };
   ValueField< Masked< Plix::EthAddr > > dstMac{ table, "DST_MAC", maskedMac(), "any", "",
      onlyMac };
   ValueField< uint32_t > mplsLabel{ table, "MPLS_LABEL", mplsLabels, "any",
      ", the outermost label (of this agent alone)", onlyMac };
   ValueField< uint32_t > mplsInnerLabel{ table, "MPLS_INNER_LABEL", mplsLabels, "any",
      ", the label behind the outermost (of this agent alone)", onlyMac };

   ValueField< uint8_t > dei{ table, "DEI", NumberRange{ 0, 1 }, "any",
      "; not supported by any chip profile: a rule with it is refused", onlyMac };
   BeyondField beyond[ 14 ]{ { table, "TC" }, { table, "OUT_PORTS" }, { table, "TUNNEL_VNI" },
      { table, "TUNNEL_TERM" }, { table, "INNER_ETHER_TYPE" }, { table, "INNER_IP_PROTOCOL" },
      { table, "INNER_L4_SRC_PORT" }, { table, "INNER_L4_DST_PORT" }, { table, "INNER_SRC_IP" },
      { table, "INNER_DST_IP" }, { table, "INNER_SRC_MAC" }, { table, "INNER_DST_MAC" },
      { table, "BTH_OPCODE" }, { table, "AETH_SYNDROME" } };
};

} // namespace Agent
