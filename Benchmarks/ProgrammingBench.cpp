// What programming costs above the SDK calls that it makes: the TCAM helpers with the agent's
// services, against a bare loop that makes the same calls for the same rules. Per entry:
// create, name, qualify the destination port, add the action, install. And what it costs to
// ask for the same again by requests, which makes no call.
//
//    programming-bench                                                   times, and growth
//    programming-bench --instructions helper|request|again|bare ENTRIES  one run, for callgrind

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <iostream>

#include "AgentServices/TcamGroupManager.h"
#include "AgentServices/TcamRequestManager.h"
#include "ChipModel/Switch.h"
#include "PluginMounters/Slice/Ports/KarvelMirrorTcamHelper.h"
#include "PluginMounters/Slice/Ports/KarvelMirrorTcamHelperV2.h"

namespace {

using namespace KarvelMirror;

constexpr int ports = 100;

Zol::Ptr< ProgrammingOp > operation( int entries ) {
   auto op = programmingOpFactory();
   op->fullReprogramIs( true );
   op->featureIs( ProgrammingOp::egress() );
   op->groupDataIs();
   auto acl = op->groupData()->aclDataIs( TcamAclKey( "egress", TcamAclType::port() ) );
   for ( int i = 0; i < entries; ++i ) {
      RuleData rule( static_cast< uint32_t >( i + 1 ) );
      rule.outPortIs( { 0, 1 + i % ports } );
      acl->ruleIs( rule );
   }
   return op;
}

enum class Way { helper, request, again, bare };

// A chip with room, and the agent's services on it.
struct Bed {
   explicit Bed( Way way ) {
      const bool byRequest = way == Way::request || way == Way::again;
      box.addChip( 0, *ChipModel::chipProfile( byRequest ? "tomahawk3" : "trident3" ) );
      (void)box.control().capacityIs( 0, "ingress-entries", 100000 );
      ::Shim::sdk_ = &box.sdk();
      scsd = Zol::make< Karvel::KarvelCommonSmData >();
      groups = Zol::make< AgentServices::TcamGroupManager >();
      groups->unitIs( 0, { true, 32 } );
      if ( byRequest ) {
         manager = Zol::make< AgentServices::TcamRequestManager >(
               0, LogicalFap::LogicalFapId( 0 ), "slice0", groups, Zol::make< Zol::Dir >() );
         manager->zolStart();
         auto common = Zol::make< KarvelCentral::FeatureAgentCommonSmData >();
         common->tcamEventsIs( manager->events() );
         common->intfProfileManagerIs( Zol::Ptr< KarvelTcam::KarvelTcamIntfProfileMgr >(
               manager->intfProfileManager() ) );
         helper = tcamHelperSmV2Factory( 0, config, status, scsd, LogicalFap::LogicalFapId( 0 ),
               nullptr, nullptr, common );
      } else {
         helper = tcamHelperSmFactory( 0, config, status, scsd, groups );
      }
      helper->zolStart();
      mtpConfig = config->mtpHelperConfigIs( Mtp( 0 ) );
   }

