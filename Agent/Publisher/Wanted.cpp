#include "Agent/Publisher/Wanted.h"

#include <algorithm>

#include "ChipModel/Profile.h"
#include "Platform/KarvelMirror/KarvelChipAttributesMirror.h"

namespace Agent {

using KarvelMirror::Direction;
using KarvelMirror::SourcePort;

namespace {

// Ethernet with a tag, IPv6, and GRE with a key: the longest headers there are.
constexpr uint32_t ethernetBytes = 14;
constexpr uint32_t tagBytes = 4;
constexpr uint32_t ip4Bytes = 20;
constexpr uint32_t ip6Bytes = 40;
constexpr uint32_t greBytes = 4;
constexpr uint32_t greKeyBytes = 4;
static_assert( ethernetBytes + tagBytes + ip6Bytes + greBytes + greKeyBytes <=
      KarvelMirror::longestInsertedHeader );

uint32_t headerBytes( const Shim::MirrorTunnel& tunnel ) {
   const bool isIp4 = tunnel.srcIp.family() == Plix::AddressFamily::ipv4;
   return ethernetBytes + ( tunnel.vid != 0 ? tagBytes : 0 ) + ( isIp4 ? ip4Bytes : ip6Bytes ) +
         greBytes + ( tunnel.greKey ? greKeyBytes : 0 );
}

class Deriver {
 public:
   Deriver( const Configuration& configuration, const Resolver& resolver, KarvelMirror::Mtp mtp,
         const MtpUse& use, GreKeyUse keys, const std::optional< NextHop >& keptHop )
         : configuration_( configuration ), resolver_( resolver ),
           session_( configuration.sessions.at( use.session ) ), mtp_( mtp ),
           direction_( use.direction ), keys_( keys ), keptHop_( keptHop ) {}

   WantedMtp derive() {
      if ( session_.tunnel ) {
         tunnel( *session_.tunnel );
      } else {
         target();
      }
      if ( session_.mirrorsSources && mirrorsSourcesIn( direction_ ) ) {
         sources();
      }
      if ( direction_ == Direction::ingress ) {
         wanted_.acls = session_.acls;
         matches();
         filteredPorts();
      }
      if ( wanted_.target ) {
         wanted_.target->queue = session_.queue;
      }
      return wanted_;
   }

 private:
   // A session that mirrors what its sources send may be fed by ACLs, too: these work on what is
   // received.
   bool mirrorsSourcesIn( Direction direction ) const {
      return session_.direction == SessionDirection::both ||
            ( session_.direction == SessionDirection::rx ) ==
            ( direction == Direction::ingress );
   }

   int portNumber( const std::string& name ) const {
      constexpr int cpuPort = 0;
      return name == cpuDestination ? cpuPort : configuration_.ports.at( name ).chipPort;
   }

   void target() {
      auto channel = configuration_.portChannels.find( session_.destination );
      if ( channel != configuration_.portChannels.end() ) {
         wanted_.target = { Shim::MirrorDestination::Kind::trunk, channel->second.trunk };
         addDstPorts( channel->second.members );
      } else {
         wanted_.target = { Shim::MirrorDestination::Kind::port,
            portNumber( session_.destination ) };
         addDstPorts( { session_.destination } );
      }
   }

   void tunnel( const TunnelConfig& tunnel ) {
      KarvelMirror::TunnelParameters parameters;
      parameters.srcIpIs( tunnel.srcIp );
      parameters.dstIpIs( tunnel.dstIp );
      parameters.greProtocolIs( tunnel.greProtocol );
      parameters.dscpIs( tunnel.dscp );
      parameters.ttlIs( tunnel.ttl );
      wanted_.tunnel = parameters;
      Resolution found = resolver_.routeTo( session_.unit, tunnel.dstIp, keptHop_ );
      if ( const std::string* why = std::get_if< std::string >( &found ) ) {
         wanted_.route = *why;
         return;
      }
      const TunnelRoute& route = std::get< TunnelRoute >( found );
      wanted_.route = route.text + ", " + route.interface;
      wanted_.hop = route.hop;
      wanted_.target = { route.kind, route.id, headers( tunnel, route ), {} };
      wanted_.headerSize = headerBytes( *wanted_.target->tunnel );
      addDstPorts( route.ports );
   }

   Shim::MirrorTunnel headers( const TunnelConfig& tunnel, const TunnelRoute& route ) const {
      Shim::MirrorTunnel result;
      result.srcMac = configuration_.routing.routerMac.value_or( ownMac() );
      result.dstMac = route.nextHop;
      result.vid = route.vid;
      result.srcIp = tunnel.srcIp;
      result.dstIp = tunnel.dstIp;
      result.trafficClass = static_cast< uint8_t >( tunnel.dscp << 2 );
      result.ttl = tunnel.ttl;
      result.greProtocol = tunnel.greProtocol;
      if ( keys_ == GreKeyUse::sent ) {
         result.greKey = tunnel.greKey;
      }
      const ChipModel::Profile& profile =
            *ChipModel::chipProfile( configuration_.chips.at( session_.unit ).profile );
      if ( profile.logicalTables ) {
         result.insertProfile = profile.mirrorEditIdBase +
               static_cast< int32_t >( KarvelMirror::insertProfileOf( tunnelOf( mtp_ ) ) );
      }
      return result;
   }
   // Locally administered (IEEE 802, 8.2), one for each chip.
   Plix::EthAddr ownMac() const {
      return Plix::EthAddr( { 0x02, 0, 0, 0, 0, static_cast< uint8_t >( session_.unit ) } );
   }

