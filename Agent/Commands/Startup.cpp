#include "Agent/Commands/Startup.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
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
      std::cerr << printable( error.what() ) << "\n";
   }
   return 1;
}

constexpr std::string_view toggleNames[] = { "KarvelMirrorGreKey", "KarvelMirrorT4Gre" };

// Feature toggles stand beside the configuration. std::runtime_error if they are malformed; what
// is not known is said, and false then.
bool checkToggles( const std::string& config ) {
   const std::string parent = std::filesystem::path( config ).parent_path().string();
   const std::string folder = parent.empty() ? "." : parent;
   KarvelLib::toggleDirectoryIs( folder );
   const std::string file = folder + "/KarvelLib.json";
   const std::vector< std::string_view > known(
         std::begin( toggleNames ), std::end( toggleNames ) );
   bool allKnown = true;
   for ( const std::string& name : KarvelLib::togglesIn( file ) ) {
      if ( std::find( known.begin(), known.end(), name ) == known.end() ) {
         sayWarning( file + ": " + inQuotes( name ) + " is no toggle of this agent" +
               suggestion( name, known ) );
         allKnown = false;
      }
   }
   return allKnown;
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

Loaded checkConfiguration( const Command& command ) {
   const bool togglesAreKnown = checkToggles( command.config );
   Loaded loaded;
   if ( !command.profile.empty() ) {
      loaded.source.defaultProfileIs( command.profile );
   }
   loaded.source.mostBytesIs( command.configLimitMb << 20 );
   loaded.result = loaded.source.load( command.config );
   if ( !sayLoad( loaded.result, command ) ||
         ( command.strictness == Strictness::strict && !togglesAreKnown ) ) {
      throw AlreadySaid();
   }
   return loaded;
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
                << ( command.detail == Detail::full
                               ? ": " + printable( joined( result.ignoredTables ) )
                               : "; --verbose names them" )
                << "\n";
   }
   return result.errors.empty() &&
         ( command.strictness == Strictness::lenient || result.warnings.empty() );
}

void sayWarning( const std::string& text ) {
   std::cerr << "warning: " << printable( text ) << "\n";
}

void sayProblems( const Runtime& runtime ) {
   for ( const std::string& problem : runtime.problems() ) {
      sayWarning( problem );
   }
}

bool sayUnserved( const Runtime& runtime, Strictness strictness ) {
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
   return !any || strictness == Strictness::lenient;
}

Style outputStyle() {
   return isatty( STDOUT_FILENO ) && !std::getenv( "NO_COLOR" ) ? Style::terminal
                                                                : Style::plain;
}

Layout outputLayout( TableWidth width ) {
   constexpr size_t narrowest = 80;
   Layout layout{ outputStyle(), 0 };
   if ( width == TableWidth::terminal && isatty( STDOUT_FILENO ) ) {
      winsize size{};
      ::ioctl( STDOUT_FILENO, TIOCGWINSZ, &size ); // no size: the narrowest
      layout.width = std::max< size_t >( size.ws_col, narrowest );
   }
   return layout;
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