   ChipModel::Switch box;
   Zol::Ptr< Karvel::KarvelCommonSmData > scsd;
   Zol::Ptr< AgentServices::TcamGroupManager > groups;
   Zol::Ptr< AgentServices::TcamRequestManager > manager; // null unless by requests
   Zol::Ptr< TcamHelperConfig > config = tcamHelperConfigFactory();
   Zol::Ptr< TcamHelperStatus > status = tcamHelperStatusFactory();
   Zol::Ptr< TcamHelperSmBase > helper;
   Zol::Ptr< MtpTcamHelperConfig > mtpConfig;
};

void must( bool good, const char* what ) {
   if ( !good ) {
      std::cerr << "programming-bench: " << what << "\n";
      std::abort();
   }
}

void programByHelper( Bed& bed, const Zol::Ptr< ProgrammingOp >& op ) {
   bed.mtpConfig->programmingOpIs( op );
   must( bed.status->mtpHelperStatus( Mtp( 0 ) )->programmingOp() ==
               MtpTcamHelperStatus::success(),
         "programming failed" );
}

void programByRequest( Bed& bed, const Zol::Ptr< ProgrammingOp >& op ) {
   bed.mtpConfig->programmingOpIs( op );
   Zol::activityManager().runUntilIdle();
   must( bed.manager->status( KarvelTcam::FeatureGroupType::mirroring0 ) ==
               KarvelTcam::RequestStatusType::programmed,
         "the request was not carried out" );
}

// The same rules and the same calls, without anything that remembers them.
void programBare( Bed& bed, const ProgrammingOp& op ) {
   Shim::Sdk& sdk = bed.box.sdk();
   Shim::QualifierSet qualifiers;
   qualifiers.set( static_cast< size_t >( Shim::Qualifier::dstPort ) );
   int group = 0;
   must( sdk.bcm_field_group_create( 0, Shim::FieldStage::ingress, qualifiers, 0, &group ) == 0,
         "no group" );
   const auto& rules =
         op.groupData()->aclData( TcamAclKey( "egress", TcamAclType::port() ) )->rule();
   Shim::Rc rc = 0;
   for ( auto iter = rules.begin(); iter != rules.end(); ++iter ) {
      const KarvelTypes::KarvelPort& port = *iter.value().outPort().begin();
      int entry = 0;
      rc |= sdk.bcm_field_entry_create( 0, group, &entry );
      rc |= sdk.bcm_field_entry_name_set( 0, entry, "mirror0-egress-12345.0" );
      rc |= sdk.bcm_field_qualify_DstPort(
            0, entry, port.modId(), 0xff, port.logicalPort(), 0xff );
      rc |= sdk.bcm_field_action_add( 0, entry, Shim::FieldAction::mirrorEgress, 0, 0 );
      rc |= sdk.bcm_field_entry_install( 0, entry );
   }
   must( rc == 0, "a call was refused" );
}

void programBy( Way way, Bed& bed, const Zol::Ptr< ProgrammingOp >& op ) {
   switch ( way ) {
   case Way::helper:
      return programByHelper( bed, op );
   case Way::bare:
      return programBare( bed, *op );
   default:
      return programByRequest( bed, op );
   }
}

void program( benchmark::State& state, Way way ) {
   const int entries = static_cast< int >( state.range( 0 ) );
   for ( auto _ : state ) {
      state.PauseTiming();
      auto bed = std::make_unique< Bed >( way );
      auto op = operation( entries );
      if ( way == Way::again ) {
         programByRequest( *bed, operation( entries ) );
      }
      state.ResumeTiming();
      programBy( way, *bed, op );
      state.PauseTiming();
      bed.reset();
      state.ResumeTiming();
   }
   state.SetItemsProcessed( state.iterations() * entries );
   state.SetComplexityN( entries );
}

void byHelper( benchmark::State& state ) { program( state, Way::helper ); }
void byRequest( benchmark::State& state ) { program( state, Way::request ); }
void byRequestAgain( benchmark::State& state ) { program( state, Way::again ); }
void bareLoop( benchmark::State& state ) { program( state, Way::bare ); }
BENCHMARK( byHelper )->Arg( 1000 )->Arg( 10000 )->Arg( 60000 )->Unit( benchmark::kMillisecond );
BENCHMARK( byRequest )
      ->Arg( 1000 )
      ->Arg( 10000 )
      ->Arg( 60000 )
      ->Unit( benchmark::kMillisecond );
BENCHMARK( byRequestAgain )
      ->Arg( 1000 )
      ->Arg( 10000 )
      ->Arg( 60000 )
      ->Unit( benchmark::kMillisecond );
BENCHMARK( bareLoop )->Arg( 1000 )->Arg( 10000 )->Arg( 60000 )->Unit( benchmark::kMillisecond );

} // namespace

int main( int argc, char** argv ) {
   if ( argc == 4 && std::strcmp( argv[ 1 ], "--instructions" ) == 0 ) {
      const int entries = std::atoi( argv[ 3 ] );
      const std::string_view name = argv[ 2 ];
      const Way way = name == "helper" ? Way::helper
            : name == "request"        ? Way::request
            : name == "again"          ? Way::again
                                       : Way::bare;
      Bed bed( way );
      auto op = operation( entries );
      if ( way == Way::again ) {
         programByRequest( bed, operation( entries ) );
      }
      programBy( way, bed, op );
      // Without tear-down: only programming differs between the two ways.
      std::_Exit( 0 );
   }
   benchmark::Initialize( &argc, argv );
   benchmark::RunSpecifiedBenchmarks();
   return 0;
}