   void addDstPorts( const std::vector< std::string >& ports ) {
      for ( const std::string& name : ports ) {
         KarvelMirror::DstPort port;
         port.portIs( KarvelTypes::KarvelPort(
               static_cast< uint32_t >( session_.unit ), portNumber( name ) ) );
         port.tunnelIdxIs( session_.tunnel ? mtp_.value() : -1 );
         port.rateIs( session_.rateIsEnforced() ? session_.rateKbps : 0 );
         wanted_.dstPorts.insert( port );
         wanted_.isTagged = wanted_.isTagged ||
               ( session_.tunnel &&
                     session_.tunnel->dstIp.family() == Plix::AddressFamily::ipv4 &&
                     configuration_.ports.at( name ).channel );
      }
   }

   void sources() {
      const auto modId = static_cast< uint32_t >( session_.unit );
      for ( const std::string& source : session_.sources ) {
         auto channel = configuration_.portChannels.find( source );
         if ( channel == configuration_.portChannels.end() ) {
            wanted_.sources.insert( SourcePort::ofPort( modId, portNumber( source ) ) );
         } else if ( direction_ == Direction::ingress ) {
            for ( const std::string& member : channel->second.members ) {
               wanted_.sources.insert( SourcePort::ofPort( modId, portNumber( member ) ) );
            }
         } else if ( !channel->second.members.empty() ) {
            // Without members there is nothing to match; when the first one comes this is a
            // change of sources.
            wanted_.sources.insert( SourcePort::ofTrunk( channel->second.trunk ) );
         }
      }
   }

   void matches() {
      for ( const SessionMatch& match : session_.matches ) {
         KarvelMirror::IpMatch ipMatch;
         ipMatch.srcIpIs( match.srcIp );
         ipMatch.srcIpMaskIs( match.srcIpMask );
         ipMatch.dstIpIs( match.dstIp );
         ipMatch.dstIpMaskIs( match.dstIpMask );
         wanted_.matches.insert( ipMatch );
      }
      if ( session_.matches.empty() ) {
         return;
      }
      for ( const Plix::IntfId& interface : session_.filteredInterfaces ) {
         wanted_.matchInterfaces.insert( interface );
      }
   }

   void filteredPorts() {
      const auto add = [ & ]( const Plix::IntfId& interface ) {
         wanted_.filteredPorts[ interface.port() ] = portNumber( interface.port() );
      };
      for ( const SessionAcl& acl : wanted_.acls ) {
         std::ranges::for_each( acl.interfaces, add );
      }
      for ( const Plix::IntfId& interface : wanted_.matchInterfaces ) {
         add( interface );
      }
   }

   const Configuration& configuration_;
   const Resolver& resolver_;
   const SessionConfig& session_;
   const KarvelMirror::Mtp mtp_;
   const Direction direction_;
   const GreKeyUse keys_;
   const std::optional< NextHop >& keptHop_;
   WantedMtp wanted_;
};

} // namespace

bool WantedMtp::startsAfresh( const WantedMtp& before ) const {
   const bool portMoved = std::ranges::any_of( filteredPorts, [ & ]( const auto& port ) {
      const auto old = before.filteredPorts.find( port.first );
      return old != before.filteredPorts.end() && old->second != port.second;
   } );
   return portMoved || std::any_of( acls.begin(), acls.end(), [ & ]( const SessionAcl& acl ) {
      return std::any_of(
            before.acls.begin(), before.acls.end(), [ & ]( const SessionAcl& old ) {
               return old.key == acl.key && !( old.rules == acl.rules ) && !( old == acl );
            } );
   } );
}

std::optional< KarvelMirror::RateLimitKind > WantedMtp::egressRules() const {
   if ( !isLimited() && !isTagged ) {
      return {};
   }
   return tunnel ? KarvelMirror::RateLimitKind::gre : KarvelMirror::RateLimitKind::port;
}

KarvelMirror::TunnelId tunnelOf( KarvelMirror::Mtp mtp ) {
   return KarvelMirror::TunnelId( mtp.value() );
}

WantedMtp wantedMtp( const Configuration& configuration, const Resolver& resolver,
      KarvelMirror::Mtp mtp, const MtpUse& use, GreKeyUse keys,
      const std::optional< NextHop >& keptHop ) {
   return Deriver( configuration, resolver, mtp, use, keys, keptHop ).derive();
}

std::vector< Direction > directionsOf( const SessionConfig& session ) {
   const bool isFiltered = !session.acls.empty() || !session.matches.empty();
   std::vector< Direction > directions;
   if ( session.direction != SessionDirection::tx || isFiltered ) {
      directions.push_back( Direction::ingress );
   }
   if ( session.direction != SessionDirection::rx ) {
      directions.push_back( Direction::egress );
   }
   return directions;
}

} // namespace Agent
