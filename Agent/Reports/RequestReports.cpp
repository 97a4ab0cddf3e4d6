#include "Agent/Configuration/Names.h"
#include "Agent/Reports/AgentReports.h"
#include "Agent/Reports/FieldText.h"

namespace Agent {

namespace {

using AgentServices::TcamRequestView;
using KarvelTcam::EntryRequest;

std::string matchesOf( const Runtime& runtime, int unit, const EntryRequest& request ) {
   std::vector< std::string > texts;
   if ( const auto profile = request.intfProfile() ) {
      texts.push_back( "in " + portList( runtime, unit, profile->ports() ) +
            ( profile->match() == KarvelTcam::IntfMatch::classId ? " by class" : "" ) );
   }
   const auto& ports = request.portQualifier();
   for ( auto iter = ports.begin(); iter != ports.end(); ++iter ) {
      texts.push_back(
            "out " + runtime.portName( unit, static_cast< int >( iter.value().portId() ) ) );
   }
   const auto& values = request.qualifier();
   for ( auto iter = values.begin(); iter != values.end(); ++iter ) {
      texts.push_back(
            "out " + trunkName( runtime, unit, static_cast< int >( iter.value().data() ) ) );
   }
   return texts.empty() ? "everything" : joined( texts );
}

std::string actionOf(
      const Runtime& runtime, const ChipModel::ChipState& chip, const EntryRequest& request ) {
   std::vector< ChipModel::ActionValue > actions;
   const auto& params = request.actionParams();
   for ( auto iter = params.begin(); iter != params.end(); ++iter ) {
      actions.push_back( { iter.key() == KarvelTcam::ActionType::mirrorEgress
                  ? Shim::FieldAction::mirrorEgress
                  : Shim::FieldAction::mirrorIngress,
            iter.value().param( 0 ), iter.value().param( 1 ) } );
   }
   return actionsText( runtime, chip, actions );
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
   auto add = [ & ]( std::vector< Cell > ofEntry ) {
      ofEntry.insert( ofEntry.begin(), ofRequest.begin(), ofRequest.end() );
      report.rows.push_back( std::move( ofEntry ) );
   };
   for ( const TcamRequestView::Entry& entry : request.entries ) {
      add( { int64_t( entry.request->ruleId().sequence() ), entry.request->ruleId().toString(),
            entry.id ? Cell( int64_t( entry.id ) ) : Cell( "none" ),
            matchesOf( runtime, chip.unit, *entry.request ),
            actionOf( runtime, chip, *entry.request ) } );
   }
   if ( request.entries.empty() ) {
      add( { "", "", "none", "", "" } );
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
