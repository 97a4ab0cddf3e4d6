// MIRROR_SESSION: what is mirrored where to. A session that is malformed is an error; one
// that is well formed and asks for what this agent does not have is refused by itself.

#include <algorithm>
#include <limits>
#include <set>

#include "Agent/Configuration/Draft.h"
#include "Agent/Configuration/Names.h"
#include "Platform/Plix/Ip6Addr.h"
#include "Platform/Plix/IpAddr.h"

namespace Agent {

namespace {

constexpr size_t longestName = 32;
constexpr int64_t any32Bits = std::numeric_limits< uint32_t >::max();

bool isLetterOrDigit( char c ) {
   return ( c >= '0' && c <= '9' ) || ( c >= 'A' && c <= 'Z' ) || ( c >= 'a' && c <= 'z' );
}

bool isSessionName( const std::string& name ) {
   return !name.empty() && name.size() <= longestName && isLetterOrDigit( name[ 0 ] ) &&
         std::all_of( name.begin(), name.end(),
               []( char c ) { return isLetterOrDigit( c ) || c == '-' || c == '_'; } );
}

// Fields of the tunnel that a mirrored packet travels in, and what comes with it.
constexpr std::string_view erspanFields[] = { "src_ip", "dst_ip", "gre_type", "dscp", "ttl",
   "gre_key", "sample_rate", "truncate_size" };

enum class Family : uint8_t { none, ip4, ip6 };

Family familyOf( const std::string& address ) {
   return Plix::IpAddr::fromString( address )   ? Family::ip4
         : Plix::Ip6Addr::fromString( address ) ? Family::ip6
                                                : Family::none;
}

class SessionReader {
 public:
   SessionReader( Draft& draft, const std::string& name, const Entry& entry )
         : draft_( draft ), reader_( "MIRROR_SESSION", name, entry, draft.findings ) {
      session_.name = name;
      session_.place = entry.place;
   }
   void read();

 private:
   void readType();
   void readSources();
   void readDestination();
   void checkDestination();
   void checkLoop();
   void checkChip();
   void readTunnel();
   Family readAddress( std::string_view field );
   void readOthers();
   void refuse();

   // The port, or the port channel's members and the port channel.
   std::vector< std::string > portsOf( const std::string& interface ) const;
   const Configuration& config() const { return draft_.configuration; }

