#pragma once

// The agent's configuration, typed and validated: what a config_db.json says about ports,
// VLANs, link aggregations, mirror sessions and the ACLs that feed them. Plain values; two
// configurations can be compared entry by entry. Places (file and line) do not take part in
// comparing.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Agent/Configuration/Routing.h"
#include "Platform/Acl/Rules.h"
#include "Platform/Ixo/AclTypes.h"
#include "Platform/Plix/EthAddr.h"
#include "Platform/Plix/IntfId.h"
#include "Platform/Plix/IpAddr.h"
#include "Platform/Zol/Ptr.h"

namespace Agent {

// Where something was written: "FILE:LINE".
struct Place {
   std::string file;
   int line = 0; // 0: the file as a whole
   bool operator==( const Place& ) const { return true; }
};

// One chip; it is also the one chip of the slice of that number.
struct ChipConfig {
   int unit = 0;                        // 0 to 7
   std::string profile;                 // a chip profile's name
   std::optional< int > ingressEntries; // capacities other than the profile's
   std::optional< int > egressEntries;
   Place place;
   bool operator==( const ChipConfig& ) const = default;
};

struct PortConfig {
   std::string name;
   int unit = 0;
   int chipPort = 0; // 1 to 255
   bool adminUp = true;
   std::string alias;
   std::optional< int > channel; // 0 to 255, of a port that shares a front-panel port
   Place place;
   bool operator==( const PortConfig& ) const = default;
};

struct PortChannelConfig {
   std::string name;
   int unit = 0;
   int trunk = 0; // the number in its name, or the next free one below the chip's limit
   bool adminUp = true;
   int minLinks = 0;                   // with fewer members up it is down
   std::vector< std::string > members; // port names, in natural order
   Place place;
   bool operator==( const PortChannelConfig& ) const = default;
};

struct VlanMemberConfig {
   std::string interface; // a port or a port channel
   bool tagged = false;
   Place place;
   bool operator==( const VlanMemberConfig& ) const = default;
};

struct VlanConfig {
   uint16_t id = 0;
   std::vector< VlanMemberConfig > members; // by name, in natural order
   Place place;
   bool operator==( const VlanConfig& ) const = default;
};

struct FdbConfig {
   uint16_t vlan = 0;
   Plix::EthAddr mac;
   std::string interface; // a port or a port channel
   bool isStatic = true;
   Place place;
   bool operator==( const FdbConfig& ) const = default;
};

enum class SessionType : uint8_t { span, erspan };
enum class SessionDirection : uint8_t { rx, tx, both };

// What an ACL lets through to one session: what its rules permit is mirrored.
struct SessionAcl {
   // The ACL table's name; "TABLE/SESSION" if the table mirrors to several sessions.
   Ixo::AclKey key;
   // Ports and sub-interfaces of the destination's chip, at least one, sorted, none within
   // another; port channels as their members.
   std::vector< Plix::IntfId > interfaces;
   // By falling priority, at least one; ruleId is the priority. A list whose rules stay the
   // same is the same object in the configuration after it.
   Zol::Ptr< const Acl::RuleList > rules;
   bool operator==( const SessionAcl& other ) const;
};

// Addresses that are mirrored; a mask of zero is any address.
struct SessionMatch {
   Plix::IpAddr srcIp;
   Plix::IpAddr srcIpMask;
   Plix::IpAddr dstIp;
   Plix::IpAddr dstIpMask;
   auto operator<=>( const SessionMatch& ) const = default;
};

// The outer headers of copies that are sent through a tunnel.
struct TunnelConfig {
   Plix::IpGenAddr srcIp; // of one family
   Plix::IpGenAddr dstIp;
   uint16_t greProtocol = 0;
   uint8_t dscp = 0; // 0 to 63
   uint8_t ttl = 0;
   std::optional< uint32_t > greKey;
   bool operator==( const TunnelConfig& ) const = default;
};

struct SessionConfig {
   std::string name;
   SessionType type = SessionType::erspan;
   // Of the sources that it mirrors; rx if there are none. ACLs and matches filter what arrives,
   // whatever it says.
   SessionDirection direction = SessionDirection::both;
   // Ports and port channels as written, and sub-interfaces unless it mirrors its sources.
   std::vector< std::string > sources;
   // All traffic of the sources is mirrored, besides what `acls` say.
   bool mirrorsSources = false;
   std::vector< SessionAcl > acls;      // by key
   std::vector< SessionMatch > matches; // on `filteredInterfaces`, which then are not empty
   // The sources of a session that filters them, as interfaces of an ACL.
   std::vector< Plix::IntfId > filteredInterfaces;
   int unit = -1;                        // the chip that makes the copies; -1: none is known
   std::string destination;              // a port or a port channel; span only
   std::optional< TunnelConfig > tunnel; // erspan only
   uint32_t rateKbps = 0;                // limit of its copies in kilobits per second; 0: none
   // CoS queue of its copies, 0 to 7; none: as the chip is set.
   std::optional< uint8_t > queue;
   // Why this agent cannot serve the session although it is well formed; the rest runs.
   std::optional< std::string > refused;
   Place place;
   // Rules that limit match IPv4 headers only.
   bool rateIsEnforced() const {
      return rateKbps != 0 &&
            ( !tunnel || tunnel->dstIp.family() == Plix::AddressFamily::ipv4 );
   }
   bool operator==( const SessionConfig& ) const = default;
};

struct Configuration {
   std::map< int, ChipConfig > chips; // by unit; at least one
   std::map< std::string, PortConfig > ports;
   std::map< std::string, PortChannelConfig > portChannels;
   std::map< uint16_t, VlanConfig > vlans;
   std::map< std::pair< uint16_t, Plix::EthAddr >, FdbConfig > fdb;
   RoutingConfig routing;
   std::map< std::string, SessionConfig > sessions; // served in this order

   // The interface's unit; -1 if there is no such port or port channel.
   int unitOf( const std::string& interface ) const;
   // "Vlan10"; null if there is no such VLAN.
   const VlanConfig* vlanNamed( std::string_view name ) const;
   // The port's channel; null if it is in none.
   const PortChannelConfig* channelOf( const std::string& port ) const;
   bool operator==( const Configuration& ) const = default;
};

// What is wrong, or worth knowing, and where: "FILE:LINE: text".
struct Diagnostic {
   Place place;
   std::string text; // "TABLE|KEY: field: what is wrong; allowed: what is allowed"
   std::string toString() const;
};

} // namespace Agent
