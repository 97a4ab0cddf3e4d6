#include "Agent/Publisher/Wanted.h"

#include <algorithm>

namespace Agent {

using KarvelMirror::Direction;
using KarvelMirror::SourcePort;

namespace {

class Deriver {
 public:
   Deriver( const Configuration& configuration, int unit, const MtpUse& use )
         : configuration_( configuration ),
           session_( configuration.sessions.at( use.session ) ), unit_( unit ),
           direction_( use.direction ) {}

   WantedMtp derive() {
      target();
      if ( session_.mirrorsSources && mirrorsSourcesIn( direction_ ) ) {
         sources();
      }
      if ( direction_ == Direction::ingress ) {
         wanted_.acls = session_.acls;
         matches();
      }
      return wanted_;
   }

 private:
   // A session that mirrors what its sources send may be fed by ACLs, too: these work on what is
   // received.
   bool mirrorsSourcesIn( Direction direction ) const {
      return session_.direction == SessionDirection::both ||
            ( session_.direction == SessionDirection::rx ) == ( direction == Direction::ingress );
   }

   int portNumber( const std::string& name ) const {
      return configuration_.ports.at( name ).chipPort;
   }

   void target() {
      auto channel = configuration_.portChannels.find( session_.destination );
      if ( channel != configuration_.portChannels.end() ) {
         wanted_.target = { Shim::MirrorDestination::Kind::trunk, channel->second.trunk };
      } else {
         wanted_.target = { Shim::MirrorDestination::Kind::port,
            portNumber( session_.destination ) };
      }
   }

   void sources() {
      const auto modId = static_cast< uint32_t >( unit_ );
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

   const Configuration& configuration_;
   const SessionConfig& session_;
   const int unit_;
   const Direction direction_;
   WantedMtp wanted_;
};

} // namespace

bool WantedMtp::editsAclOf( const WantedMtp& before ) const {
   return std::any_of( acls.begin(), acls.end(), [ & ]( const SessionAcl& acl ) {
      return std::any_of(
            before.acls.begin(), before.acls.end(), [ & ]( const SessionAcl& old ) {
               return old.key == acl.key && !( old.rules == acl.rules ) && !( old == acl );
            } );
   } );
}

WantedMtp wantedMtp( const Configuration& configuration, int unit, const MtpUse& use ) {
   return Deriver( configuration, unit, use ).derive();
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
