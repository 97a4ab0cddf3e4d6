// MIRROR_SESSION: what is mirrored where to. A session that is malformed is an error; one
// that is well formed and asks for what this agent does not have is refused by itself.

#include <algorithm>
#include <limits>
#include <set>

#include "Agent/Configuration/Draft.h"
#include "Agent/Configuration/Names.h"
#include "Platform/Plix/Ip6Addr.h"
#include "Platform/Plix/IpAddr.h"
#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

constexpr size_t longestName = 32;
constexpr int64_t any32Bits = std::numeric_limits< uint32_t >::max();

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
   void checkRepeated();
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
   std::vector< std::string > reasons_; // why the session cannot be served
};

void SessionReader::read() {
   if ( !isSessionName( session_.name ) ) {
      reader_.error( "not a session's name; allowed: up to " + std::to_string( longestName ) +
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
   readFilters( draft_, reader_, session_, reasons_ );
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
   const auto named = draft_.find( interface );
   ZOL_ASSERT( named );
   std::vector< std::string > ports{ named->base };
   auto channel = config().portChannels.find( named->base );
   if ( channel != config().portChannels.end() ) {
      const auto& members = channel->second.members;
      ports.insert( ports.end(), members.begin(), members.end() );
   }
   return ports;
}

void SessionReader::readSources() {
   const bool isFiltered = reader_.has( "acl" ) || reader_.has( "match" );
   std::set< std::string > known;
   for ( const std::string& source : draft_.interfaceList( reader_, "src_port" ) ) {
      if ( !isFiltered && !draft_.isInterface( source ) ) {
         reader_.error( "src_port",
               source + " is a sub-interface; allowed: in a session that filters by acl" );
      } else if ( !known.insert( source ).second ) {
         reader_.error( "src_port", source + " is repeated; allowed: once" );
      } else {
         session_.sources.push_back( source );
      }
   }
   checkRepeated();
}

// A port also as a member of its port channel, a sub-interface also with its port.
void SessionReader::checkRepeated() {
   std::map< std::string, std::vector< std::pair< uint16_t, std::string > > > byPort;
   for ( const std::string& source : session_.sources ) {
      std::string sharing; // said once for two sources
      for ( const Plix::IntfId& part : draft_.interfacesOf( { source } ) ) {
         auto& seen = byPort[ part.port() ];
         for ( const auto& [ vlanId, other ] : seen ) {
            const bool overlap = !vlanId || !part.isSubIntf() || vlanId == part.vlanId();
            if ( overlap && sharing != other ) {
               reader_.error( "src_port",
                     source + " is repeated, it shares " + part.port() + " with " + other +
                           "; allowed: once" );
               sharing = other;
            }
         }
         seen.emplace_back( part.vlanId(), source );
      }
   }
}

void SessionReader::readDestination() {
   if ( session_.type == SessionType::erspan ) {
      if ( reader_.has( "dst_port" ) ) {
         reader_.error( "dst_port", "of no use to an ERSPAN session; allowed: with type SPAN" );
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
      const int sourceUnit = config().unitOf( draft_.find( source )->base );
      if ( sourceUnit != unit ) {
         reasons_.push_back( source + " is on chip " + std::to_string( sourceUnit ) +
               ", the destination " + session_.destination + " on chip " +
               std::to_string( unit ) );
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
            reader_.error( field, "of no use to a SPAN session; allowed: with type ERSPAN" );
         }
      }
      return;
   }
   const Family from = readAddress( "src_ip" );
   const Family to = readAddress( "dst_ip" );
   if ( from != Family::none && to != Family::none && from != to ) {
      reader_.error( "dst_ip", "not of the family of src_ip; allowed: both IPv4 or both IPv6" );
   }
   reader_.number( "gre_type", 0, 65535 );
   reader_.number( "dscp", 0, 63 );
   reader_.number( "ttl", 0, 255 );
   reader_.number( "gre_key", 0, any32Bits );
   reader_.number( "sample_rate", 0, any32Bits );
   reader_.number( "truncate_size", 0, any32Bits );
}

void SessionReader::readOthers() {
   session_.queue = static_cast< int >( reader_.number( "queue", 0, 7 ).value_or( 0 ) );
   reader_.number( "rate_kbps", 1, any32Bits );
}

void SessionReader::refuse() {
   if ( session_.type == SessionType::erspan ) {
      reasons_.push_back( "ERSPAN sessions are not supported yet" );
   }
   const std::pair< std::string_view, std::string_view > unsupported[] = {
      { "policer", "policers are not supported yet" },
      { "sample_rate", "this chip cannot sample" },
      { "truncate_size", "this chip cannot truncate" },
      { "rate_kbps", "a limit of the rate (rate_kbps) is not supported yet" },
   };
   for ( const auto& [ field, reason ] : unsupported ) {
      if ( reader_.has( field ) ) {
         reasons_.emplace_back( reason );
      }
   }
   if ( reasons_.empty() ) {
      return;
   }
   session_.refused = joined( reasons_, "; " );
   reader_.warning( "refused: " + *session_.refused );
}

} // namespace

void readSessions( Draft& draft ) {
   for ( const Table::value_type* session : draft.entries( "MIRROR_SESSION" ) ) {
      SessionReader( draft, session->first, session->second ).read();
   }
}

} // namespace Agent
