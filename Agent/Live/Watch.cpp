#include "Agent/Live/Watch.h"

#include <cstdio>
#include <utility>

#include "Platform/Flitlog/Flitlog.h"

namespace Agent {

namespace {

const std::string absent = "absent"; // the phase of a session before and after its life

Event logEvent( const Flitlog::Record& record ) {
   char time[ 32 ];
   std::snprintf( time, sizeof time, "%.3f", record.time );
   const std::string severity = Zol::toString( record.severity );
   std::string text = "log " + record.id + " (" + severity + "): " + record.text;
   for ( const std::string* advice : { &record.explanation, &record.recommendedAction } ) {
      text += advice->empty() ? "" : "\n    " + *advice;
   }
   return { "log", text,
      { { "time", time }, { "severity", severity }, { "message", record.id },
            { "detail", record.text }, { "explanation", record.explanation },
            { "action", record.recommendedAction } } };
}

} // namespace

Watch::Watch( const Runtime& runtime ) : runtime_( runtime ) {
   (void)look(); // what is there already is no news
   Flitlog::sinkIs( [ this ]( const Flitlog::Record& record ) {
      events_.push_back( logEvent( record ) );
   } );
}

Watch::~Watch() { Flitlog::sinkIs( {} ); }

std::vector< Event > Watch::look() {
   lookAtLinks();
   lookAtSessions();
   return std::exchange( events_, {} );
}

void Watch::lookAtSessions() {
   std::map< std::string, Session > now;
   for ( const SessionState& state : runtime_.sessions() ) {
      const bool isTrouble = !state.config->refused &&
            ( state.phase == SessionPhase::failed || state.phase == SessionPhase::refused );
      now[ state.config->name ] = { phaseName( state.phase ), state.reason, isTrouble };
   }
   auto changed = [ & ]( const std::string& name, const Session& from, const Session& to ) {
      if ( from == to ) {
         return;
      }
      const std::string why = to.reason.empty() ? "" : " (" + to.reason + ")";
      events_.push_back(
            { "session", "session " + name + ": " + from.phase + " -> " + to.phase + why,
                  { { "name", name }, { "from", from.phase }, { "to", to.phase },
                        { "reason", to.reason } },
                  to.isTrouble } );
   };
   for ( const auto& [ name, before ] : sessions_ ) {
      if ( !now.contains( name ) ) {
         changed( name, before, { absent, "" } );
      }
   }
   for ( const auto& [ name, after ] : now ) {
      const auto at = sessions_.find( name );
      changed( name, at == sessions_.end() ? Session{ absent, "" } : at->second, after );
   }
   sessions_ = std::move( now );
}

void Watch::lookAtLinks() {
   std::map< std::string, bool > now;
   for ( const auto& port : runtime_.configuration().ports ) {
      const std::string& name = port.first;
      const bool isUp = now[ name ] = runtime_.isUp( name );
      const auto at = links_.find( name );
      if ( at != links_.end() && at->second != isUp ) {
         const char* state = isUp ? "up" : "down";
         events_.push_back( { "link", "link " + name + ": " + state,
               { { "port", name }, { "to", state } } } );
      }
   }
   links_ = std::move( now );
}

} // namespace Agent
