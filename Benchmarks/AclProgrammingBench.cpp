// What an ACL of many rules costs above the SDK calls that it makes, from its configuration to
// the committed chip: the plug-in's ingress machines and the agent's ACL helper against a bare
// loop that makes the same calls. Half of the rules permit.
//
//    acl-programming-bench                                   times, and growth with size
//    acl-programming-bench --instructions acl|bare ENTRIES   one run, for callgrind

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <iostream>

#include "AgentServices/EmbeddedAclHelper.h"
#include "ChipModel/Switch.h"
#include "Platform/Zol/ActivityLock.h"
#include "PluginMounters/Slice/AclProgrammerSm.h"

namespace {

using namespace KarvelMirror;

void must( bool good, const char* what ) {
   if ( !good ) {
      std::cerr << "acl-programming-bench: " << what << "\n";
      std::abort();
   }
}

constexpr uint32_t wholeAddress = 0xffffffff;
constexpr uint32_t udp = 17;

uint32_t addressOf( int rule ) { return 0x0a000000U + static_cast< uint32_t >( rule ); }
bool permits( int rule ) { return rule % 2 == 0; }

Zol::Ptr< const Acl::RuleList > ruleList( int count ) {
   std::vector< Acl::RuleConfig > rules;
   for ( int i = 0; i < count; ++i ) {
      Acl::IpFilter filter;
      filter.dstIpIs( Plix::IpAddr( addressOf( i ) ) );
      filter.dstIpMaskIs( Plix::IpAddr( wholeAddress ) );
      filter.protoIs( udp );
      filter.protoMaskIs( 0xff );
      Acl::RuleConfig rule;
      rule.nameIs( "r" + std::to_string( i ) );
      rule.actionIs( permits( i ) ? Acl::RuleAction::permit : Acl::RuleAction::deny );
      rule.ipIs( filter );
      rules.push_back( rule );
   }
   return Zol::make< const Acl::RuleList >( std::move( rules ) );
}

// A chip with room, the agent's services, and the plug-in's machines on it.
struct Bed {
   explicit Bed( int rules ) : list( ruleList( rules ) ) {
      Zol::activityManager().timeSourceIs( Zol::TimeSource::virtualTime );
      box.addChip( 0, *ChipModel::chipProfile( "trident3" ) );
      (void)box.control().capacityIs( 0, "ingress-entries", 200000 );
      ::Shim::sdk_ = &box.sdk();
      scsd->unitIs( 0 );
      scsd->intfToPortIs( "Ethernet0", { 0, 1 } );
      groups->unitIs( 0, { true, 32 } );
      helper = Zol::make< AgentServices::EmbeddedAclHelper >( groups );
      helper->unitIs( 0, scsd );
      auto aclSm = Zol::make< Ixo::AclSm >();
      aclSm->aclHelperIs( Zol::Ptr< Karvel::AclHelper >( helper ) );
      plugin->aclSmIs( aclSm );
      for ( Acl::AclType type : { Acl::ip(), Acl::ipv6(), Acl::mac() } ) {
         aclConfig->aclTypeConfigIs( type );
      }
      AclProgrammerSm::Context context;
      context.lfMtpProgramInfoColl = programInfo;
      context.sliceMtpProgramStatus = Zol::make< SliceMtpProgramStatus >();
      context.groupManager = groups;
      context.aclSmPluginEntity = plugin;
      context.taskScheduler = Orv::TaskSchedulerRoot::findOrCreateScheduler();
      context.scsd = scsd;
      programmer = Zol::make< AclProgrammerSm >( context, aclConfig );
      programmer->zolStart();
      info = programInfo->lfMtpProgramInfoIs( LogicalFap::LogicalFapId( 0 ) );
      Zol::activityManager().runUntilIdle();
   }

