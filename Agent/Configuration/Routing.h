#pragma once

// What a configuration says about the routes of tunnels: addresses of interfaces, static
// routes, neighbours.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Plix/EthAddr.h"
#include "Platform/Plix/IpGenAddr.h"

namespace Agent {

// A network: the bits behind the prefix are zero.
struct IpPrefix {
   Plix::IpGenAddr network;
   int length = 0;
   std::string toString() const; // "10.0.0.0/8"
   auto operator<=>( const IpPrefix& ) const = default;
};

// The network that an address is in.
IpPrefix prefixOf( const Plix::IpGenAddr& address, int length );

struct InterfaceAddress {
   std::string interface; // a port, a port channel, "Vlan10"
   Plix::IpGenAddr address;
   IpPrefix subnet;
   bool operator==( const InterfaceAddress& ) const = default;
};

struct NextHop {
   Plix::IpGenAddr address; // of no family: the destination itself is on the interface
   std::string interface;   // empty: the one with the address's subnet
   bool operator==( const NextHop& ) const = default;
};

// A route whose next hops have several distances stands as one for each of them.
struct StaticRoute {
   IpPrefix prefix;
   std::vector< NextHop > nextHops; // in the order of preference; not empty unless a blackhole
   int distance = 0;                // the lower one is preferred
   bool isBlackhole = false;
   bool operator==( const StaticRoute& ) const = default;
};

struct RoutingConfig {
   std::vector< InterfaceAddress > addresses;
   std::vector< StaticRoute > routes;
   std::map< std::pair< std::string, Plix::IpGenAddr >, Plix::EthAddr > neighbours;
   std::optional< Plix::EthAddr > routerMac; // that outer frames are sent from
   bool operator==( const RoutingConfig& ) const = default;
};

} // namespace Agent
