#include "Agent/Reports/AgentReports.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "Agent/Configuration/Names.h"
#include "ChipModel/Profile.h"
#include "Platform/Flitlog/Flitlog.h"
#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

const char* directionName( SessionDirection direction ) {
   switch ( direction ) {
   case SessionDirection::rx:
      return "RX";
   case SessionDirection::tx:
      return "TX";
   default:
      return "BOTH";
   }
}

// "ACL WEB, 3 matches"
std::string filtersOf( const SessionConfig& session ) {
   std::vector< std::string > texts;
   for ( const SessionAcl& acl : session.acls ) {
      texts.push_back( "ACL " + acl.key.aclName() );
   }
   if ( const size_t count = session.matches.size() ) {
      texts.push_back( std::to_string( count ) + ( count == 1 ? " match" : " matches" ) );
   }
   return joined( texts );
}

std::string destinationOf( const SessionConfig& session ) {
   return session.tunnel ? "tunnel to " + session.tunnel->dstIp.toString()
                         : session.destination;
}

Cell filtersCell( const SessionConfig& session ) {
   Value::List acls;
   for ( const SessionAcl& acl : session.acls ) {
      acls.emplace_back( acl.key.aclName() );
   }
   return { Value::Object{ { "acls", acls },
                  { "matches", static_cast< int64_t >( session.matches.size() ) } },
      filtersOf( session ) };
}

Cell destinationCell( const SessionConfig& session ) {
   const char* const key = session.tunnel ? "tunnel" : "port";
   return { Value::Object{ { key,
                  session.tunnel ? session.tunnel->dstIp.toString() : session.destination } },
      destinationOf( session ) };
}

// Kilobits per second.
Cell limitCell( const SessionConfig& session ) {
   return session.rateIsEnforced()
         ? Cell( session.rateKbps, std::to_string( session.rateKbps ) + " kbit/s" )
         : Cell();
}

Report sessionsReport( Runtime& runtime ) {
   Report report{ "sessions",
      { "session", "direction", "sources", "filters", "destination", "limit", "state", "chip",
            "mirror", "reason" },
      {}, "no mirror sessions are configured" };
   for ( const SessionState& session : runtime.sessions() ) {
      Value::List mirrors;
      std::vector< std::string > numbers;
      for ( const HeldDestination& held : session.held ) {
         numbers.push_back( held.mtp.toString() );
         mirrors.emplace_back( int64_t( held.mtp.value() ) );
      }
      const int unit = session.config->unit;
      report.rows.push_back( { session.config->name, directionName( session.config->direction ),
            session.config->sources, filtersCell( *session.config ),
            destinationCell( *session.config ), limitCell( *session.config ),
            phaseName( session.phase ),
            unit < 0 ? Cell() : Cell( unit, std::to_string( unit ) ),
            { mirrors, joined( numbers ) }, textOrNothing( session.reason ) } );
   }
   return report;
}

Report ratesReport( Runtime& runtime ) {
   Report rates{ "limits", { "slice", "limits", "status" }, {}, "nothing is limited in rate" };
   for ( int unit : runtime.units() ) {
      const auto status = runtime.programStatus( unit );
      const auto& all = status->efpProgramStatus();
      for ( auto iter = all.begin(); iter != all.end(); ++iter ) {
         rates.rows.push_back( { "slice" + std::to_string( unit ),
               iter.key() == KarvelMirror::RateLimitKind::gre ? "copies through tunnels"
                                                              : "copies by port",
               Zol::toString( iter.value() ) } );
      }
   }
   return rates;
}

std::vector< Report > statusReports( Runtime& runtime ) {
   Report slices{ "slices", { "slice", "chip profile", "TCAM helpers", "TCAM interface" }, {},
      "no chips" };
   Report status{ "status", { "slice", "mirror", "session", "ports", "filters" }, {},
      "no mirror destination is programmed" };
   for ( int unit : runtime.units() ) {
      const ChipModel::Profile& profile = runtime.profile( unit );
      const std::string name = "slice" + std::to_string( unit );
      slices.rows.push_back(
            { name, std::string( profile.name ), yesOrNo( profile.tcamHelpers ),
                  profile.tcamInterface == ChipModel::TcamInterface::direct ? "direct"
                                                                            : "request" } );
      auto programmed = runtime.programStatus( unit );
      const auto& all = programmed->programStatus();
      const auto& filters = programmed->ifpProgramStatus();
      for ( auto iter = all.begin(); iter != all.end(); ++iter ) {
         std::string user;
         for ( const SessionState& session : runtime.sessions() ) {
            for ( const HeldDestination& held : session.held ) {
               if ( held.unit == unit && held.mtp == iter.key() ) {
                  user = session.config->name;
               }
            }
         }
         status.rows.push_back( { name, int64_t( iter.key().value() ), textOrNothing( user ),
               Zol::toString( runtime.portStatus( unit, iter.key() ) ),
               filters.contains( iter.key() )
                     ? Zol::toString( programmed->ifpProgramStatus( iter.key() ) )
                     : Cell( Value(), "none" ) } );
      }
   }
   return { slices, status, ratesReport( runtime ) };
}

