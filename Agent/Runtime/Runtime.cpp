#include "Agent/Runtime/Runtime.h"

#include <algorithm>
#include <stdexcept>

#include "Agent/Runtime/PluginLibrary.h"
#include "Agent/Runtime/SessionStates.h"
#include "Agent/Slices/ChipReconciler.h"
#include "AgentServices/TcamGroupManager.h"
#include "Platform/Acl/AclConfig.h"
#include "Platform/Karvel/SdkCall.h"
#include "Platform/KarvelCentral/Status.h"
#include "Platform/KarvelMirror/Paths.h"
#include "Platform/Mirroring/MirroringConfig.h"
#include "Platform/Zol/ActivityLock.h"

namespace Agent {

namespace {

const Zol::String loopback = "Loopback0";

// More than all ports of a chip in all of its mirror destinations.
constexpr int egressEntriesPerFeature = 4096;

} // namespace

struct Runtime::State {
   explicit State( const RuntimeOptions& options ) : plugin( options.plugin ) {}

   void makeStore();
   void makeSlices();
   void apply( const Configuration& wanted );
   RateHistory::Sample rateSample();
   const Slice* sliceOf( const SessionConfig& session ) const;
   bool someLackKeys();
   void retryKeys();

   PluginLibrary plugin; // outlives every object of its types
   ChipModel::Switch chips;
   Hubdb::Store store;
   std::string configPath;
   ConfigSource source;
   Configuration configuration;
   PortStates portStates;
   RateHistory rateHistory;
   bool hasLimits = false; // of the configuration
   std::optional< uint64_t > lastFrameNs;
   Zol::Seconds lastFrameAt = 0; // by the agent's time
   Zol::Ptr< KarvelMirror::LogicalFapMtpProgramInfoColl > programInfo;
   Zol::Ptr< Acl::Input::Config > aclInput;
   Zol::Ptr< AgentServices::TcamGroupManager > groupManager;
   Zol::Ptr< KarvelCentral::CpuRecircStatus > cpuRecircStatus;
   std::optional< MirroringSessions > mirroringSessions;
   std::map< int, ChipReconciler > reconcilers; // by unit, as the slices
   std::map< int, Slice > slices;
   std::map< std::pair< int, int >, std::string > portNames;
   RetryClock keyRetry{ [ this ] { retryKeys(); } };
};

Runtime::Runtime( const RuntimeOptions& options ) {
   Zol::ActivityLockHolder lock;
   Zol::activityManager().timeSourceIs( options.time );
   state_ = std::make_unique< State >( options );
   ::Shim::sdk_ = &state_->chips.sdk();
   state_->chips.control().writersAre( [] {
      const Duolog::Handle* caller = Karvel::sdkCaller;
      return ChipModel::WriteStamp{ caller ? caller->name() : "agent",
         Zol::activityManager().now() };
   } );
   state_->source.defaultProfileIs( options.defaultProfile.empty()
               ? std::string( ChipModel::chipProfiles()[ 0 ].name )
               : options.defaultProfile );
   state_->makeStore();
}

Runtime::~Runtime() {
   withdraw();
   ::Shim::sdk_ = nullptr;
}

void Runtime::State::makeStore() {
   programInfo = Zol::make< KarvelMirror::LogicalFapMtpProgramInfoColl >();
   groupManager = Zol::make< AgentServices::TcamGroupManager >();
   store.entityIs( KarvelMirror::mtpProgramInfoPath, programInfo );
   cpuRecircStatus = Zol::make< KarvelCentral::CpuRecircStatus >();
   store.entityIs( KarvelMirror::cpuRecircStatusPath, cpuRecircStatus );
   store.entityIs(
         KarvelMirror::paramConfigPath, Zol::make< KarvelMirror::Slice::ParamConfig >() );
   store.entityIs( KarvelMirror::aclConfigInputPath, Zol::make< Zol::Dir >() );
   aclInput = Zol::make< Acl::Input::Config >();
   for ( Acl::AclType type : { Acl::ip(), Acl::ipv6(), Acl::mac() } ) {
      aclInput->aclTypeConfigIs( type ); // every kind is there, also without an ACL
   }
   store.entityIs( KarvelMirror::aclConfigInputPath, aclInput );
   auto mirroring = Zol::make< Mirroring::Config >();
   store.entityIs( KarvelMirror::mirroringConfigPath, mirroring );
   mirroringSessions.emplace( mirroring );
}

// --- Configuration ------------------------------------------------------------------------

LoadResult Runtime::start( const std::string& configPath ) {
   LoadResult result = state_->source.load( configPath );
   if ( result.errors.empty() ) {
      start( configPath, std::move( state_->source ), result.configuration );
   }
   return result;
}

void Runtime::start(
      const std::string& configPath, ConfigSource source, const Configuration& configuration ) {
   Zol::ActivityLockHolder lock;
   state_->configPath = configPath;
   state_->source = std::move( source );
   state_->configuration = configuration;
   state_->makeSlices();
   state_->apply( configuration );
}

void Runtime::State::makeSlices() {
   ZOL_ASSERT( slices.empty() && "an agent starts once" );
   auto chipTable = Zol::make< KarvelCentral::ChipTable >();
   for ( const auto& [ unit, chip ] : configuration.chips ) {
      const ChipModel::Profile& profile = *ChipModel::chipProfile( chip.profile );
      chips.addChip( unit, profile );
      if ( chip.ingressEntries ) {
         (void)chips.control().capacityIs( unit, "ingress-entries", *chip.ingressEntries );
      }
      if ( chip.egressEntries ) {
         (void)chips.control().capacityIs( unit, "egress-entries", *chip.egressEntries );
      }
      groupManager->unitIs( static_cast< uint32_t >( unit ),
            { profile.aclGroup, profile.portClassBits,
                  profile.policers > 0 ? egressEntriesPerFeature : 0 } );
      ChipReconciler& reconciler = reconcilers.try_emplace( unit, unit ).first->second;
      Slice& slice = slices.try_emplace( unit, unit, profile, store, chipTable, groupManager,
                                 programInfo, aclInput, *mirroringSessions, reconciler )
                           .first->second;
      slice.host.configurationIs( configuration );
      // The agent has one loopback interface; by now the slice knows the chip's module.
      if ( profile.loopbackPort != 0 && !cpuRecircStatus->portHas( loopback ) ) {
         cpuRecircStatus->portIs( loopback, { unit, profile.loopbackPort } );
      }
      slice.host.start();
   }
}

void Runtime::State::apply( const Configuration& wanted ) {
   configuration = wanted;
   hasLimits = std::any_of( configuration.sessions.begin(), configuration.sessions.end(),
         []( const auto& session ) { return session.second.rateIsEnforced(); } );
   portNames.clear();
   for ( const auto& [ name, port ] : configuration.ports ) {
      portNames[ { port.unit, port.chipPort } ] = name;
   }
   portStates.configurationIs( configuration );
   for ( auto& [ unit, slice ] : slices ) {
      reconcilers.at( unit ).configurationIs( configuration, portStates );
      slice.host.configurationIs( configuration );
      slice.publisher.configurationIs( configuration, portStates );
   }
   Zol::activityManager().runUntilIdle();
   keyRetry.restart();
   keyRetry.pendingIs( someLackKeys() );
}

bool Runtime::State::someLackKeys() {
   return std::ranges::any_of( configuration.sessions, [ this ]( const auto& named ) {
      const Slice* slice = sliceOf( named.second );
      return slice && !named.second.refused && !slice->publisher.refusal( named.first ) &&
            lacksKey( named.second, *slice, chips );
   } );
}

// The plug-in writes the settings for keys when it sees the first key, whatever the chip says.
void Runtime::State::retryKeys() {
   const bool someLack = someLackKeys();
   if ( someLack ) {
      mirroringSessions->renewKeys();
   }
   keyRetry.pendingIs( someLack );
}

namespace {

// The CHIP table says what hardware there is: it cannot change under a running agent.
bool refuseChipChange(
      const std::string& tableAndKey, const Place& place, LoadResult& result ) {
   if ( tableAndKey != "CHIP" && !tableAndKey.starts_with( "CHIP|" ) ) {
      return false;
   }
   result.errors.push_back( { place,
         tableAndKey + ": the chips are fixed while the agent runs; allowed: other tables" } );
   return true;
}

} // namespace

LoadResult Runtime::set(
      const std::string& tableAndKey, const std::string& json, const Place& place ) {
   Zol::ActivityLockHolder lock;
   LoadResult result;
   if ( refuseChipChange( tableAndKey, place, result ) ) {
      return result;
   }
   result = state_->source.set( tableAndKey, json, place );
   if ( result.errors.empty() ) {
      state_->apply( result.configuration );
   }
   return result;
}

LoadResult Runtime::del( const std::string& tableAndKey, const Place& place ) {
   Zol::ActivityLockHolder lock;
   LoadResult result;
   if ( refuseChipChange( tableAndKey, place, result ) ) {
      return result;
   }
   result = state_->source.del( tableAndKey, place );
   if ( result.errors.empty() ) {
      state_->apply( result.configuration );
   }
   return result;
}

LoadResult Runtime::reload() {
   Zol::ActivityLockHolder lock;
   LoadResult result = state_->source.reload( state_->configPath );
   if ( result.errors.empty() ) {
      state_->apply( result.configuration );
   }
   return result;
}

const Configuration& Runtime::configuration() const { return state_->configuration; }

void Runtime::withdraw() {
   Zol::ActivityLockHolder lock;
   state_->keyRetry.restart();
   state_->slices.clear();
   Zol::activityManager().runUntilIdle();
   state_->groupManager = nullptr; // tries once more what the chips refused
   for ( auto& [ unit, reconciler ] : state_->reconcilers ) {
      reconciler.withdraw();
   }
}

// --- Time and packets ---------------------------------------------------------------------

double Runtime::now() const { return Zol::activityManager().now(); }

void Runtime::advance( double seconds ) {
   Zol::ActivityLockHolder lock;
   Zol::activityManager().advance( seconds );
}

Zol::Seconds Runtime::nextTime() const { return Zol::activityManager().nextTime(); }

void Runtime::runDue() {
   Zol::ActivityLockHolder lock;
   Zol::activityManager().runUntilIdle();
}

void Runtime::receive( int unit, int chipPort, const ChipModel::FrameView& frame ) {
   ChipModel::Chip* chip = state_->chips.chip( unit );
   ZOL_ASSERT( chip && chipPort >= 0 && chipPort <= chip->profile().ports );
   chip->pipeline().receive( chipPort, frame );
}

// --- Looking in ---------------------------------------------------------------------------

const Slice* Runtime::State::sliceOf( const SessionConfig& session ) const {
   auto at = slices.find( session.unit );
   return at == slices.end() ? nullptr : &at->second;
}

std::vector< SessionState > Runtime::sessions() const {
   std::vector< SessionState > all;
   for ( const auto& [ name, session ] : state_->configuration.sessions ) {
      const Slice* slice = state_->sliceOf( session );
      SessionState& state = all.emplace_back( sessionState( session, slice, state_->chips ) );
      if ( state.phase == SessionPhase::active || state.phase == SessionPhase::pending ) {
         const Forwarding forwarding{ state_->configuration, state_->portStates,
            state_->reconcilers.at( session.unit ) };
         if ( auto trouble = forwardingTrouble( session, state, forwarding ) ) {
            static_cast< SessionOutcome& >( state ) = *trouble;
         }
      }
   }
   return all;
}

std::vector< std::string > Runtime::problems() const {
   std::vector< std::string > all;
   for ( const auto& [ unit, reconciler ] : state_->reconcilers ) {
      std::ranges::copy( reconciler.problems(), std::back_inserter( all ) );
   }
   return all;
}

ChipModel::Switch& Runtime::chips() { return state_->chips; }
const Hubdb::Store& Runtime::store() const { return state_->store; }

const ChipModel::Profile& Runtime::profile( int unit ) const {
   return state_->slices.at( unit ).host.profile();
}

std::vector< int > Runtime::units() const { return state_->chips.units(); }

std::string Runtime::portName( int unit, int chipPort ) const {
   auto at = state_->portNames.find( { unit, chipPort } );
   if ( at != state_->portNames.end() ) {
      return at->second;
   }
   return chipPort == 0 ? "cpu" : "port " + std::to_string( chipPort );
}

Zol::Ptr< const KarvelMirror::SliceMtpProgramStatus > Runtime::programStatus( int unit ) const {
   return state_->slices.at( unit ).host.programStatus();
}

KarvelMirror::ProgramStatus Runtime::portStatus( int unit, KarvelMirror::Mtp mtp ) const {
   return state_->slices.at( unit ).host.portStatus( mtp );
}

const AgentServices::TcamRequestManager* Runtime::requestManager( int unit ) const {
   return state_->slices.at( unit ).host.requestManager();
}

RateHistory::Sample Runtime::State::rateSample() {
   RateHistory::Sample sample;
   for ( const auto& [ unit, slice ] : slices ) {
      for ( const auto& [ mtp, use ] : slice.publisher.uses() ) {
         const auto session = configuration.sessions.find( use.session );
         if ( session == configuration.sessions.end() || !session->second.rateIsEnforced() ) {
            continue;
         }
         const ChipModel::MirrorCounters& counters =
               chips.chip( unit )->tables().mirrors.entry( mtp.value() ).counters;
         RateHistory::Totals& totals = sample[ use.session ];
         totals.passed.packets += counters.frames;
         totals.passed.bytes += counters.bytes;
         totals.policed.packets += counters.policedFrames;
         totals.policed.bytes += counters.policedBytes;
      }
   }
   return sample;
}

const RateHistory& Runtime::rateHistory() const { return state_->rateHistory; }

uint64_t Runtime::captureShift( uint64_t firstNs ) const {
   if ( !state_->lastFrameNs ) {
      return 0;
   }
   constexpr double nsPerSecond = 1e9;
   const double passed = ( now() - state_->lastFrameAt ) * nsPerSecond;
   const uint64_t earliest = *state_->lastFrameNs + static_cast< uint64_t >( passed );
   return firstNs < earliest ? earliest - firstNs : 0;
}

void Runtime::sampleRates( uint64_t timeNs ) {
   if ( state_->hasLimits && state_->rateHistory.isDue( timeNs ) ) {
      // Since the frame before nothing has happened.
      RateHistory::Sample sample = state_->rateSample();
      if ( state_->lastFrameNs ) {
         state_->rateHistory.add( *state_->lastFrameNs, sample );
      }
      state_->rateHistory.add( timeNs, std::move( sample ) );
   }
   state_->lastFrameNs = timeNs;
}

void Runtime::sampleRatesAtEnd( uint64_t timeNs ) {
   state_->lastFrameAt = now();
   if ( state_->hasLimits ) {
      state_->rateHistory.add( timeNs, state_->rateSample() );
   }
}

void Runtime::pluginCommand( int unit, uint32_t socket, const std::string& command ) {
   Zol::ActivityLockHolder lock;
   state_->slices.at( unit ).host.callback()->handleCommand( socket, command );
}

// --- Trouble ------------------------------------------------------------------------------

std::optional< std::string > Runtime::fail(
      std::string_view call, uint64_t first, uint64_t last ) {
   auto kind = ChipModel::sdkCallByName( call );
   if ( !kind ) {
      return "no SDK call '" + std::string( call ) +
            "'; allowed: the calls of the SDK, bcm_field_entry_create for example";
   }
   ChipModel::Fault fault;
   fault.call = *kind;
   fault.first = first;
   fault.last = last;
   state_->chips.control().gate().faultAdd( fault );
   return {};
}

std::optional< std::string > Runtime::linkIs( const std::string& port, bool isUp ) {
   if ( !state_->configuration.ports.contains( port ) ) {
      return port + ": no such port; allowed: a port of PORT";
   }
   Zol::ActivityLockHolder lock;
   if ( isUp ) {
      state_->portStates.down.erase( port );
   } else {
      state_->portStates.down.insert( port );
   }
   state_->apply( Configuration( state_->configuration ) );
   return {};
}

bool Runtime::isUp( const std::string& port ) const {
   return state_->portStates.isUp( state_->configuration, port );
}

std::optional< std::string > Runtime::capacity( std::string_view what, int value ) {
   for ( int unit : units() ) {
      if ( auto error = state_->chips.control().capacityIs( unit, what, value ) ) {
         return error;
      }
   }
   Zol::ActivityLockHolder lock;
   if ( what == "policers" ) {
      for ( auto& [ unit, slice ] : state_->slices ) {
         slice.publisher.policersAre( value );
      }
   }
   state_->apply( Configuration( state_->configuration ) ); // tries again what failed
   return {};
}

} // namespace Agent
