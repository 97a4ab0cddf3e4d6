#include "Agent/Commands/Startup.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "Agent/Runtime/PluginLibrary.h"
#include "Platform/KarvelLib/Toggles.h"

namespace Agent {

int guarded( const std::function< int() >& work ) {
   try {
      return work();
   } catch ( const AlreadySaid& ) {
   } catch ( const std::runtime_error& error ) {
      std::cerr << error.what() << "\n";
   }
   return 1;
}

LoadResult checkConfiguration( const Command& command ) {
   ConfigSource source;
   if ( !command.profile.empty() ) {
      source.defaultProfileIs( command.profile );
   }
   LoadResult result = source.load( command.config );
   if ( !sayLoad( result, command.strictness ) ) {
      throw AlreadySaid();
   }
   return result;
}

bool sayLoad( const LoadResult& result, Strictness strictness ) {
   for ( const Diagnostic& error : result.errors ) {
      std::cerr << error.toString() << "\n";
   }
   for ( const Diagnostic& warning : result.warnings ) {
      sayWarning( warning.toString() );
   }
   if ( !result.ignoredTables.empty() ) {
      std::cerr << "ignored " << result.ignoredTables.size()
                << " tables that this agent does not read:";
      const char* separator = " ";
      for ( const std::string& table : result.ignoredTables ) {
         std::cerr << separator << table;
         separator = ", ";
      }
      std::cerr << "\n";
   }
   return result.errors.empty() &&
         ( strictness == Strictness::lenient || result.warnings.empty() );
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
