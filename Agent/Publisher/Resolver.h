#pragma once

// Finds the route of a tunnel: from the destination address, by the longest prefix among connected
// subnets and static routes, to a next hop, its MAC address, and the port that its frames leave
// by.
//
//    Resolver resolver( configuration, portStates );
//    Resolution found = resolver.routeTo( unit, address );
//    if ( const TunnelRoute* route = std::get_if< TunnelRoute >( &found ) ) ...
//
// Where prefixes are equally long a connected subnet comes first, then the lower distance. A route
// counts while at least one of its interfaces is up and, unless it is connected, one of its next
// hops can be reached: until then a shorter prefix leads. Of several next hops the one is taken
// that was taken before, else the first that can be reached. A next hop is looked for in the
// connected subnets, or on the interface that the route names, and not through other routes.

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "Agent/Configuration/Configuration.h"
#include "Agent/Slices/PortStates.h"
#include "Platform/Shim/SdkTypes.h"

namespace Agent {

struct TunnelRoute {
   Shim::MirrorDestination::Kind kind{};
   int id = 0;                       // port number or trunk id
   std::string interface;            // the port or port channel
   std::vector< std::string > ports; // that frames may leave by: the port, or the members
   uint16_t vid = 0;                 // of the tag that frames need; 0: none
   NextHop hop;                      // with its interface
   Plix::EthAddr nextHop;
   std::string text; // for people: "10.2.0.0/16 via 10.0.0.9"
};

// The route, or why there is none, in one line.
using Resolution = std::variant< TunnelRoute, std::string >;

class Resolver {
 public:
   // Both must outlive this.
   Resolver( const Configuration& configuration, const PortStates& states );

   // Of equal next hops, `keptHop` comes first: copies that flow are not moved.
   Resolution routeTo( int unit, const Plix::IpGenAddr& destination,
         const std::optional< NextHop >& keptHop = {} ) const;

 private:
   struct Route {
      IpPrefix prefix;
      bool isConnected = false;
      bool isBlackhole = false;
      int distance = 0;
      std::vector< NextHop > nextHops;
   };
   // By network; of one network in the order in which they are taken.
   using Routes = std::map< Plix::IpGenAddr, std::vector< Route > >;

   void add( const Route& route );
   // Of one length, by the order in which they are taken; none if there are none.
   std::span< const Route > routesTo(
         const Plix::IpGenAddr& destination, int length, const Routes& routes ) const;
   bool isUsable( const Route& route ) const;
   bool decides( const Route& route ) const;
   std::string downText( const Route& route ) const;
   // Why nothing leaves by a port, port channel or VLAN; none if something can.
   std::optional< std::string > whyDown( const std::string& interface ) const;
   std::string interfaceOf( const NextHop& hop ) const; // empty if there is none
   // The interface with the address's subnet; empty if there is none.
   std::string connectedTo( const Plix::IpGenAddr& address ) const;
   Resolution follow( const Route& route, int unit, const Plix::IpGenAddr& destination,
         const std::optional< NextHop >& keptHop ) const;
   Resolution reach( const NextHop& hop, int unit, const Plix::IpGenAddr& destination ) const;
   static std::string hopText( const NextHop& hop, const TunnelRoute& found );
   // Puts in how frames leave by an interface; why they cannot, or nothing.
   std::string leaveBy( const std::string& interface, int unit, TunnelRoute& found ) const;
   std::string leaveByVlan( const VlanConfig& vlan, int unit, TunnelRoute& found ) const;

   const Configuration& configuration_;
   const PortStates& states_;
   std::map< int, Routes, std::greater<> > byLength_;        // of the prefix; of both families
   std::map< Plix::IpGenAddr, std::string > interfaceByOwn_; // of the switch's own addresses
};

} // namespace Agent
