// Tunnels and the policers that limit copies, with who uses them.

#include "Agent/Configuration/Names.h"
#include "Agent/Reports/AgentReports.h"
#include "Agent/Reports/FieldText.h"

namespace Agent {

namespace {

using ChipModel::ChipState;

int64_t cell( uint64_t value ) { return static_cast< int64_t >( value ); }

// "entry 4 of limited (out Ethernet8, source 10.0.0.1, ...)"
Cell usersOf( const Runtime& runtime, const std::vector< SessionState >& sessions,
      const ChipState& chip, const ChipModel::PolicerView& policer ) {
   std::vector< std::string > users;
   Value::List entries;
   for ( const ChipModel::EntryView& entry : chip.entries ) {
      if ( entry.policer == policer.id ) {
         const std::string session = sessionOf( runtime, sessions, chip, entry );
         const Cell matches = matchCell( runtime, chip, entry );
         users.push_back( "entry " + std::to_string( entry.id ) +
               ( session.empty() ? "" : " of " + session ) + " (" + matches.text + ")" );
         entries.emplace_back( Value::Object{ { "entry", entry.id },
               { "session", textOrNothing( session ).value }, { "matches", matches.value } } );
      }
   }
   return { entries, joined( users, "; " ) };
}

const ChipModel::MirrorDestinationState& mirrorOf(
      const ChipState& chip, const HeldDestination& held ) {
   return chip.mirrorDestinations.at( held.mtp.value() );
}

Cell greCell( const TunnelConfig& tunnel ) {
   const auto& key = tunnel.greKey;
   return { Value::Object{ { "protocol", int64_t( tunnel.greProtocol ) },
                  { "key", key ? Value( int64_t( *key ) ) : Value() } },
      hex( tunnel.greProtocol ) + ( key ? ", key " + std::to_string( *key ) : "" ) };
}

// The outer Ethernet header; nothing while the chip has none.
Cell linkCell( const std::optional< Shim::MirrorDestination >& target ) {
   if ( !target || !target->tunnel ) {
      return {};
   }
   const Shim::MirrorTunnel& tunnel = *target->tunnel;
   const Value vlan = tunnel.vid ? Value( int64_t( tunnel.vid ) ) : Value();
   return { Value::Object{ { "source", tunnel.srcMac.toString() },
                  { "destination", tunnel.dstMac.toString() }, { "vlan", vlan } },
      tunnel.srcMac.toString() + " > " + tunnel.dstMac.toString() +
            ( tunnel.vid ? ", VLAN " + std::to_string( tunnel.vid ) : "" ) };
}

} // namespace

Report policersReport( Runtime& runtime ) {
   Report report{ "policers",
      { "chip", "policer", "kbit/s", "burst bytes", "green packets", "green bytes",
            "red packets", "red bytes", "users" },
      {}, "nothing is limited in rate" };
   constexpr int64_t bytesPerKilobit = 125; // of 1000 bits
   const std::vector< SessionState > sessions = runtime.sessions();
   for ( int unit : runtime.units() ) {
      const ChipState chip = runtime.chips().control().state( unit );
      for ( const ChipModel::PolicerView& policer : chip.policers ) {
         const ChipModel::ColorCounters& counters = policer.counters;
         report.rows.push_back( { int64_t( unit ), int64_t( policer.id ),
               int64_t( policer.config.ckbits_sec ),
               policer.config.ckbits_burst * bytesPerKilobit, cell( counters.green.packets ),
               cell( counters.green.bytes ), cell( counters.red.packets ),
               cell( counters.red.bytes ), usersOf( runtime, sessions, chip, policer ) } );
      }
   }
   return report;
}

Report rateHistoryReport( Runtime& runtime ) {
   constexpr size_t mostRows = 24;
   Report report{ "rates",
      { "session", "from s", "to s", "offered", "offered kbit/s", "passed", "passed kbit/s",
            "policed", "policed kbit/s" },
      {}, "no copies of a limited session" };
   const RateHistory& history = runtime.rateHistory();
   for ( const std::string& session : history.sessions() ) {
      for ( const RateInterval& interval : history.intervals( session, mostRows ) ) {
         auto seconds = []( uint64_t ns ) {
            return secondsCell( static_cast< double >( ns ) * 1e-9 );
         };
         auto rate = [ & ]( const CopyCount& count ) {
            return static_cast< int64_t >( interval.kbps( count ) + 0.5 );
         };
         const CopyCount offered = interval.offered();
         report.rows.push_back( { session, seconds( interval.fromNs ), seconds( interval.toNs ),
               cell( offered.packets ), rate( offered ), cell( interval.passed.packets ),
               rate( interval.passed ), cell( interval.policed.packets ),
               rate( interval.policed ) } );
      }
   }
   return report;
}

Report tunnelsReport( Runtime& runtime ) {
   Report report{ "tunnels",
      { "session", "mirror", "state", "source", "destination", "DSCP", "TTL", "GRE", "route",
            "link", "copies", "bytes", "policed", "too long" },
      {}, "no session has a tunnel" };
   for ( const SessionState& session : runtime.sessions() ) {
      if ( !session.config->tunnel ) {
         continue;
      }
      const TunnelConfig& tunnel = *session.config->tunnel;
      for ( const HeldDestination& held : session.held ) {
         const ChipState chip = runtime.chips().control().state( held.unit );
         const ChipModel::MirrorDestinationState& mirror = mirrorOf( chip, held );
         report.rows.push_back( { session.config->name, int64_t( held.mtp.value() ),
               mirror.value ? "active" : "inactive", tunnel.srcIp.toString(),
               tunnel.dstIp.toString(), int64_t( tunnel.dscp ), int64_t( tunnel.ttl ),
               greCell( tunnel ), held.route, linkCell( mirror.value ),
               cell( mirror.counters.frames ), cell( mirror.counters.bytes ),
               cell( mirror.counters.policedFrames ), cell( mirror.counters.tooLong ) } );
      }
   }
   return report;
}

} // namespace Agent
