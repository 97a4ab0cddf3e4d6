#include "Agent/Commands/Run.h"

#include <iostream>

#include "Agent/Commands/ScriptRunner.h"
#include "Agent/Commands/Startup.h"
#include "Agent/Configuration/Names.h"
#include "Agent/Packets/Replay.h"
#include "Agent/Reports/AgentReports.h"
#include "Agent/Reports/Explainer.h"
#include "Agent/Runtime/PluginLibrary.h"
#include "Platform/Duolog/Duolog.h"

namespace Agent {

namespace {

// Prints reports as they come, or keeps them for one JSON document at the end.
class Printer {
 public:
   explicit Printer( const Command& command )
         : format_( command.format ), layout_( outputLayout( command.width ) ) {}
   void show( const std::vector< Report >& reports ) {
      for ( const Report& report : reports ) {
         if ( format_ == Format::json ) {
            kept_.push_back( report );
         } else {
            std::cout << toText( report, layout_ );
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
   const Format format_;
   const Layout layout_;
   std::vector< Report > kept_;
};

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
            throw std::runtime_error(
                  command.script + ":" + std::to_string( step.line ) + ": " + error.what() );
         }
      }
   }
}

void sayCut( const CutFrames& cut ) {
   if ( cut.count > 0 ) {
      sayWarning( cut.toString() );
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

int run( const Command& command ) {
   const std::vector< Step > steps =
         command.script.empty() ? std::vector< Step >() : readScript( command.script );
   checkToggles( command.config );
   const LoadResult loaded = checkConfiguration( command );
   checkInputs( command, steps, loaded.configuration );

   Runtime runtime( { pluginPath( command ), command.profile } );
   runtime.start( command.config );
   sayProblems( runtime );
   std::unique_ptr< Outlet > outlet;
   if ( !command.out.empty() ) {
      outlet = std::make_unique< Outlet >( runtime, command.out, inputFiles( command, steps ) );
   }
   Printer printer( command );
   sayCut( replay( runtime, command.inputs ) );
   ScriptRunner(
         runtime, command.script, [ & ]( const auto& reports ) { printer.show( reports ); },
         []( const Diagnostic& warning ) { sayWarning( warning.toString() ); } )
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
      const LoadResult loaded = checkConfiguration( command );
      std::cout << command.config << ": " << loaded.configuration.ports.size() << " ports, "
                << loaded.configuration.vlans.size() << " VLANs, "
                << loaded.configuration.sessions.size() << " mirror sessions; no errors\n";
      return std::cout.flush() ? 0 : 1;
   } );
}

// A frame that was asked for is missed; otherwise it is worth knowing.
void sayNoFrames( const Command& command ) {
   std::vector< std::string > files;
   for ( const Input& input : command.inputs ) {
      files.push_back( input.file );
   }
   const std::string text = joined( files ) + ": no frame in it, so nothing is to be explained";
   if ( command.packet > 0 ) {
      throw std::runtime_error( text );
   }
   sayWarning( text );
}

int explainCommand( const Command& command ) {
   const int code = guarded( [ & ] {
      checkToggles( command.config );
      const LoadResult loaded = checkConfiguration( command );
      checkInputs( command, {}, loaded.configuration );
      Runtime runtime( { pluginPath( command ), command.profile } );
      runtime.start( command.config );
      Printer printer( command );
      Explainer explainer( runtime, command.packet, [ & ]( const Explanation& frame ) {
         if ( command.format == Format::json ) {
            printer.show( explanationReports( frame ) );
         } else {
            std::cout << explanationText( frame );
         }
      } );
      sayCut( replay( runtime, command.inputs, &explainer ) );
      if ( explainer.frames() == 0 ) {
         sayNoFrames( command );
      }
      if ( explainer.frames() > 0 && command.packet > explainer.frames() ) {
         throw std::runtime_error( "--packet " + std::to_string( command.packet ) +
               ": no such frame; allowed: 1 to " + std::to_string( explainer.frames() ) );
      }
      printer.finish();
      return 0;
   } );
   Duolog::flush();
   return code;
}

int chipsCommand( const Command& command ) {
   return guarded( [ & ] {
      Printer printer( command );
      printer.show( { chipsReport() } );
      printer.finish();
      return 0;
   } );
}

int wiringCommand( const Command& command ) {
   return guarded( [ & ] {
      const PluginLibrary plugin( pluginPath( command ) );
      Printer printer( command );
      printer.show( wiringReports() );
      printer.finish();
      return 0;
   } );
}

} // namespace Agent
