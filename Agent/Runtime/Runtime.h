#pragma once

// The embedded agent as a whole: chips, store, services, one slice per chip with the plug-in
// in it, forwarding, and the central publisher. Everything that a user can do to a running
// agent goes through here.
//
//    Runtime runtime( { .plugin = "libKarvelMirrorSlice.so" } );
//    LoadResult loaded = runtime.start( "config_db.json" );
//    runtime.receive( 0, 1, frame );
//    for ( const SessionState& session : runtime.sessions() ) ...
//
// Time is virtual, and moves in advance() only, or real: then whoever runs the agent calls
// runDue() when nextTime() has come. What an operation causes at once has happened when it
// returns: the event loop has run until nothing was left to do.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Agent/Configuration/Loader.h"
#include "Agent/Rates/RateHistory.h"
#include "Agent/Slices/SessionOutcome.h"
#include "AgentServices/TcamRequestManager.h"
#include "ChipModel/Switch.h"
#include "Platform/Hubdb/Store.h"
#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/Zol/Clock.h"

namespace Agent {

struct RuntimeOptions {
   std::string plugin;         // path of the plug-in's shared object
   std::string defaultProfile; // of chips that name none; empty: the first there is
   Zol::TimeSource time = Zol::TimeSource::virtualTime;
};

// One mirror destination that a session holds.
struct HeldDestination {
   int unit = 0;
   KarvelMirror::Mtp mtp;
   KarvelMirror::Direction direction{};
   KarvelMirror::ProgramStatus status{}; // as the slice reports it
   std::string route;                    // of a tunnel, or why it has none
};

struct SessionState : SessionOutcome {
   const SessionConfig* config = nullptr; // valid until the next change
   std::vector< HeldDestination > held;
};

class Runtime {
 public:
   // Loads the plug-in. std::runtime_error, in one line, if that cannot be done.
   explicit Runtime( const RuntimeOptions& options );
   // Withdraws everything from the chips, in order.
   ~Runtime();
   Runtime( const Runtime& ) = delete;
   Runtime& operator=( const Runtime& ) = delete;

   // --- Configuration -----------------------------------------------------------------------
   // Reads the file and, without errors, brings everything up. Once.
   LoadResult start( const std::string& configPath );
   // The same with what has been read of the file, without an error, by this source.
   void start( const std::string& configPath, ConfigSource source,
         const Configuration& configuration );
   // One entry, as in a script. With errors nothing has changed. The CHIP table cannot be
   // changed while the agent runs.
   LoadResult set(
         const std::string& tableAndKey, const std::string& json, const Place& place );
   LoadResult del( const std::string& tableAndKey, const Place& place );
   // Reads the file again. It takes the place of all that is configured, also of what set() and
   // del() changed; what says the same as before stays as it is in the chips. With errors, one
   // of which is another CHIP table, nothing has changed.
   LoadResult reload();
   const Configuration& configuration() const;
   // Takes everything back from the chips, which can still be read: chips() and units() are all
   // that may be asked for afterwards.
   void withdraw();

   // --- Time and packets --------------------------------------------------------------------
   double now() const;             // seconds since the start
   void advance( double seconds ); // 0 or more; virtual time only
   // When something is due by itself; Zol::never if nothing is.
   Zol::Seconds nextTime() const;
   // Does what is due by now.
   void runDue();
   // A frame arrives at a chip's port. What leaves goes to the sink of control().
   void receive( int unit, int chipPort, const ChipModel::FrameView& frame );

   // --- Looking in --------------------------------------------------------------------------
   std::vector< SessionState > sessions() const; // by name
   // What the chips refuse at present besides mirroring, in one line each.
   std::vector< std::string > problems() const;
   ChipModel::Switch& chips();
   const Hubdb::Store& store() const; // to look at
   const ChipModel::Profile& profile( int unit ) const;
   std::vector< int > units() const;
   // "Ethernet4" of a chip's port; "cpu" of port 0; "port 7" where no PORT names it.
   std::string portName( int unit, int chipPort ) const;
   // The mounter's status entity of a slice.
   Zol::Ptr< const KarvelMirror::SliceMtpProgramStatus > programStatus( int unit ) const;
   // How the port mirroring of a destination went.
   KarvelMirror::ProgramStatus portStatus( int unit, KarvelMirror::Mtp mtp ) const;
   // The shared TCAM manager of a chip; null if the chip is not programmed by requests.
   const AgentServices::TcamRequestManager* requestManager( int unit ) const;
   // What became of the copies of limited sessions over time.
   const RateHistory& rateHistory() const;
   // How much later the frames of a capture arrive than their stamps say, in nanoseconds: time
   // does not go back for the chips, so a capture from before the last frame comes after it, and
   // after the time that has passed since then.
   uint64_t captureShift( uint64_t firstNs ) const;
   // To be told of the time of each frame that is to arrive, and of the end of a run of frames.
   void sampleRates( uint64_t timeNs );
   void sampleRatesAtEnd( uint64_t timeNs );
   // Hands a command to the plug-in's command callback of a slice.
   void pluginCommand( int unit, uint32_t socket, const std::string& command );

   // --- Trouble, as a script asks for it ----------------------------------------------------
   // Refuses the first to last next calls of a kind ("bcm_field_entry_create"). What is wrong
   // with the request comes back, in one line.
   std::optional< std::string > fail( std::string_view call, uint64_t first, uint64_t last );
   // "ingress-entries", "egress-entries" or "policers", on every chip. Sessions that failed are
   // tried again.
   std::optional< std::string > capacity( std::string_view what, int value );
   // The link of a port comes up or goes down, and stays so whatever is configured.
   std::optional< std::string > linkIs( const std::string& port, bool isUp );
   // Whether frames can leave by the port: its link and its administrator say up.
   bool isUp( const std::string& port ) const;

 private:
   struct State;
   std::unique_ptr< State > state_;
};

} // namespace Agent
