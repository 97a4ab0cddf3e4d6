#include "Agent/Run/Run.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>

#include "Agent/Explain/Explainer.h"
#include "Agent/Replay/Replay.h"
#include "Agent/Reports/AgentReports.h"
#include "Agent/Run/ScriptRunner.h"
#include "Agent/Runtime/PluginLibrary.h"
#include "Platform/Duolog/Duolog.h"
#include "Platform/KarvelLib/Toggles.h"

namespace Agent {

namespace {

// Bad input that has been said already.
struct AlreadySaid {};

Style outputStyle() {
   return isatty( STDOUT_FILENO ) && !std::getenv( "NO_COLOR" ) ? Style::terminal
                                                                : Style::plain;
}

// Prints reports as they come, or keeps them for one JSON document at the end.
class Printer {
 public:
   explicit Printer( Format format ) : format_( format ) {}
   void show( const std::vector< Report >& reports ) {
      for ( const Report& report : reports ) {
         if ( format_ == Format::json ) {
            kept_.push_back( report );
         } else {
            std::cout << toText( report, outputStyle() );
         }
      }
   }
   void finish() {
      if ( format_ == Format::json ) {
         std::cout << toJson( kept_ );
      }
      if ( !std::cout.flush() ) {
         throw std::runtime_error( "standard output: cannot be written" );
      }
   }

