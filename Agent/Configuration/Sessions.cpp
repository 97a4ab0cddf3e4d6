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

bool isSender( const Plix::IpGenAddr& address ) {
   if ( address.family() == Plix::AddressFamily::ipv4 ) {
      const uint32_t value = address.v4Addr().value();
      return value != 0 && value >> 24 != 127 && value < 0xe0000000; // RFC 1122, 3.2.1.3
   }
   const auto& bytes = address.v6Addr().bytes();
   const bool isLoopback = bytes[ 15 ] == 1 &&
         std::all_of( bytes.begin(), bytes.end() - 1, []( uint8_t b ) { return b == 0; } );
   return address.family() == Plix::AddressFamily::ipv6 && !address.isZero() && !isLoopback &&
         bytes[ 0 ] != 0xff;
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
   Plix::IpGenAddr readAddress( std::string_view field );
   void readRate();
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
   readRate();
   if ( const auto queue = reader_.number( "queue", 0, 7 ) ) {
      session_.queue = static_cast< uint8_t >( *queue );
   }
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
      if ( !session_.sources.empty() ) {
         session_.unit = config().unitOf( draft_.find( session_.sources.front() )->base );
      }
      checkChip();
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
      session_.unit = config().unitOf( session_.destination );
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
   const std::string end = session_.destination.empty()
         ? session_.sources.empty() ? "" : session_.sources.front()
         : "the destination " + session_.destination;
   for ( const std::string& source : session_.sources ) {
      const int sourceUnit = config().unitOf( draft_.find( source )->base );
      if ( sourceUnit != session_.unit ) {
         reasons_.push_back( source + " is on chip " + std::to_string( sourceUnit ) + ", " +
               end + " on chip " + std::to_string( session_.unit ) );
         return;
      }
   }
}

Plix::IpGenAddr SessionReader::readAddress( std::string_view field ) {
   if ( !reader_.has( field ) ) {
      reader_.error( field,
            "missing; allowed: an IPv4 or IPv6 address (an ERSPAN session "
            "needs src_ip and dst_ip, a SPAN session dst_port)" );
      return {};
   }
   const auto address = Plix::IpGenAddr::fromString( reader_.text( field ) );
   if ( !address || !isSender( *address ) ) {
      reader_.notAllowed( field, "an IPv4 or IPv6 address of one station, not a loopback one" );
      return {};
   }
   return *address;
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
   TunnelConfig tunnel;
   tunnel.srcIp = readAddress( "src_ip" );
   tunnel.dstIp = readAddress( "dst_ip" );
   const auto unknown = Plix::AddressFamily::unknown;
   if ( tunnel.srcIp.family() != unknown && tunnel.dstIp.family() != unknown &&
         tunnel.srcIp.family() != tunnel.dstIp.family() ) {
      reader_.error( "dst_ip", "not of the family of src_ip; allowed: both IPv4 or both IPv6" );
   }
   if ( const auto type = reader_.number( "gre_type", 0, 65535 ) ) {
      tunnel.greProtocol = static_cast< uint16_t >( *type );
   }
   tunnel.dscp = static_cast< uint8_t >( reader_.number( "dscp", 0, 63 ).value_or( 0 ) );
   tunnel.ttl = static_cast< uint8_t >( reader_.number( "ttl", 0, 255 ).value_or( 255 ) );
   if ( const auto key = reader_.number( "gre_key", 0, any32Bits ) ) {
      tunnel.greKey = static_cast< uint32_t >( *key );
   }
   reader_.number( "sample_rate", 0, any32Bits );
   reader_.number( "truncate_size", 0, any32Bits );
   session_.tunnel = tunnel;
}

void SessionReader::readRate() {
   session_.rateKbps = static_cast< uint32_t >(
         reader_.number( "rate_kbps", 1, highestRateKbps ).value_or( 0 ) );
   if ( reader_.has( "policer" ) ) {
      const std::string name = reader_.text( "policer" );
      const auto at = draft_.policers.find( name );
      if ( reader_.has( "rate_kbps" ) ) {
         reader_.error( "policer", "beside rate_kbps; allowed: one of them" );
      } else if ( at == draft_.policers.end() ) {
         reader_.error(
               "policer", "there is no policer " + name + "; allowed: a policer of POLICER" );
      } else if ( at->second.beyond ) {
         reasons_.push_back( *at->second.beyond );
      } else {
         session_.rateKbps = at->second.rateKbps;
         if ( !at->second.note.empty() ) {
            reader_.warning( "policer", at->second.note );
         }
      }
   }
   const auto ip6 = Plix::AddressFamily::ipv6;
   if ( session_.rateKbps != 0 && session_.tunnel && session_.tunnel->srcIp.family() == ip6 &&
         session_.tunnel->dstIp.family() == ip6 ) {
      reader_.warning( reader_.has( "policer" ) ? "policer" : "rate_kbps",
            "a rate cannot be enforced on an IPv6 tunnel: its copies are not limited" );
   }
}

void SessionReader::refuse() {
   const std::pair< std::string_view, std::string_view > unsupported[] = {
      { "sample_rate", "this chip cannot sample" },
      { "truncate_size", "this chip cannot truncate" },
   };
   for ( const auto& [ field, reason ] : unsupported ) {
      if ( reader_.has( field ) ) {
         reasons_.emplace_back( reason );
      }
   }
   if ( session_.rateIsEnforced() && session_.unit >= 0 ) {
      const ChipModel::Profile& profile = draft_.profileOf( session_.unit );
      if ( profile.policers == 0 ) {
         reasons_.push_back( "chip profile " + std::string( profile.name ) +
               " has no policers: it limits no rate" );
      }
   }
   if ( session_.tunnel && session_.tunnel->greKey && session_.unit >= 0 ) {
      const ChipModel::Profile& profile = draft_.profileOf( session_.unit );
      if ( profile.greKeys == ChipModel::GreKeys::none ) {
         reasons_.push_back(
               "chip profile " + std::string( profile.name ) + " sends no GRE keys" );
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
