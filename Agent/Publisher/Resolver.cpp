#include "Agent/Publisher/Resolver.h"

#include <algorithm>

namespace Agent {

Resolver::Resolver( const Configuration& configuration, const PortStates& states )
      : configuration_( configuration ), states_( states ) {
   for ( const InterfaceAddress& own : configuration.routing.addresses ) {
      add( { own.subnet, true, false, 0, { { {}, own.interface } } } );
      interfaceByOwn_.try_emplace( own.address, own.interface );
   }
   for ( const StaticRoute& route : configuration.routing.routes ) {
      add( { route.prefix, false, route.isBlackhole, route.distance, route.nextHops } );
   }
}

void Resolver::add( const Route& route ) {
   std::vector< Route >& same = byLength_[ route.prefix.length ][ route.prefix.network ];
   const auto order = []( const Route& left, const Route& right ) {
      return left.isConnected != right.isConnected ? left.isConnected
                                                   : left.distance < right.distance;
   };
   same.insert( std::upper_bound( same.begin(), same.end(), route, order ), route );
}

Resolution Resolver::routeTo( int unit, const Plix::IpGenAddr& destination,
      const std::optional< NextHop >& keptHop ) const {
   const auto own = interfaceByOwn_.find( destination );
   if ( own != interfaceByOwn_.end() ) {
      return destination.toString() + " is an address of this switch (" + own->second + ")";
   }
   std::string why; // of the best route, which does not count because of this
   for ( const auto& [ length, routes ] : byLength_ ) {
      for ( const Route& route : routesTo( destination, length, routes ) ) {
         Resolution found = isUsable( route ) ? follow( route, unit, destination, keptHop )
                                              : downText( route );
         if ( std::holds_alternative< TunnelRoute >( found ) || decides( route ) ) {
            return found;
         }
         if ( why.empty() ) {
            why = std::get< std::string >( found );
         }
      }
   }
   return why.empty() ? "no route to " + destination.toString() : why;
}

// Whether no other route is asked: frames for a subnet that is up go nowhere else.
bool Resolver::decides( const Route& route ) const {
   return route.isBlackhole || ( route.isConnected && isUsable( route ) );
}

std::span< const Resolver::Route > Resolver::routesTo(
      const Plix::IpGenAddr& destination, int length, const Routes& routes ) const {
   const int longest = destination.family() == Plix::AddressFamily::ipv4 ? 32 : 128;
   if ( length > longest ) {
      return {};
   }
   const auto at = routes.find( prefixOf( destination, length ).network );
   return at == routes.end() ? std::span< const Route >() : at->second;
}

std::string Resolver::interfaceOf( const NextHop& hop ) const {
   return hop.interface.empty() ? connectedTo( hop.address ) : hop.interface;
}

std::string Resolver::downText( const Route& route ) const {
   std::string text;
   for ( const NextHop& hop : route.nextHops ) {
      text += ( text.empty() ? "" : ", " ) + whyDown( interfaceOf( hop ) ).value_or( "" );
   }
   return text + " (" + route.prefix.toString() + ")";
}

bool Resolver::isUsable( const Route& route ) const {
   return route.isBlackhole ||
         std::any_of(
               route.nextHops.begin(), route.nextHops.end(), [ & ]( const NextHop& hop ) {
                  const std::string interface = interfaceOf( hop );
                  return interface.empty() || !whyDown( interface );
               } );
}

std::optional< std::string > Resolver::whyDown( const std::string& interface ) const {
   const VlanConfig* vlan = configuration_.vlanNamed( interface );
   if ( !vlan ) {
      return states_.whyDown( configuration_, interface );
   }
   const bool someUp =
         std::ranges::any_of( vlan->members, [ & ]( const VlanMemberConfig& member ) {
            return states_.isUp( configuration_, member.interface );
         } );
   return someUp
         ? std::nullopt
         : std::optional( vlan->members.empty() ? interface + " has no members"
                                                : "all members of " + interface + " are down" );
}

// Of one network, connected routes are in front.
std::string Resolver::connectedTo( const Plix::IpGenAddr& address ) const {
   for ( const auto& [ length, routes ] : byLength_ ) {
      const auto found = routesTo( address, length, routes );
      if ( !found.empty() && found.front().isConnected ) {
         return found.front().nextHops.front().interface;
      }
   }
   return "";
}

Resolution Resolver::follow( const Route& route, int unit, const Plix::IpGenAddr& destination,
      const std::optional< NextHop >& keptHop ) const {
   if ( route.isBlackhole ) {
      return route.prefix.toString() + " is a blackhole route";
   }
   std::vector< NextHop > hops = route.nextHops;
   std::stable_partition( hops.begin(), hops.end(), [ & ]( const NextHop& hop ) {
      return keptHop == NextHop{ hop.address, interfaceOf( hop ) };
   } );
   std::string why;
   for ( const NextHop& hop : hops ) {
      Resolution resolution = reach( hop, unit, destination );
      if ( auto* found = std::get_if< TunnelRoute >( &resolution ) ) {
         found->text = route.prefix.toString() + hopText( hop, *found );
         return resolution;
      }
      why += ( why.empty() ? "" : "; " ) + std::get< std::string >( resolution );
   }
   return why;
}

std::string Resolver::hopText( const NextHop& hop, const TunnelRoute& found ) {
   if ( hop.address.family() != Plix::AddressFamily::unknown ) {
      return " via " + hop.address.toString();
   }
   return hop.interface == found.interface ? " attached" : " attached to " + hop.interface;
}

Resolution Resolver::reach(
      const NextHop& hop, int unit, const Plix::IpGenAddr& destination ) const {
   const bool isDirect = hop.address.family() == Plix::AddressFamily::unknown;
   const Plix::IpGenAddr& address = isDirect ? destination : hop.address;
   const std::string what = ( isDirect ? "" : "the next hop " ) + address.toString();
   const std::string interface = interfaceOf( hop );
   if ( interface.empty() ) {
      return what + " is in no connected subnet";
   }
   const auto& neighbours = configuration_.routing.neighbours;
   const auto neighbour = neighbours.find( { interface, address } );
   if ( neighbour == neighbours.end() ) {
      return "no neighbour entry for " + what + " on " + interface;
   }
   TunnelRoute found;
   found.hop = { hop.address, interface };
   found.nextHop = neighbour->second;
   const std::string why = leaveBy( interface, unit, found );
   if ( !why.empty() ) {
      return why;
   }
   return found;
}

std::string Resolver::leaveBy(
      const std::string& interface, int unit, TunnelRoute& found ) const {
   if ( const VlanConfig* vlan = configuration_.vlanNamed( interface ) ) {
      return leaveByVlan( *vlan, unit, found );
   }
   if ( const std::optional< std::string > why = whyDown( interface ) ) {
      return *why;
   }
   const int itsUnit = configuration_.unitOf( interface );
   if ( itsUnit != unit ) {
      return interface + " is on chip " + std::to_string( itsUnit ) + ", the session on chip " +
            std::to_string( unit );
   }
   found.interface = interface;
   const auto channel = configuration_.portChannels.find( interface );
   if ( channel == configuration_.portChannels.end() ) {
      found.kind = Shim::MirrorDestination::Kind::port;
      found.id = configuration_.ports.at( interface ).chipPort;
      found.ports = { interface };
   } else {
      found.kind = Shim::MirrorDestination::Kind::trunk;
      found.id = channel->second.trunk;
      found.ports = channel->second.members;
   }
   return {};
}

// The next hop is behind the member that the address table says.
std::string Resolver::leaveByVlan(
      const VlanConfig& vlan, int unit, TunnelRoute& found ) const {
   const std::string name = "Vlan" + std::to_string( vlan.id );
   const auto address = configuration_.fdb.find( { vlan.id, found.nextHop } );
   if ( address == configuration_.fdb.end() ) {
      return "no FDB entry for the next hop's " + found.nextHop.toString() + " in " + name;
   }
   const std::string& interface = address->second.interface;
   for ( const VlanMemberConfig& member : vlan.members ) {
      if ( member.interface == interface && member.tagged ) {
         found.vid = vlan.id;
      }
   }
   return leaveBy( interface, unit, found );
}

} // namespace Agent
