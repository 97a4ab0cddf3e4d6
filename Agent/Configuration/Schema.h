#pragma once

// The tables of config_db.json that the agent reads, a row for each field: name, what it may
// hold, default, and what Docs/configuration.md says beyond that. Everything else that has to do
// with fields follows from these rows; a new field is a row here and a use in its reader.

#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

#include "Agent/Configuration/AclMatchFields.h"
#include "Agent/Configuration/Configuration.h"
#include "Agent/Configuration/FieldSchema.h"

namespace Agent {

constexpr int64_t any32Bits = std::numeric_limits< uint32_t >::max();
constexpr int64_t any63Bits = std::numeric_limits< int64_t >::max();
// The rate and the burst of a policer of the chip are held in 32 bits, in kilobits of 1000 bits;
// the burst is 3/2 of the rate.
constexpr int64_t highestRateKbps = any32Bits / 3 * 2;

ValueKind< bool > upOrDown();
ValueKind< Plix::EthAddr > macAddress();
ValueKind< Plix::IpGenAddr > stationAddress();

struct ChipFields : TableSchema {
   ChipFields() : TableSchema( "CHIP" ) {}
   TextField profile{ *this, "profile", "the command line's, else trident3",
      "a chip profile, as `karvel-agent chips` lists them" };
   TextField ports{ *this, "ports", "the lowest unit has all ports that no list names",
      "list of ports, each on one chip" };
   ValueField< int > ingressEntries{ *this, "ingress_entries", NumberRange{ 1, 1'000'000 },
      "the profile's", " TCAM entries of the ingress stage" };
   ValueField< int > egressEntries{ *this, "egress_entries", NumberRange{ 1, 1'000'000 },
      "the profile's", " TCAM entries of the egress stage" };
};

struct PortFields : TableSchema {
   PortFields() : TableSchema( "PORT" ) {
      others = { "description", "tpid", "fec", "autoneg", "adv_speeds", "interface_type",
         "adv_interface_types", "link_training", "laser_freq", "tx_power", "pfc_asym", "role",
         "mode", "macsec", "dhcp_rate_limit", "subport", "dom_polling", "core_id",
         "core_port_id", "num_voq", "asic_port_name", "mux_cable", "coreId", "corePortId",
         "numVoq", "asic", "learn_mode", "unreliable_los", "pt_interface_id",
         "pt_timestamp_template", "hostname", "parent_port", "serdes", "preemphasis", "idriver",
         "ipredriver", "media_settings_key" };
   }
   DefaultedField< bool > adminStatus{ *this, "admin_status", upOrDown(), "up",
      "; the convention's default is down, but its examples leave the field out" };
   TextField alias{ *this, "alias", "empty", "text" };
   ValueField< int > chipPort{ *this, "chip_port", NumberRange{ 1, 255 }, "see below",
      ", not above the profile's ports, each once on a chip" };
   ValueField< int > channel{ *this, "channel", NumberRange{ 0, 255 }, "absent: it shares none",
      ": the number of the port among those that share a front-panel port" };
   ValueField< int > mtu{ *this, "mtu", NumberRange{ 68, 9216 }, "absent", "; no effect" };
   ValueField< int64_t > speed{ *this, "speed", NumberRange{ 1, any32Bits }, "absent",
      "; no effect" };
   ValueField< int64_t > index{ *this, "index", NumberRange{ 0, any32Bits }, "absent",
      "; no effect" };
   TextField lanes{ *this, "lanes", "absent", "list of numbers; no effect" };
};

struct PortChannelFields : TableSchema {
   PortChannelFields() : TableSchema( "PORTCHANNEL" ) {
      others = { "mtu", "tpid", "description", "lacp_key", "fallback", "fast_rate", "mode",
         "system_mac", "learn_mode", "static", "retry_count" };
   }
   DefaultedField< bool > adminStatus{ *this, "admin_status", upOrDown(), "up", "" };
   DefaultedField< int > minLinks{ *this, "min_links", NumberRange{ 0, 1024 }, "0",
      ": with fewer members up the port channel is down" };
   TextField members{ *this, "members", "absent",
      "list of ports, as older files have it; no effect, with a warning for each that is not "
      "in "
      "`PORTCHANNEL_MEMBER`" };
};

struct PortChannelMemberFields : TableSchema {
   PortChannelMemberFields() : TableSchema( "PORTCHANNEL_MEMBER" ) {}
};

struct VlanFields : TableSchema {
   VlanFields() : TableSchema( "VLAN" ) {
      others = { "description", "admin_status", "mtu", "dhcp_servers", "dhcpv6_servers",
         "alias", "mac", "host_ifname", "hostif_name", "autostate" };
   }
   ValueField< uint16_t > vlanId{ *this, "vlanid", NumberRange{ 2, 4094 }, "that number",
      ": the number in the key" };
   TextField members{ *this, "members", "absent",
      "list of ports and port channels, as older files have it; no effect, with a warning for "
      "each that is not in `VLAN_MEMBER`" };
};

enum class Tagging : uint8_t { tagged, untagged, priorityTagged };

struct VlanMemberFields : TableSchema {
   VlanMemberFields() : TableSchema( "VLAN_MEMBER" ) {}
   DefaultedField< Tagging > taggingMode{ *this, "tagging_mode",
      { { "tagged", Tagging::tagged }, { "untagged", Tagging::untagged },
            { "priority_tagged", Tagging::priorityTagged } },
      "untagged", "; priority_tagged is served as untagged, with a warning" };
};

struct FdbFields : TableSchema {
   FdbFields() : TableSchema( "FDB" ) {}
   TextField port{ *this, "port", "none: it must be there",
      "a port or port channel in that VLAN" };
   DefaultedField< bool > isStatic{ *this, "type", { { "static", true }, { "dynamic", false } },
      "static", "" };
};

// INTERFACE, PORTCHANNEL_INTERFACE and VLAN_INTERFACE
struct InterfaceFields : TableSchema {
   explicit InterfaceFields( const std::string& table ) : TableSchema( table ) {
      others = { "ipv6_use_link_local_only", "nat_zone", "mpls", "mac_addr", "loopback_action",
         "proxy_arp", "grat_arp", "unnumbered", "vnet_name", "scope", "family", "secondary",
         "acl", "static_anycast_gateway", "ip_interface_mode" };
   }
   TextField vrfName{ *this, "vrf_name", "default",
      "text; of an entry without an address: any other than `default` takes the interface's "
      "addresses out of the routing of tunnels, with a warning for each" };
};

struct RouteFields : TableSchema {
   RouteFields() : TableSchema( "STATIC_ROUTE" ) {
      others = { "advertise", "bfd", "track", "name" };
   }
   TextField nextHop{ *this, "nexthop", "absent",
      "list of unicast addresses of the prefix's family; `0.0.0.0`, `::` or an empty place: "
      "the "
      "destination is on the interface itself" };
   TextField ifName{ *this, "ifname", "absent",
      "list of ports, port channels and VLANs, as many as `nexthop` has; an empty place: the "
      "interface with the next hop's subnet" };
   DefaultedField< int > distance{ *this, "distance", NumberRange{ 0, 255 }, "0",
      ", one or a list with as many; the lower is preferred" };
   DefaultedField< bool > blackhole{ *this, "blackhole",
      { { "true", true }, { "false", false } }, "false",
      ", one or a list with as many; true: what goes there goes nowhere" };
   TextField nextHopVrf{ *this, "nexthop-vrf", "absent",
      "list; a route with a next hop in another VRF than default is ignored, with a warning" };
};

struct NeighbourFields : TableSchema {
   NeighbourFields() : TableSchema( "NEIGH" ) {}
   ValueField< Plix::EthAddr > mac{ *this, "neigh", macAddress(),
      "absent: the neighbour is not known", ", unicast and not all zero" };
   ValueField< Plix::AddressFamily > family{ *this, "family",
      { { "IPv4", Plix::AddressFamily::ipv4 }, { "IPv6", Plix::AddressFamily::ipv6 } },
      "that of the address", ": that of the address" };
};

struct DeviceFields : TableSchema {
   DeviceFields() : TableSchema( "DEVICE_METADATA" ) { isOpen = true; }
   ValueField< Plix::EthAddr > mac{ *this, "mac", macAddress(),
      "`02:00:00:00:00:0N`, N being the chip's unit",
      ": the address that outer frames of tunnels are sent from; a group address or one of "
      "zeros is ignored, with a warning" };
};

enum class Meter : uint8_t { bytes, packets };
enum class PolicerMode : uint8_t { single, two, storm };
enum class Fate : uint8_t { passes, dropped, trapped }; // of packets of one colour

struct PolicerFields : TableSchema {
   PolicerFields() : TableSchema( "POLICER" ) {}
   static ValueKind< bool > colourAware() { return { { "aware", true }, { "blind", false } }; }
   static ValueKind< Fate > fates() {
      return { { "drop", Fate::dropped }, { "forward", Fate::passes }, { "copy", Fate::passes },
         { "copy_cancel", Fate::passes }, { "trap", Fate::trapped }, { "log", Fate::passes },
         { "deny", Fate::dropped }, { "transit", Fate::passes } };
   }
   ValueField< Meter > meterType{ *this, "meter_type",
      { { "bytes", Meter::bytes }, { "packets", Meter::packets } }, "none: it must be there",
      "; packets is not supported by any chip profile" };
   ValueField< PolicerMode > mode{ *this, "mode",
      { { "sr_tcm", PolicerMode::single }, { "tr_tcm", PolicerMode::two },
            { "storm", PolicerMode::storm } },
      "none: it must be there",
      "; storm is the same as sr_tcm here, tr_tcm is not supported by any chip profile" };
   DefaultedField< int64_t > cir{ *this, "cir", NumberRange{ 0, any63Bits }, "0",
      " bytes (packets) per second" };
   DefaultedField< int64_t > cbs{ *this, "cbs", NumberRange{ 0, any63Bits }, "0",
      " bytes (packets), not below `cir` unless 0; no effect: the burst is the chip's" };
   DefaultedField< int64_t > pir{ *this, "pir", NumberRange{ 0, any63Bits }, "0",
      "; all but 0 is not supported by any chip profile" };
   DefaultedField< int64_t > pbs{ *this, "pbs", NumberRange{ 0, any63Bits }, "0",
      "; all but 0 is not supported by any chip profile" };
   DefaultedField< bool > color{ *this, "color", colourAware(), "blind",
      "; no effect, copies have no colour" };
   DefaultedField< bool > colorSource{ *this, "color_source", colourAware(), "blind",
      "; no effect, copies have no colour" };
   DefaultedField< Fate > green{ *this, "green_packet_action", fates(), "forward",
      "; drop, deny and trap are not supported by any chip profile" };
   DefaultedField< Fate > yellow{ *this, "yellow_packet_action", fates(), "forward",
      "; drop, deny and trap are not supported by any chip profile" };
   DefaultedField< Fate > red{ *this, "red_packet_action", fates(), "forward",
      "; trap is not supported by any chip profile" };
};

enum class AclStage : uint8_t { ingress, egress };

struct AclTableFields : TableSchema {
   AclTableFields() : TableSchema( "ACL_TABLE" ) { others = { "policy_desc", "services" }; }
   ValueField< Acl::AclType > type{ *this, "type",
      { { "L3", Acl::ip() }, { "L3V6", Acl::ipv6() }, { "MIRROR", Acl::ip() },
            { "MIRRORV6", Acl::ipv6() }, { "MAC", Acl::mac() }, { "L2", Acl::mac() } },
      "none: it must be there",
      "; L3 and MIRROR are for IPv4, L3V6 and MIRRORV6 for IPv6, MAC (of this agent alone) and "
      "L2 for MAC addresses; others, see below" };
   DefaultedField< AclStage > stage{ *this, "stage",
      { { "ingress", AclStage::ingress }, { "egress", AclStage::egress } }, "ingress", "" };
   TextField ports{ *this, "ports", "none: its rules mirror nothing",
      "list of ports, port channels and sub-interfaces" };
};

// Of ACL_TABLE_TYPE only the keys count.
struct AclTableTypeFields : TableSchema {
   AclTableTypeFields() : TableSchema( "ACL_TABLE_TYPE" ) {}
};

enum class PacketAction : uint8_t { other, permit, deny };

struct AclRuleFields : TableSchema {
   AclRuleFields() : TableSchema( "ACL_RULE" ) {
      others = { "REDIRECT_ACTION", "DO_NOT_NAT_ACTION", "DSCP_ACTION", "META_DATA_ACTION",
         "INNER_SRC_MAC_REWRITE_ACTION", "RULE_DESCRIPTION" };
   }
   ValueField< uint32_t > priority{ *this, "PRIORITY", NumberRange{ 0, 999'999 },
      "none: it must be there",
      ", the higher is tried first; equal ones in natural order of the rules' names, with a "
      "warning" };
   TextField mirrorIngressAction{ *this, "MIRROR_INGRESS_ACTION", "absent",
      "a session: what the rule matches is mirrored to it" };
   TextField mirrorAction{ *this, "MIRROR_ACTION", "absent",
      "a session: what the rule matches is mirrored to it" };
   TextField mirrorEgressAction{ *this, "MIRROR_EGRESS_ACTION", "absent",
      "a session, which is refused" };
   ValueField< PacketAction > packetAction{ *this, "PACKET_ACTION",
      { { "FORWARD", PacketAction::permit }, { "ACCEPT", PacketAction::permit },
            { "PERMIT", PacketAction::permit }, { "DROP", PacketAction::deny },
            { "DENY", PacketAction::deny }, { "REDIRECT", PacketAction::other },
            { "COPY", PacketAction::other }, { "TRAP", PacketAction::other },
            { "LOG", PacketAction::other }, { "DO_NOT_NAT", PacketAction::other },
            { "DISABLE_TRIM", PacketAction::other } },
      "absent", "; REDIRECT also as `REDIRECT:...`" };
   AclMatchFields match{ *this };
};

constexpr std::string_view onlySpan = "SPAN";
constexpr std::string_view onlyErspan = "ERSPAN";

struct SessionFields : TableSchema {
   SessionFields() : TableSchema( "MIRROR_SESSION" ) {}
   ValueField< SessionType > type{ *this, "type",
      { { onlySpan, SessionType::span }, { onlyErspan, SessionType::erspan } },
      "SPAN if there is `dst_port` and no field of ERSPAN, else ERSPAN", "" };
   DefaultedField< SessionDirection > direction{ *this, "direction",
      { { "RX", SessionDirection::rx }, { "TX", SessionDirection::tx },
            { "BOTH", SessionDirection::both } },
      "BOTH", "; RX if it does not mirror its sources as a whole" };
   TextField srcPort{ *this, "src_port", "none: fed by ACL rules only",
      "list of ports and port channels, with `acl` also sub-interfaces; no traffic twice" };
   TextField acl{ *this, "acl", "absent",
      "list of ACL tables, at most one of each kind (of this agent alone)" };
   TextField match{ *this, "match", "absent",
      "list of up to 256 `SOURCE>DESTINATION` (of this agent alone)" };
   TextField dstPort{ *this, "dst_port", "none: it must be there",
      "a port or port channel in no VLAN and no port channel", onlySpan };
   ValueField< uint8_t > queue{ *this, "queue", NumberRange{ 0, 7 },
      "the chip's switch controls (Tomahawk family), else that of the mirrored frame's "
      "priority",
      ": the CoS queue of the copies at the ports that they leave by" };
   ValueField< Plix::IpGenAddr > srcIp{ *this, "src_ip", stationAddress(),
      "none: it must be there",
      ": not zero, no multicast or broadcast address; both of one family", onlyErspan };
   ValueField< Plix::IpGenAddr > dstIp{ *this, "dst_ip", stationAddress(),
      "none: it must be there",
      ": not zero, no multicast or broadcast address; both of one family", onlyErspan };
   DefaultedField< uint16_t > greType{ *this, "gre_type", NumberRange{ 0, 65535 }, "0x88be", "",
      onlyErspan };
   ValueField< uint32_t > greKey{ *this, "gre_key", NumberRange{ 0, any32Bits }, "no key",
      " (of this agent alone); see [Keys and inserted headers](#keys-and-inserted-headers)",
      onlyErspan };
   DefaultedField< uint8_t > dscp{ *this, "dscp", NumberRange{ 0, 63 }, "0", "", onlyErspan };
   DefaultedField< uint8_t > ttl{ *this, "ttl", NumberRange{ 0, 255 }, "255", "", onlyErspan };
   ValueField< uint32_t > sampleRate{ *this, "sample_rate", NumberRange{ 0, any32Bits },
      "absent", "; not supported by any chip profile", onlyErspan };
   ValueField< uint32_t > truncateSize{ *this, "truncate_size", NumberRange{ 0, any32Bits },
      "absent", "; not supported by any chip profile", onlyErspan };
   TextField policer{ *this, "policer", "no limit",
      "a policer of `POLICER`; not beside `rate_kbps`" };
   ValueField< uint32_t > rateKbps{ *this, "rate_kbps", NumberRange{ 1, highestRateKbps },
      "no limit", " kilobits per second (of this agent alone)" };
};

struct Schema {
   ChipFields chip;
   PortFields port;
   PortChannelFields portChannel;
   PortChannelMemberFields portChannelMember;
   VlanFields vlan;
   VlanMemberFields vlanMember;
   FdbFields fdb;
   InterfaceFields interface { "INTERFACE" };
   InterfaceFields portChannelInterface{ "PORTCHANNEL_INTERFACE" };
   InterfaceFields vlanInterface{ "VLAN_INTERFACE" };
   RouteFields route;
   NeighbourFields neighbour;
   DeviceFields device;
   PolicerFields policer;
   AclTableFields aclTable;
   AclTableTypeFields aclTableType;
   AclRuleFields aclRule;
   SessionFields session;

   // By name.
   const std::vector< const TableSchema* > tables{ &aclRule, &aclTable, &aclTableType, &chip,
      &device, &fdb, &interface, &session, &neighbour, &policer, &port, &portChannel,
      &portChannelInterface, &portChannelMember, &route, &vlan, &vlanInterface, &vlanMember };
};

const Schema& schema();

// Null if the agent does not read such a table.
const TableSchema* tableSchema( std::string_view name );
std::vector< std::string_view > readTables(); // their names

} // namespace Agent