Report countersReport( Runtime& runtime ) {
   Report report{ "counters",
      { "chip", "port", "rx frames", "rx bytes", "tx frames", "tx bytes", "mirror frames",
            "mirror bytes", "drops" },
      {}, "no port has seen a frame" };
   for ( int unit : runtime.units() ) {
      for ( const ChipModel::PortState& port : runtime.chips().control().state( unit ).ports ) {
         const ChipModel::PortCounters& counters = port.counters;
         if ( counters == ChipModel::PortCounters() ) {
            continue;
         }
         std::vector< std::string > drops;
         Value::List reasons;
         for ( size_t i = 0; i < counters.drops.size(); ++i ) {
            if ( counters.drops[ i ] ) {
               const auto reason = static_cast< ChipModel::DropReason >( i );
               const std::string name( ChipModel::dropReasonName( reason ) );
               const auto frames = static_cast< int64_t >( counters.drops[ i ] );
               drops.push_back( std::to_string( frames ) + " " + name );
               reasons.emplace_back(
                     Value::Object{ { "reason", name }, { "frames", frames } } );
            }
         }
         auto number = []( uint64_t value ) { return static_cast< int64_t >( value ); };
         report.rows.push_back( { int64_t( unit ), runtime.portName( unit, port.port ),
               number( counters.rxFrames ), number( counters.rxBytes ),
               number( counters.txFrames ), number( counters.txBytes ),
               number( counters.txMirrorFrames ), number( counters.txMirrorBytes ),
               { reasons, joined( drops ) } } );
      }
   }
   return report;
}

std::vector< Report > logReports() {
   Report report{ "log", { "time", "severity", "message", "text" }, {}, "nothing was logged" };
   std::map< std::string, const Flitlog::Record* > messages;
   for ( const Flitlog::Record& record : Flitlog::records() ) {
      report.rows.push_back( { secondsCell( record.time ), Zol::toString( record.severity ),
            record.id, record.text } );
      messages.emplace( record.id, &record );
   }
   if ( messages.empty() ) {
      return { report };
   }
   // Once for all records of a message.
   Report advice{ "advice", { "message", "explanation", "recommended action" }, {}, "" };
   for ( const auto& [ id, record ] : messages ) {
      advice.rows.push_back( { id, record->explanation, record->recommendedAction } );
   }
   return { report, advice };
}

} // namespace

namespace {

using Reporter = std::vector< Report > ( * )( Runtime& runtime );

template < auto report >
std::vector< Report > one( Runtime& runtime ) {
   return { report( runtime ) };
}

constexpr const char* storeName = "store";

// In the order in which users are told of them.
const std::pair< const char*, Reporter > reporters[] = {
   { "sessions", one< sessionsReport > }, { "acls", aclReports },
   { "tcam",
         []( Runtime& runtime ) -> std::vector< Report > {
            return { tcamReport( runtime ), tcamCapacityReport( runtime ) };
         } },
   { "requests", one< requestsReport > }, { "policers", one< policersReport > },
   { "rates", one< rateHistoryReport > }, { "tunnels", one< tunnelsReport > },
   { "tables",
         []( Runtime& runtime ) {
            std::vector< Report > reports = tableReports( runtime );
            std::ranges::move( settingReports( runtime ), std::back_inserter( reports ) );
            return reports;
         } },
   { "status", statusReports }, { "counters", one< countersReport > },
   { "queues", one< queuesReport > }, { "log", []( Runtime& ) { return logReports(); } },
   { storeName, nullptr }, // takes a path: see reportsOf()
};

} // namespace

const std::vector< std::string >& reportNames() {
   static const std::vector< std::string > names = [] {
      std::vector< std::string > result;
      for ( const auto& [ name, reporter ] : reporters ) {
         result.emplace_back( name );
      }
      return result;
   }();
   return names;
}

std::vector< Report > reportsOf(
      Runtime& runtime, const std::string& name, const std::string& path ) {
   if ( name == storeName ) {
      return { storeReport( runtime, path ) };
   }
   const auto* reporter = std::ranges::find(
         reporters, name, []( const auto& row ) { return std::string_view( row.first ); } );
   ZOL_ASSERT( reporter != std::end( reporters ) );
   return reporter->second( runtime );
}

Report chipsReport() {
   Report report{ "chips",
      { "profile", "ports", "ingress entries", "egress entries", "groups", "mirrors", "trunks",
            "L2 addresses", "port classes", "TCAM helpers", "TCAM interface", "Tomahawk",
            "GRE keys", "header insertion", "description" },
      {}, "" };
   for ( const ChipModel::Profile& profile : ChipModel::chipProfiles() ) {
      report.rows.push_back( { std::string( profile.name ), int64_t( profile.ports ),
            int64_t( profile.ingressEntries ), int64_t( profile.egressEntries ),
            int64_t( profile.groupsPerStage ), int64_t( profile.mirrorDestinations ),
            int64_t( profile.trunks ), int64_t( profile.l2Addresses ),
            int64_t( profile.portClassBits ), yesOrNo( profile.tcamHelpers ),
            profile.tcamInterface == ChipModel::TcamInterface::direct ? "direct" : "request",
            yesOrNo( profile.tomahawkFamily ),
            yesOrNo( profile.greKeys != ChipModel::GreKeys::none ),
            yesOrNo( profile.logicalTables ), std::string( profile.description ) } );
   }
   return report;
}

} // namespace Agent
