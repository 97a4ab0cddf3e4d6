#include "Agent/Configuration/Names.h"
#include "Agent/Reports/AgentReports.h"
#include "Agent/Reports/FieldText.h"

namespace Agent {

namespace {

using AgentServices::TcamRequestView;
using KarvelTcam::EntryRequest;

Cell matchesOf( const Runtime& runtime, int unit, const EntryRequest& request ) {
   std::vector< std::string > texts;
   Value::List list;
   auto add = [ & ]( const char* qualifier, const char* key, const Value& value ) {
      list.emplace_back( Value::Object{ { "qualifier", qualifier }, { key, value } } );
   };
   if ( const auto profile = request.intfProfile() ) {
      texts.push_back( "in " + portList( runtime, unit, profile->ports() ) +
            ( profile->match() == KarvelTcam::IntfMatch::classId ? " by class" : "" ) );
      add( profile->match() == KarvelTcam::IntfMatch::classId ? "PortClass" : "InPorts",
            "ports", portNames( runtime, unit, profile->ports() ) );
   }
   const auto& ports = request.portQualifier();
   for ( auto iter = ports.begin(); iter != ports.end(); ++iter ) {
      const std::string port =
            runtime.portName( unit, static_cast< int >( iter.value().portId() ) );
      texts.push_back( "out " + port );
      add( "DstPort", "ports", std::vector< std::string >{ port } );
   }
   const auto& values = request.qualifier();
   for ( auto iter = values.begin(); iter != values.end(); ++iter ) {
      const std::string trunk =
            trunkName( runtime, unit, static_cast< int >( iter.value().data() ) );
      texts.push_back( "out " + trunk );
      add( "DstTrunk", "trunk", trunk );
   }
   return { list, texts.empty() ? "everything" : joined( texts ) };
}

Cell actionOf(
      const Runtime& runtime, const ChipModel::ChipState& chip, const EntryRequest& request ) {
   std::vector< ChipModel::ActionValue > actions;
   const auto& params = request.actionParams();
   for ( auto iter = params.begin(); iter != params.end(); ++iter ) {
      actions.push_back( { iter.key() == KarvelTcam::ActionType::mirrorEgress
                  ? Shim::FieldAction::mirrorEgress
                  : Shim::FieldAction::mirrorIngress,
            iter.value().param( 0 ), iter.value().param( 1 ) } );
   }
   return actionsCell( runtime, chip, actions );
}

std::string statusText( KarvelTcam::RequestStatusType status ) {
   switch ( status ) {
   case KarvelTcam::RequestStatusType::reviewing:
      return "under review";
   case KarvelTcam::RequestStatusType::noRoom:
      return "pending: no room";
   case KarvelTcam::RequestStatusType::refused:
      return "pending: refused by the chip";
   default:
      return Zol::toString( status );
   }
}

void addRequest( Runtime& runtime, const ChipModel::ChipState& chip,
      const TcamRequestView& request, Report& report ) {
   const std::vector< Cell > ofRequest{ int64_t( chip.unit ), request.key.requestName(),
      static_cast< int64_t >( request.group ), Zol::toString( request.type ),
      statusText( request.status ) };
   const Cell noEntry( Value(), "none" );
   auto add = [ & ]( std::vector< Cell > ofEntry ) {
      ofEntry.insert( ofEntry.begin(), ofRequest.begin(), ofRequest.end() );
      report.rows.push_back( std::move( ofEntry ) );
   };
   for ( const TcamRequestView::Entry& entry : request.entries ) {
      add( { int64_t( entry.request->ruleId().sequence() ), entry.request->ruleId().toString(),
            entry.id ? Cell( int64_t( entry.id ) ) : noEntry,
            matchesOf( runtime, chip.unit, *entry.request ),
            actionOf( runtime, chip, *entry.request ) } );
   }
   if ( request.entries.empty() ) {
      add( { Cell(), Cell(), noEntry, { Value::List(), "" }, { Value::List(), "" } } );
   }
}

} // namespace

Report requestsReport( Runtime& runtime ) {
   Report report{ "requests",
      { "chip", "request", "feature group", "type", "status", "sequence", "rule", "entry",
            "matches", "action" },
      {}, "no TCAM requests" };
   for ( int unit : runtime.units() ) {
      const AgentServices::TcamRequestManager* manager = runtime.requestManager( unit );
      if ( !manager ) {
         continue;
      }
      const ChipModel::ChipState chip = runtime.chips().control().state( unit );
      for ( const TcamRequestView& request : manager->requests() ) {
         addRequest( runtime, chip, request, report );
      }
   }
   return report;
}

} // namespace Agent