 private:
   Format format_;
   std::vector< Report > kept_;
};

// Says all that is to be said of a load. AlreadySaid if it failed.
void sayLoad( const LoadResult& result, const Command& command ) {
   for ( const Diagnostic& error : result.errors ) {
      std::cerr << error.toString() << "\n";
   }
   for ( const Diagnostic& warning : result.warnings ) {
      std::cerr << "warning: " << warning.toString() << "\n";
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
   const bool strict = command.strictness == Strictness::strict;
   if ( !result.errors.empty() || ( strict && !result.warnings.empty() ) ) {
      throw AlreadySaid();
   }
}

// Chips that name no profile get the one of the command line.
void useProfile( ConfigSource& source, const Command& command ) {
   if ( !command.profile.empty() ) {
      source.defaultProfileIs( command.profile );
   }
}

// Everything that can be known to be wrong before anything has an effect.
void checkInputs( const Command& command, const std::vector< Step >& steps,
      const Configuration& configuration ) {
   for ( const Input& input : command.inputs ) {
      if ( !configuration.ports.contains( input.port ) ) {
         throw std::runtime_error( "--in " + input.port + "=" + input.file +
                                   ": no such port; allowed: a port of PORT" );
      }
      validateCapture( input.file );
   }
   for ( const Step& step : steps ) {
      if ( const auto* in = std::get_if< InStep >( &step.action ) ) {
         try {
            validateCapture( in->file );
         } catch ( const CaptureError& error ) {
            throw std::runtime_error( command.script + ":" + std::to_string( step.line ) +
                                      ": " + error.what() );
         }
      }
   }
}

std::vector< std::string > inputFiles(
      const Command& command, const std::vector< Step >& steps ) {
   std::vector< std::string > files;
   for ( const Input& input : command.inputs ) {
      files.push_back( input.file );
   }
   for ( const Step& step : steps ) {
      if ( const auto* in = std::get_if< InStep >( &step.action ) ) {
         files.push_back( in->file );
      }
   }
   return files;
}

void checkToggles( const std::string& config ) {
   const std::string folder = std::filesystem::path( config ).parent_path().string();
   KarvelLib::toggleDirectoryIs( folder.empty() ? "." : folder );
   const std::string file = ( folder.empty() ? "." : folder ) + "/KarvelLib.json";
   if ( auto error = KarvelLib::checkToggleFile( file ) ) {
      throw std::runtime_error( *error );
   }
}

// Sessions that do not mirror at the end; true if there are any.
bool sayUnserved( const Runtime& runtime ) {
   bool any = false;
   for ( const SessionState& session : runtime.sessions() ) {
      if ( session.phase == SessionPhase::refused || session.phase == SessionPhase::failed ) {
         any = true;
         if ( !session.config->refused ) { // the load has said those
            std::cerr << "warning: session " << session.config->name << " is "
                      << ( session.phase == SessionPhase::failed ? "failed: " : "refused: " )
                      << session.reason << "\n";
         }
      }
   }
   return any;
}

int guarded( const std::function< int() >& work ) {
   try {
      return work();
   } catch ( const AlreadySaid& ) {
   } catch ( const std::runtime_error& error ) {
      std::cerr << error.what() << "\n";
   }
   return 1;
}

std::string pluginPath( const Command& command ) {
   const std::string path = command.plugin.empty() ? findPlugin() : command.plugin;
   if ( path.empty() ) {
      throw std::runtime_error( "the mirroring plug-in is not where it belongs; name it with "
                                "--plugin FILE" );
   }
   return path;
}

int run( const Command& command ) {
   const std::vector< Step > steps =
         command.script.empty() ? std::vector< Step >() : readScript( command.script );
   checkToggles( command.config );
   // Loaded once without an agent: what is wrong is known before there is one.
   ConfigSource source;
   useProfile( source, command );
   const LoadResult loaded = source.load( command.config );
   sayLoad( loaded, command );
   checkInputs( command, steps, loaded.configuration );

   Runtime runtime( { pluginPath( command ), command.profile } );
   runtime.start( command.config );
   for ( const std::string& problem : runtime.problems() ) {
      std::cerr << "warning: " << problem << "\n";
   }
   std::unique_ptr< Outlet > outlet;
   if ( !command.out.empty() ) {
      outlet = std::make_unique< Outlet >( runtime, command.out, inputFiles( command, steps ) );
   }
   Printer printer( command.format );
   replay( runtime, command.inputs );
   ScriptRunner(
         runtime, command.script, [ & ]( const auto& reports ) { printer.show( reports ); },
         []( const Diagnostic& warning ) {
            std::cerr << "warning: " << warning.toString() << "\n";
         } )
         .run( steps );
   std::vector< std::string > show = command.show;
   if ( show.empty() ) {
      show = { "sessions", "counters" };
   }
   for ( const std::string& name : show ) {
      printer.show( reportsOf( runtime, name ) );
   }
   if ( outlet ) {
      outlet->commit();
   }
   printer.finish();
   const bool strict = command.strictness == Strictness::strict;
   return sayUnserved( runtime ) && strict ? 1 : 0;
}

} // namespace

int runCommand( const Command& command ) {
   const int code = guarded( [ & ] { return run( command ); } );
   Duolog::flush();
   return code;
}

int checkCommand( const Command& command ) {
   return guarded( [ & ] {
      ConfigSource source;
      useProfile( source, command );
      const LoadResult loaded = source.load( command.config );
      sayLoad( loaded, command );
      std::cout << command.config << ": " << loaded.configuration.ports.size() << " ports, "
                << loaded.configuration.vlans.size() << " VLANs, "
                << loaded.configuration.sessions.size() << " mirror sessions; no errors\n";
      return std::cout.flush() ? 0 : 1;
   } );
}

int explainCommand( const Command& command ) {
   const int code = guarded( [ & ] {
      checkToggles( command.config );
      ConfigSource source;
      useProfile( source, command );
      const LoadResult loaded = source.load( command.config );
      sayLoad( loaded, command );
      checkInputs( command, {}, loaded.configuration );
      Runtime runtime( { pluginPath( command ), command.profile } );
      runtime.start( command.config );
      Printer printer( command.format );
      Explainer explainer( runtime, command.packet, [ & ]( const Explanation& frame ) {
         if ( command.format == Format::json ) {
            printer.show( explanationReports( frame ) );
         } else {
            std::cout << explanationText( frame );
         }
      } );
      replay( runtime, command.inputs, &explainer );
      if ( command.packet > explainer.frames() ) {
         throw std::runtime_error( "--packet " + std::to_string( command.packet ) +
                                   ": there are " + std::to_string( explainer.frames() ) +
                                   " frames; allowed: 1 to that number" );
      }
      printer.finish();
      return 0;
   } );
   Duolog::flush();
   return code;
}

int chipsCommand( const Command& command ) {
   return guarded( [ & ] {
      Printer printer( command.format );
      printer.show( { chipsReport() } );
      printer.finish();
      return 0;
   } );
}

} // namespace Agent
