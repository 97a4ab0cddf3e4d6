// What limits cost: programming 1,024 rules (64 tunnels of 16 ports each, 64 rates) by the
// egress machines and the agent's services, against a bare loop that makes the same SDK calls;
// and how many calls a change of one tunnel's rate takes.
//
//    egress-bench                                times
//    egress-bench --calls                        calls of a rebuild, and of one tunnel's change
//    egress-bench --instructions machines|bare   one run, for callgrind

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <iostream>

#include "AgentServices/EmbeddedAclHelper.h"
#include "ChipModel/Switch.h"
#include "PluginMounters/Slice/AclProgrammerSm.h"

namespace {

using namespace KarvelMirror;

constexpr int tunnels = 64;
constexpr int portsPerTunnel = 16;

void must( bool good, const char* what ) {
   if ( !good ) {
      std::cerr << "egress-bench: " << what << "\n";
      std::abort();
   }
}

DstPort dstPort( int tunnel, int port, uint32_t rate ) {
   DstPort result;
   result.portIs( { 0, 1 + port } );
   result.tunnelIdxIs( tunnel );
   result.rateIs( rate );
   return result;
}
uint32_t rateOf( int tunnel ) { return static_cast< uint32_t >( 1000 + tunnel ); }
uint32_t collectorOf( int tunnel ) { return 0x0a000000U + static_cast< uint32_t >( tunnel ); }

struct Bed {
   Bed() {
      Zol::activityManager().timeSourceIs( Zol::TimeSource::virtualTime );
      box.addChip( 0, *ChipModel::chipProfile( "trident3" ) );
      ::Shim::sdk_ = &box.sdk();
      groups->unitIs( 0, { true, 32, 4096 } );
      auto helper = Zol::make< AgentServices::EmbeddedAclHelper >( groups );
      helper->unitIs( 0, scsd );
      auto aclSm = Zol::make< Ixo::AclSm >();
      aclSm->aclHelperIs( Zol::Ptr< Karvel::AclHelper >( helper ) );
      auto plugin = Zol::make< Karvel::AclSmPluginEntity >();
      plugin->aclSmIs( aclSm );
      AclProgrammerSm::Context context;
      context.lfMtpProgramInfoColl = programInfo;
      context.sliceMtpProgramStatus = status;
      context.groupManager = groups;
      context.aclSmPluginEntity = plugin;
      context.taskScheduler = Orv::TaskSchedulerRoot::findOrCreateScheduler();
      context.scsd = scsd;
      programmer = Zol::make< AclProgrammerSm >( context, Zol::make< Acl::Config >( "acl" ) );
      programmer->zolStart();
      info = programInfo->lfMtpProgramInfoIs( LogicalFap::LogicalFapId( 0 ) );
   }

   void publish() {
      Zol::Batch batch;
      auto mtp = info->mtpProgramInfoIs( Mtp( 0 ) );
      for ( int tunnel = 0; tunnel < tunnels; ++tunnel ) {
         TunnelParameters parameters;
         parameters.srcIpIs( Plix::IpAddr( 1 ) );
         parameters.dstIpIs( Plix::IpAddr( collectorOf( tunnel ) ) );
         auto made = info->tunnelIs( TunnelId( static_cast< uint8_t >( tunnel ) ) );
         made->parametersIs( parameters );
         made->activeIs( true );
         for ( int port = 0; port < portsPerTunnel; ++port ) {
            mtp->dstPortIs( dstPort( tunnel, port, rateOf( tunnel ) ) );
         }
      }
   }
   void changeOneRate() {
      Zol::Batch batch;
      auto mtp = info->mtpProgramInfo( Mtp( 0 ) );
      for ( int port = 0; port < portsPerTunnel; ++port ) {
         mtp->dstPortDel( dstPort( 7, port, rateOf( 7 ) ) );
         mtp->dstPortIs( dstPort( 7, port, 77 ) );
      }
   }
   // The scheduled task is where the work is done.
   void run() {
      Zol::activityManager().runUntilIdle();
      must( status->efpProgramStatus( RateLimitKind::gre ) == ProgramStatus::success,
            "programming failed" );
   }

