// Tunnels and the policers that limit copies, with who uses them.

#include <cstdio>

#include "Agent/Configuration/Names.h"
#include "Agent/Reports/AgentReports.h"
#include "Agent/Reports/FieldText.h"

namespace Agent {

namespace {

using ChipModel::ChipState;

int64_t cell( uint64_t value ) { return static_cast< int64_t >( value ); }

// "EFP GRE Rate Limit: out Ethernet8, source 10.0.0.1, ..."
std::string usersOf(
      const Runtime& runtime, const ChipState& chip, const ChipModel::PolicerView& policer ) {
   std::vector< std::string > users;
   for ( const ChipModel::EntryView& entry : chip.entries ) {
      if ( entry.policer == policer.id ) {
         users.push_back( "entry " + std::to_string( entry.id ) + " (" +
               matchText( runtime, chip, entry ) + ")" );
      }
   }
   return joined( users, "; " );
}

const ChipModel::MirrorDestinationState& mirrorOf(
      const ChipState& chip, const HeldDestination& held ) {
   return chip.mirrorDestinations.at( held.mtp.value() );
}

std::string greText( const TunnelConfig& tunnel ) {
   return hex( tunnel.greProtocol ) +
         ( tunnel.greKey ? ", key " + std::to_string( *tunnel.greKey ) : "" );
}

// The outer Ethernet header; nothing while the chip has none.
std::string linkText( const std::optional< Shim::MirrorDestination >& target ) {
   if ( !target || !target->tunnel ) {
      return "";
   }
   const Shim::MirrorTunnel& tunnel = *target->tunnel;
   return tunnel.srcMac.toString() + " > " + tunnel.dstMac.toString() +
         ( tunnel.vid ? ", VLAN " + std::to_string( tunnel.vid ) : "" );
}

} // namespace

Report policersReport( Runtime& runtime ) {
   Report report{ "policers",
      { "chip", "policer", "kbit/s", "burst bytes", "green packets", "green bytes",
            "red packets", "red bytes", "users" },
      {}, "nothing is limited in rate" };
   constexpr int64_t bytesPerKilobit = 125; // of 1000 bits
   for ( int unit : runtime.units() ) {
      const ChipState chip = runtime.chips().control().state( unit );
      for ( const ChipModel::PolicerView& policer : chip.policers ) {
         const ChipModel::ColorCounters& counters = policer.counters;
         report.rows.push_back( { int64_t( unit ), int64_t( policer.id ),
               int64_t( policer.config.ckbits_sec ),
               policer.config.ckbits_burst * bytesPerKilobit, cell( counters.green.packets ),
               cell( counters.green.bytes ), cell( counters.red.packets ),
               cell( counters.red.bytes ), usersOf( runtime, chip, policer ) } );
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
            char text[ 32 ];
            std::snprintf( text, sizeof text, "%.3f", static_cast< double >( ns ) * 1e-9 );
            return std::string( text );
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
         report.rows.push_back( { session.config->name, held.mtp.toString(),
               mirror.value ? "active" : "inactive", tunnel.srcIp.toString(),
               tunnel.dstIp.toString(), int64_t( tunnel.dscp ), int64_t( tunnel.ttl ),
               greText( tunnel ), held.route, linkText( mirror.value ),
               cell( mirror.counters.frames ), cell( mirror.counters.bytes ),
               cell( mirror.counters.policedFrames ), cell( mirror.counters.tooLong ) } );
      }
   }
   return report;
}

} // namespace Agent
