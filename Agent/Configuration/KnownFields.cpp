#include "Agent/Configuration/KnownFields.h"

#include <algorithm>
#include <map>

#include "Agent/Configuration/Acls.h"
#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

using Names = std::vector< std::string_view >;

Names aclRuleFields() {
   Names names{ "PRIORITY", "PACKET_ACTION", "MIRROR_ACTION", "MIRROR_INGRESS_ACTION",
      "MIRROR_EGRESS_ACTION", "REDIRECT_ACTION", "DO_NOT_NAT_ACTION", "DSCP_ACTION",
      "META_DATA_ACTION", "INNER_SRC_MAC_REWRITE_ACTION", "RULE_DESCRIPTION" };
   names.insert( names.end(), aclMatchFields().begin(), aclMatchFields().end() );
   return names;
}

Names interfaceFields() {
   return { "vrf_name", "ipv6_use_link_local_only", "nat_zone", "mpls", "mac_addr",
      "loopback_action", "proxy_arp", "grat_arp", "unnumbered", "vnet_name", "scope", "family",
      "secondary", "acl", "static_anycast_gateway", "ip_interface_mode" };
}

const std::map< std::string_view, Names >& fieldsByTable() {
   static const std::map< std::string_view, Names > tables{
      { "CHIP", { "profile", "ports", "ingress_entries", "egress_entries" } },
      { "PORT",
            { "chip_port", "channel", "lanes", "speed", "admin_status", "alias", "description",
                  "mtu", "index", "tpid", "fec", "autoneg", "adv_speeds", "interface_type",
                  "adv_interface_types", "link_training", "laser_freq", "tx_power", "pfc_asym",
                  "role", "mode", "macsec", "dhcp_rate_limit", "subport", "dom_polling",
                  "core_id", "core_port_id", "num_voq", "asic_port_name", "mux_cable", "coreId",
                  "corePortId", "numVoq", "asic", "learn_mode", "unreliable_los",
                  "pt_interface_id", "pt_timestamp_template", "hostname", "parent_port",
                  "serdes", "preemphasis", "idriver", "ipredriver", "media_settings_key" } },
      { "PORTCHANNEL",
            { "admin_status", "members", "min_links", "mtu", "tpid", "description", "lacp_key",
                  "fallback", "fast_rate", "mode", "system_mac", "learn_mode", "static",
                  "retry_count" } },
      { "PORTCHANNEL_MEMBER", {} },
      { "VLAN",
            { "vlanid", "members", "description", "admin_status", "mtu", "dhcp_servers",
                  "dhcpv6_servers", "alias", "mac", "host_ifname", "hostif_name",
                  "autostate" } },
      { "VLAN_MEMBER", { "tagging_mode" } },
      { "FDB", { "port", "type" } },
      { "INTERFACE", interfaceFields() },
      { "PORTCHANNEL_INTERFACE", interfaceFields() },
      { "VLAN_INTERFACE", interfaceFields() },
      { "STATIC_ROUTE",
            { "nexthop", "ifname", "distance", "nexthop-vrf", "blackhole", "advertise", "bfd",
                  "track", "name" } },
      { "NEIGH", { "neigh", "family" } },
      { "DEVICE_METADATA", { "mac" } },
      { "POLICER",
            { "meter_type", "mode", "cir", "cbs", "pir", "pbs", "color", "color_source",
                  "green_packet_action", "yellow_packet_action", "red_packet_action" } },
      { "ACL_TABLE", { "type", "stage", "ports", "policy_desc", "services" } },
      { "ACL_TABLE_TYPE", {} }, // only its names count
      { "ACL_RULE", aclRuleFields() },
      { "MIRROR_SESSION",
            { "type", "src_ip", "dst_ip", "gre_type", "dscp", "ttl", "queue", "dst_port",
                  "src_port", "direction", "policer", "sample_rate", "truncate_size",
                  "rate_kbps", "gre_key", "acl", "match" } },
   };
   return tables;
}

} // namespace

const Names& readTables() {
   static const Names names = [] {
      Names all;
      for ( const auto& [ table, fields ] : fieldsByTable() ) {
         all.push_back( table );
      }
      return all;
   }();
   return names;
}

bool isReadTable( std::string_view table ) { return fieldsByTable().contains( table ); }

bool isLookedAt( std::string_view table, std::string_view field ) {
   return table != "DEVICE_METADATA" || field == "mac";
}

const Names& knownFields( std::string_view table ) {
   ZOL_ASSERT( isReadTable( table ) );
   return fieldsByTable().at( table );
}

} // namespace Agent