   Draft& draft_;
   EntryReader reader_;
   SessionConfig session_;
};

void SessionReader::read() {
   if ( !isSessionName( session_.name ) ) {
      reader_.error( "not a session's name; allowed: up to " +
            std::to_string( longestName ) +
            " letters, digits, '-' and '_', the first a letter or digit" );
   }
   readType();
   session_.direction =
         reader_
               .choice< SessionDirection >( "direction",
                     { { "RX", SessionDirection::rx }, { "TX", SessionDirection::tx },
                           { "BOTH", SessionDirection::both } } )
               .value_or( SessionDirection::both );
   readSources();
   readDestination();
   readTunnel();
   readOthers();
   refuse();
   draft_.configuration.sessions[ session_.name ] = session_;
}

// Files in the field leave the type out of SPAN sessions although ERSPAN is the default; a
// destination port tells.
void SessionReader::readType() {
   const bool hasTunnel = std::any_of( std::begin( erspanFields ), std::end( erspanFields ),
         [ this ]( std::string_view field ) { return reader_.has( field ); } );
   const SessionType likely =
         reader_.has( "dst_port" ) && !hasTunnel ? SessionType::span : SessionType::erspan;
   session_.type =
         reader_
               .choice< SessionType >( "type",
                     { { "SPAN", SessionType::span }, { "ERSPAN", SessionType::erspan } } )
               .value_or( likely );
}

std::vector< std::string > SessionReader::portsOf( const std::string& interface ) const {
   std::vector< std::string > ports{ interface };
   auto channel = config().portChannels.find( interface );
   if ( channel != config().portChannels.end() ) {
      const auto& members = channel->second.members;
      ports.insert( ports.end(), members.begin(), members.end() );
   }
   return ports;
}

void SessionReader::readSources() {
   std::set< std::string > known;
   for ( const std::string& source : reader_.list( "src_port" ) ) {
      if ( !draft_.isInterface( source ) ) {
         draft_.unknownInterface( reader_, "src_port", source );
         continue;
      }
      if ( !known.insert( source ).second ) {
         reader_.error( "src_port", source + " is repeated; allowed: once" );
         continue;
      }
      session_.sources.push_back( source );
   }
   for ( const std::string& source : session_.sources ) {
      auto channel = draft_.channelByPort.find( source );
      if ( channel != draft_.channelByPort.end() && known.contains( channel->second ) ) {
         reader_.error( "src_port",
               source + " is repeated as a member of " + channel->second +
                     "; allowed: once" );
      }
   }
}

void SessionReader::readDestination() {
   if ( session_.type == SessionType::erspan ) {
      if ( reader_.has( "dst_port" ) ) {
         reader_.error(
               "dst_port", "of no use to an ERSPAN session; allowed: with type SPAN" );
      }
      return;
   }
   session_.destination = reader_.text( "dst_port" );
   if ( !reader_.has( "dst_port" ) ) {
      reader_.error( "dst_port",
            "missing; allowed: a port of PORT or a port channel of "
            "PORTCHANNEL" );
   } else if ( !draft_.isInterface( session_.destination ) ) {
      draft_.unknownInterface( reader_, "dst_port", session_.destination );
   } else {
      checkDestination();
      checkLoop();
      checkChip();
   }
}

void SessionReader::checkDestination() {
   const std::string& destination = session_.destination;
   auto vlan = draft_.vlanByInterface.find( destination );
   if ( vlan != draft_.vlanByInterface.end() ) {
      reader_.error( "dst_port",
            destination + " is in Vlan" + std::to_string( vlan->second ) +
                  "; allowed: a port that is in no VLAN" );
   }
   auto channel = draft_.channelByPort.find( destination );
   if ( channel != draft_.channelByPort.end() ) {
      reader_.error( "dst_port",
            destination + " is a member of " + channel->second +
                  "; allowed: a port that is in no port channel" );
   }
}

void SessionReader::checkLoop() {
   const std::vector< std::string > ends = portsOf( session_.destination );
   for ( const std::string& source : session_.sources ) {
      for ( const std::string& port : portsOf( source ) ) {
         if ( std::find( ends.begin(), ends.end(), port ) == ends.end() ) {
            continue;
         }
         const bool same = source == session_.destination;
         reader_.error( "dst_port",
               session_.destination +
                     ( same ? " is a source"
                            : " shares " + port + " with the source " + source ) +
                     ", its copies would be mirrored again; allowed: a port that is no "
                     "source" );
         return;
      }
   }
}

// The copies are made inside a chip.
void SessionReader::checkChip() {
   const int unit = config().unitOf( session_.destination );
   for ( const std::string& source : session_.sources ) {
      if ( config().unitOf( source ) != unit ) {
         reader_.error( "src_port",
               source + " is on chip " + std::to_string( config().unitOf( source ) ) +
                     ", the destination " + session_.destination + " on chip " +
                     std::to_string( unit ) +
                     "; allowed: sources on the destination's chip" );
         return;
      }
   }
}

Family SessionReader::readAddress( std::string_view field ) {
   const Family family = familyOf( reader_.text( field ) );
   if ( !reader_.has( field ) ) {
      reader_.error( field,
            "missing; allowed: an IPv4 or IPv6 address (an ERSPAN session "
            "needs src_ip and dst_ip, a SPAN session dst_port)" );
   } else if ( family == Family::none ) {
      reader_.error( field, "no address; allowed: an IPv4 or IPv6 address" );
   }
   return family;
}

void SessionReader::readTunnel() {
   if ( session_.type == SessionType::span ) {
      for ( std::string_view field : erspanFields ) {
         if ( reader_.has( field ) ) {
            reader_.error(
                  field, "of no use to a SPAN session; allowed: with type ERSPAN" );
         }
      }
      return;
   }
   const Family from = readAddress( "src_ip" );
   const Family to = readAddress( "dst_ip" );
   if ( from != Family::none && to != Family::none && from != to ) {
      reader_.error(
            "dst_ip", "not of the family of src_ip; allowed: both IPv4 or both IPv6" );
   }
   reader_.number( "gre_type", 0, 65535 );
   reader_.number( "dscp", 0, 63 );
   reader_.number( "ttl", 0, 255 );
   reader_.number( "gre_key", 0, any32Bits );
   reader_.number( "sample_rate", 0, any32Bits );
   reader_.number( "truncate_size", 0, any32Bits );
}

void SessionReader::readOthers() {
   const auto queue = reader_.number( "queue", 0, 7 );
   if ( queue.value_or( 0 ) != 0 ) {
      reader_.warning( "queue", "the copies leave by queue 0; this chip has one queue" );
   }
   reader_.number( "rate_kbps", 1, any32Bits );
}

void SessionReader::refuse() {
   std::vector< std::string > reasons;
   if ( session_.type == SessionType::erspan ) {
      reasons.push_back( "ERSPAN sessions are not supported yet" );
   }
   const std::pair< std::string_view, std::string_view > unsupported[] = {
      { "policer", "policers are not supported yet" },
      { "sample_rate", "this chip cannot sample" },
      { "truncate_size", "this chip cannot truncate" },
      { "rate_kbps", "a limit of the rate (rate_kbps) is not supported yet" },
      { "acl", "mirroring by an ACL is not supported yet" },
      { "match", "mirroring by a match is not supported yet" },
   };
   for ( const auto& [ field, reason ] : unsupported ) {
      if ( reader_.has( field ) ) {
         reasons.emplace_back( reason );
      }
   }
   if ( session_.sources.empty() ) {
      reasons.push_back(
            "fed by ACL rules only (it has no src_port), which is not supported yet" );
   }
   if ( reasons.empty() ) {
      return;
   }
   std::string& refused = session_.refused.emplace();
   for ( const std::string& reason : reasons ) {
      refused += ( refused.empty() ? "" : "; " ) + reason;
   }
   reader_.warning( "refused: " + refused );
}

} // namespace

void readSessions( Draft& draft ) {
   for ( const Table::value_type* session : draft.entries( "MIRROR_SESSION" ) ) {
      SessionReader( draft, session->first, session->second ).read();
   }
}

} // namespace Agent
