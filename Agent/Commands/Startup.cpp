#include "Agent/Commands/Startup.h"

#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "Agent/Configuration/Names.h"
#include "Agent/Packets/Interruption.h"
#include "Agent/Runtime/PluginLibrary.h"
#include "Platform/Duolog/Duolog.h"
#include "Platform/KarvelLib/Toggles.h"

namespace Agent {

namespace {

int sayingErrors( const std::function< int() >& work ) {
   try {
      return work();
   } catch ( const AlreadySaid& ) {
   } catch ( const std::runtime_error& error ) {
      std::cerr << error.what() << "\n";
   }
   return 1;
}

} // namespace

int guarded( const std::function< int() >& work ) {
   try {
      const int code = sayingErrors( work );
      Duolog::flush();
      return code;
   } catch ( const Interrupted& interrupted ) {
      Duolog::flush();
      std::signal( interrupted.signal, SIG_DFL );
      std::raise( interrupted.signal );
      return 128 + interrupted.signal; // where a debugger holds the signal back
   }
}

void flushOutput() {
   if ( std::cout.flush() ) {
      return;
   }
   pollfd output{ STDOUT_FILENO, POLLOUT, 0 };
   if ( ::poll( &output, 1, 0 ) == 1 && ( output.revents & ( POLLERR | POLLHUP ) ) ) {
      throw Interrupted{ SIGPIPE };
   }
   throw std::runtime_error( "standard output: cannot be written" );
}

LoadResult checkConfiguration( const Command& command ) {
   ConfigSource source;
   if ( !command.profile.empty() ) {
      source.defaultProfileIs( command.profile );
   }
   LoadResult result = source.load( command.config );
   if ( !sayLoad( result, command ) ) {
      throw AlreadySaid();
   }
   return result;
}

bool sayLoad( const LoadResult& result, const Command& command ) {
   for ( const Diagnostic& error : result.errors ) {
      std::cerr << error.toString() << "\n";
   }
   for ( const Diagnostic& warning : result.warnings ) {
      sayWarning( warning.toString() );
   }
   if ( const size_t ignored = result.ignoredTables.size(); ignored > 0 ) {
      std::cerr << "ignored " << ignored << ( ignored == 1 ? " table" : " tables" )
                << " that this agent does not read"
                << ( command.detail == Detail::full ? ": " + joined( result.ignoredTables )
                                                    : "; --verbose names them" )
                << "\n";
   }
   return result.errors.empty() &&
         ( command.strictness == Strictness::lenient || result.warnings.empty() );
}

void sayWarning( const std::string& text ) { std::cerr << "warning: " << text << "\n"; }

void sayProblems( const Runtime& runtime ) {
   for ( const std::string& problem : runtime.problems() ) {
      sayWarning( problem );
   }
}

bool sayUnserved( const Runtime& runtime ) {
   bool any = false;
   for ( const SessionState& session : runtime.sessions() ) {
      if ( session.phase == SessionPhase::refused || session.phase == SessionPhase::failed ) {
         any = true;
         if ( !session.config->refused ) { // the load has said those
            sayWarning( "session " + session.config->name + " " + phaseName( session.phase ) +
                  ": " + session.reason );
         }
      }
   }
   return any;
}

Style outputStyle() {
   return isatty( STDOUT_FILENO ) && !std::getenv( "NO_COLOR" ) ? Style::terminal
                                                                : Style::plain;
}

void checkToggles( const std::string& config ) {
   const std::string folder = std::filesystem::path( config ).parent_path().string();
   KarvelLib::toggleDirectoryIs( folder.empty() ? "." : folder );
   const std::string file = ( folder.empty() ? "." : folder ) + "/KarvelLib.json";
   if ( auto error = KarvelLib::checkToggleFile( file ) ) {
      throw std::runtime_error( *error );
   }
}

std::string pluginPath( const Command& command ) {
   const std::string path = command.plugin.empty() ? findPlugin() : command.plugin;
   if ( path.empty() ) {
      throw std::runtime_error( "the mirroring plug-in is not where it belongs; name it with "
                                "--plugin FILE" );
   }
   return path;
}

} // namespace Agent
