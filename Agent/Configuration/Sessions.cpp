// MIRROR_SESSION: what is mirrored where to. A session that is malformed is an error; one
// that is well formed and asks for what this agent does not have is refused by itself.

#include <algorithm>
#include <set>

#include "Agent/Configuration/Draft.h"
#include "Agent/Configuration/Names.h"
#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

constexpr size_t longestName = 32;

bool isSessionName( const std::string& name ) {
   return !name.empty() && name.size() <= longestName && isLetterOrDigit( name[ 0 ] ) &&
         std::all_of( name.begin(), name.end(),
               []( char c ) { return isLetterOrDigit( c ) || c == '-' || c == '_'; } );
}

class SessionReader {
 public:
   SessionReader( Draft& draft, const std::string& name, const Entry& entry )
         : draft_( draft ), fields_( schema().session ),
           reader_( fields_, name, entry, draft.findings ) {
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
   Plix::IpGenAddr readAddress( const ValueField< Plix::IpGenAddr >& field );
   void readRate();
   void refuse();

   // The port, or the port channel's members and the port channel.
   std::vector< std::string > portsOf( const std::string& interface ) const;
   const Configuration& config() const { return draft_.configuration; }

   Draft& draft_;
   const SessionFields& fields_;
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
   session_.direction = reader_.read( fields_.direction );
   readSources();
   readDestination();
   readTunnel();
   readRate();
   session_.queue = reader_.read( fields_.queue );
   readFilters( draft_, reader_, session_, reasons_ );
   refuse();
   draft_.configuration.sessions[ session_.name ] = session_;
}

// Files in the field leave the type out of SPAN sessions although ERSPAN is the default; a
// destination port tells.
void SessionReader::readType() {
   const auto& all = fields_.fields;
   const bool hasTunnel = std::any_of( all.begin(), all.end(), [ this ]( const auto* field ) {
      return field->onlyFor == onlyErspan && reader_.isMeant( *field );
   } );
   const SessionType likely = reader_.isMeant( fields_.dstPort ) && !hasTunnel
         ? SessionType::span
         : SessionType::erspan;
   session_.type = reader_.read( fields_.type ).value_or( likely );

   const std::string_view type = session_.type == SessionType::span ? onlySpan : onlyErspan;
   for ( const FieldSchema* field : all ) {
      if ( !field->onlyFor.empty() && field->onlyFor != type && reader_.has( *field ) ) {
         reader_.error( *field,
               "not valid for " + std::string( type ) + "; only for " +
                     std::string( field->onlyFor ) );
      }
   }
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
   const bool isFiltered = reader_.has( fields_.acl ) || reader_.has( fields_.match );
   std::set< std::string > known;
   for ( const std::string& source : draft_.interfaceList( reader_, fields_.srcPort ) ) {
      if ( !isFiltered && !draft_.isInterface( source ) ) {
         reader_.error( fields_.srcPort,
               source + " is a sub-interface; allowed: in a session that filters by acl" );
      } else if ( !known.insert( source ).second ) {
         reader_.error( fields_.srcPort, source + " is repeated; allowed: once" );
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
               reader_.error( fields_.srcPort,
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
      if ( !session_.sources.empty() ) {
         session_.unit = config().unitOf( draft_.find( session_.sources.front() )->base );
      }
      checkChip();
      return;
   }
   session_.destination = reader_.text( fields_.dstPort );
   if ( !reader_.has( fields_.dstPort ) ) {
      if ( !reader_.isMeant( fields_.dstPort ) ) {
         reader_.error( fields_.dstPort,
               "missing; allowed: a port of PORT, a port channel of PORTCHANNEL, or CPU" );
      }
   } else if ( sameText( session_.destination, cpuDestination ) ) {
      session_.destination = cpuDestination;
      if ( !session_.sources.empty() ) {
         session_.unit = config().unitOf( draft_.find( session_.sources.front() )->base );
      }
      checkChip();
   } else if ( !draft_.isInterface( session_.destination ) ) {
      reader_.error( fields_.dstPort, Draft::unknownInterface( session_.destination ) );
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
      reader_.error( fields_.dstPort,
            destination + " is in Vlan" + std::to_string( vlan->second ) +
                  "; allowed: a port that is in no VLAN" );
   }
   auto channel = draft_.channelByPort.find( destination );
   if ( channel != draft_.channelByPort.end() ) {
      reader_.error( fields_.dstPort,
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
         reader_.error( fields_.dstPort,
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
   const bool isAtAPort =
         !session_.destination.empty() && session_.destination != cpuDestination;
   const std::string end = !isAtAPort ? session_.sources.empty() ? "" : session_.sources.front()
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

Plix::IpGenAddr SessionReader::readAddress( const ValueField< Plix::IpGenAddr >& field ) {
   if ( !reader_.isMeant( field ) ) {
      reader_.error( field,
            "missing; allowed: an IPv4 or IPv6 address (an ERSPAN session "
            "needs src_ip and dst_ip, a SPAN session dst_port)" );
   }
   return reader_.read( field ).value_or( Plix::IpGenAddr() );
}

void SessionReader::readTunnel() {
   if ( session_.type == SessionType::span ) {
      return;
   }
   TunnelConfig tunnel;
   tunnel.srcIp = readAddress( fields_.srcIp );
   tunnel.dstIp = readAddress( fields_.dstIp );
   const auto unknown = Plix::AddressFamily::unknown;
   if ( tunnel.srcIp.family() != unknown && tunnel.dstIp.family() != unknown &&
         tunnel.srcIp.family() != tunnel.dstIp.family() ) {
      reader_.error(
            fields_.dstIp, "not of the family of src_ip; allowed: both IPv4 or both IPv6" );
   }
   tunnel.greProtocol = reader_.read( fields_.greType );
   tunnel.dscp = reader_.read( fields_.dscp );
   tunnel.ttl = reader_.read( fields_.ttl );
   tunnel.greKey = reader_.read( fields_.greKey );
   reader_.read( fields_.sampleRate );
   reader_.read( fields_.truncateSize );
   session_.tunnel = tunnel;
}

void SessionReader::readRate() {
   session_.rateKbps = reader_.read( fields_.rateKbps ).value_or( 0 );
   if ( reader_.has( fields_.policer ) ) {
      const std::string name = reader_.text( fields_.policer );
      const auto at = draft_.policers.find( name );
      if ( reader_.has( fields_.rateKbps ) ) {
         reader_.error( fields_.policer, "beside rate_kbps; allowed: one of them" );
      } else if ( at == draft_.policers.end() ) {
         reader_.error( fields_.policer,
               "there is no policer " + name + "; allowed: a policer of POLICER" );
      } else if ( at->second.beyond ) {
         reasons_.push_back( *at->second.beyond );
      } else {
         session_.rateKbps = at->second.rateKbps;
         if ( !at->second.note.empty() ) {
            reader_.warning( fields_.policer, at->second.note );
         }
      }
   }
   const auto ip6 = Plix::AddressFamily::ipv6;
   if ( session_.rateKbps != 0 && session_.tunnel && session_.tunnel->srcIp.family() == ip6 &&
         session_.tunnel->dstIp.family() == ip6 ) {
      const bool byPolicer = reader_.has( fields_.policer );
      reader_.warning( byPolicer ? fields_.policer.name : fields_.rateKbps.name,
            "a rate cannot be enforced on an IPv6 tunnel: its copies are not limited" );
   }
}

void SessionReader::refuse() {
   const std::pair< std::string_view, std::string_view > unsupported[] = {
      { fields_.sampleRate, "this chip cannot sample" },
      { fields_.truncateSize, "this chip cannot truncate" },
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
   for ( const Table::value_type* session : draft.entries( schema().session.name ) ) {
      SessionReader( draft, session->first, session->second ).read();
   }
}

} // namespace Agent