   Zol::ActivityLockHolder lock;
   ChipModel::Switch box;
   Zol::Ptr< const Acl::RuleList > list;
   Zol::Ptr< Karvel::KarvelCommonSmData > scsd = Zol::make< Karvel::KarvelCommonSmData >();
   Zol::Ptr< AgentServices::TcamGroupManager > groups =
         Zol::make< AgentServices::TcamGroupManager >();
   Zol::Ptr< AgentServices::EmbeddedAclHelper > helper;
   Zol::Ptr< Karvel::AclSmPluginEntity > plugin = Zol::make< Karvel::AclSmPluginEntity >();
   Zol::Ptr< Acl::Config > aclConfig = Zol::make< Acl::Config >( "acl/config/cli" );
   Zol::Ptr< LogicalFapMtpProgramInfoColl > programInfo =
         Zol::make< LogicalFapMtpProgramInfoColl >();
   Zol::Ptr< AclProgrammerSm > programmer;
   Zol::Ptr< LogicalFapMtpProgramInfo > info;
};

void programByPlugin( Bed& bed ) {
   bed.aclConfig->aclTypeConfigIs( Acl::ip() )->aclIs( "A" )->currCfgIs( bed.list );
   {
      Zol::Batch batch;
      auto mtp = bed.info->mtpProgramInfoIs( Mtp( 0 ) );
      mtp->sessionIs( "s" );
      mtp->directionIs( Direction::ingress );
      AclKey key;
      key.aclNameIs( "A" );
      key.aclTypeIs( Acl::ip() );
      mtp->aclPortsIs( key )->intfIs( Plix::IntfId( "Ethernet0" ) );
      mtp->aclIs( key );
   }
   Zol::activityManager().runUntilIdle();
}

// The same rules and the same calls, without anything that remembers them.
void programBare( Bed& bed ) {
   using Shim::FieldAction;
   using Shim::Qualifier;
   Shim::Sdk& sdk = bed.box.sdk();
   Shim::QualifierSet qualifiers;
   for ( Qualifier qualifier : { Qualifier::portClass, Qualifier::dstIp, Qualifier::ipType,
               Qualifier::ipProtocol, Qualifier::dstClassL2 } ) {
      qualifiers.set( static_cast< size_t >( qualifier ) );
   }
   const int count = static_cast< int >( bed.list->rules.size() );
   std::vector< int > entries;
   int group = 0;
   Shim::Rc rc =
         sdk.bcm_field_group_create( 0, Shim::FieldStage::ingress, qualifiers, 0, &group );
   for ( int i = 0; i < count; ++i ) {
      int entry = 0;
      rc |= sdk.bcm_field_entry_create( 0, group, &entry );
      rc |= sdk.bcm_field_entry_name_set( 0, entry, "s A|r12345" );
      rc |= sdk.bcm_field_entry_prio_set( 0, entry, 1'000'000'000 - i );
      rc |= sdk.bcm_field_qualify_DstClassL2( 0, entry, 0, 0x3ff );
      if ( !permits( i ) ) {
         rc |= sdk.bcm_field_action_add( 0, entry, FieldAction::drop, 0, 0 );
      }
      rc |= sdk.bcm_field_qualify_IpType( 0, entry, Shim::FieldIpType::ipv4Any );
      rc |= sdk.bcm_field_qualify_DstIp( 0, entry, addressOf( i ), wholeAddress );
      rc |= sdk.bcm_field_qualify_IpProtocol( 0, entry, udp, 0xff );
      entries.push_back( entry );
   }
   uint32_t ignored = 0;
   for ( int i = 0; i < count; ++i ) {
      const int entry = entries[ static_cast< size_t >( i ) ];
      (void)sdk.bcm_field_action_get( 0, entry, FieldAction::cosQCpuNew, &ignored, &ignored );
      (void)sdk.bcm_field_action_get( 0, entry, FieldAction::drop, &ignored, &ignored );
      rc |= sdk.bcm_field_action_remove_all( 0, entry );
      rc |= sdk.bcm_field_qualifier_delete( 0, entry, Qualifier::dstClassL2 );
      if ( permits( i ) ) {
         rc |= sdk.bcm_field_action_add( 0, entry, FieldAction::mirrorIngressTo, 0, 0 );
      }
   }
   for ( int entry : entries ) {
      rc |= sdk.bcm_field_qualify_PortClass( 0, entry, 1, 1 );
   }
   for ( int entry : entries ) {
      rc |= sdk.bcm_field_entry_install( 0, entry );
   }
   must( rc == 0, "a call was refused" );
}

enum class Way { plugin, bare };

// How many calls a way makes for this many rules.
uint64_t calls( Way way, int rules ) {
   Bed bed( rules );
   const uint64_t before = bed.box.control().gate().calls();
   way == Way::plugin ? programByPlugin( bed ) : programBare( bed );
   must( bed.box.chip( 0 )->fields().entriesUsed( Shim::FieldStage::ingress ) >= rules,
         "entries are missing" );
   return bed.box.control().gate().calls() - before;
}

void program( benchmark::State& state, Way way ) {
   const int rules = static_cast< int >( state.range( 0 ) );
   for ( auto _ : state ) {
      state.PauseTiming();
      auto bed = std::make_unique< Bed >( rules );
      state.ResumeTiming();
      way == Way::plugin ? programByPlugin( *bed ) : programBare( *bed );
      state.PauseTiming();
      bed.reset();
      state.ResumeTiming();
   }
   state.SetItemsProcessed( state.iterations() * rules );
}

void byPlugin( benchmark::State& state ) { program( state, Way::plugin ); }
void bareLoop( benchmark::State& state ) { program( state, Way::bare ); }
BENCHMARK( byPlugin )->Arg( 1000 )->Arg( 10000 )->Arg( 32000 )->Unit( benchmark::kMillisecond );
BENCHMARK( bareLoop )->Arg( 1000 )->Arg( 10000 )->Arg( 32000 )->Unit( benchmark::kMillisecond );

} // namespace

int main( int argc, char** argv ) {
   if ( argc == 4 && std::strcmp( argv[ 1 ], "--instructions" ) == 0 ) {
      Bed bed( std::atoi( argv[ 3 ] ) );
      std::strcmp( argv[ 2 ], "acl" ) == 0 ? programByPlugin( bed ) : programBare( bed );
      // Without tear-down: only programming differs between the two ways.
      std::_Exit( 0 );
   }
   benchmark::Initialize( &argc, argv );
   // A few calls more make the group's entry for the ACL and the port's class.
   const uint64_t more = calls( Way::plugin, 1000 ) - calls( Way::bare, 1000 );
   must( more < 10, "the two ways do not make the same calls" );
   benchmark::RunSpecifiedBenchmarks();
   return 0;
}