   ChipModel::Switch box;
   Zol::Ptr< Karvel::KarvelCommonSmData > scsd = Zol::make< Karvel::KarvelCommonSmData >();
   Zol::Ptr< AgentServices::TcamGroupManager > groups =
         Zol::make< AgentServices::TcamGroupManager >();
   Zol::Ptr< LogicalFapMtpProgramInfoColl > programInfo =
         Zol::make< LogicalFapMtpProgramInfoColl >();
   Zol::Ptr< SliceMtpProgramStatus > status = Zol::make< SliceMtpProgramStatus >();
   Zol::Ptr< AclProgrammerSm > programmer;
   Zol::Ptr< LogicalFapMtpProgramInfo > info;
};

// The same calls, without anything that remembers them.
void programBare( ChipModel::Switch& box ) {
   using Shim::Qualifier;
   Shim::Sdk& sdk = box.sdk();
   Shim::QualifierSet qualifiers;
   for ( Qualifier one : { Qualifier::outPort, Qualifier::mirrorCopy, Qualifier::ipType,
               Qualifier::srcIp, Qualifier::dstIp, Qualifier::ipProtocol, Qualifier::dscp } ) {
      qualifiers.set( static_cast< size_t >( one ) );
   }
   int group = 0;
   must( sdk.bcm_field_group_create( 0, Shim::FieldStage::egress, qualifiers, 0, &group ) == 0,
         "no group" );
   Shim::Rc rc = 0;
   for ( int tunnel = 0; tunnel < tunnels; ++tunnel ) {
      const Shim::bcm_policer_config_s config{ Shim::policerByBytes | Shim::policerColorBlind,
         Shim::PolicerMode::committed, rateOf( tunnel ), rateOf( tunnel ) * 3 / 2, 0, 0 };
      uint32_t policer = 0;
      rc |= sdk.bcm_policer_create( 0, config, &policer );
      for ( uint32_t port = 1; port <= portsPerTunnel; ++port ) {
         int entry = 0;
         rc |= sdk.bcm_field_entry_create( 0, group, &entry );
         rc |= sdk.bcm_field_entry_name_set( 0, entry, "EFP GRE Rate Limit" );
         rc |= sdk.bcm_field_entry_stat_set( 0, entry, Shim::FieldStat::byColor );
         rc |= sdk.bcm_field_qualify_OutPort( 0, entry, port, ~0U );
         rc |= sdk.bcm_field_qualify_MirrorCopy( 0, entry, 1, 1 );
         rc |= sdk.bcm_field_qualify_IpType( 0, entry, Shim::FieldIpType::ip );
         rc |= sdk.bcm_field_qualify_IpProtocol( 0, entry, 47, 0xff );
         rc |= sdk.bcm_field_qualify_SrcIp( 0, entry, 1, ~0U );
         rc |= sdk.bcm_field_qualify_DstIp( 0, entry, collectorOf( tunnel ), ~0U );
         rc |= sdk.bcm_field_qualify_DSCP( 0, entry, 0, 0xfc );
         rc |= sdk.bcm_field_entry_policer_attach( 0, entry, 0, policer );
         rc |= sdk.bcm_field_action_add( 0, entry, Shim::FieldAction::rpDrop, 0, 0 );
         rc |= sdk.bcm_field_entry_install( 0, entry );
      }
   }
   must( rc == 0, "a call was refused" );
}

void byMachines( benchmark::State& state ) {
   for ( auto _ : state ) {
      state.PauseTiming();
      auto bed = std::make_unique< Bed >();
      bed->publish();
      state.ResumeTiming();
      bed->run();
      state.PauseTiming();
      bed.reset();
      state.ResumeTiming();
   }
}
void bareLoop( benchmark::State& state ) {
   for ( auto _ : state ) {
      state.PauseTiming();
      auto bed = std::make_unique< Bed >();
      state.ResumeTiming();
      programBare( bed->box );
      state.PauseTiming();
      bed.reset();
      state.ResumeTiming();
   }
}
BENCHMARK( byMachines )->Unit( benchmark::kMillisecond );
BENCHMARK( bareLoop )->Unit( benchmark::kMillisecond );

void sayCalls() {
   Bed bed;
   const ChipModel::Gate& gate = bed.box.control().gate();
   bed.publish();
   bed.run();
   const uint64_t built = gate.calls();
   bed.changeOneRate();
   bed.run();
   std::cout << tunnels * portsPerTunnel << " rules: " << built
             << " SDK calls; one tunnel's rate: " << gate.calls() - built << "\n";
}

} // namespace

int main( int argc, char** argv ) {
   if ( argc == 2 && std::strcmp( argv[ 1 ], "--calls" ) == 0 ) {
      sayCalls();
      return 0;
   }
   if ( argc == 3 && std::strcmp( argv[ 1 ], "--instructions" ) == 0 ) {
      Bed bed;
      bed.publish();
      std::strcmp( argv[ 2 ], "machines" ) == 0 ? bed.run() : programBare( bed.box );
      // Without tear-down: only programming differs between the two ways.
      std::_Exit( 0 );
   }
   benchmark::Initialize( &argc, argv );
   benchmark::RunSpecifiedBenchmarks();
   return 0;
}
