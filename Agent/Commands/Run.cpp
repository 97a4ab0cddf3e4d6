#include "Agent/Commands/Run.h"

#include <iostream>
#include <set>

#include "Agent/Commands/Progress.h"
#include "Agent/Commands/ScriptRunner.h"
#include "Agent/Commands/Startup.h"
#include "Agent/Configuration/Names.h"
#include "Agent/Packets/CaptureReader.h"
#include "Agent/Packets/InputStream.h"
#include "Agent/Packets/Interruption.h"
#include "Agent/Packets/Replay.h"
#include "Agent/Reports/AgentReports.h"
#include "Agent/Reports/Explainer.h"
#include "Agent/Runtime/PluginLibrary.h"

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
      flushOutput();
   }

 private:
   const Format format_;
   const Layout layout_;
   std::vector< Report > kept_;
};

// A capture that frames come from, and who names it.
struct Source {
   std::string file;
   std::string where; // empty: the capture's own name says it
};

std::vector< Source > sourcesOf( const Command& command, const std::vector< Step >& steps ) {
   std::vector< Source > sources;
   for ( const Input& input : command.inputs ) {
      sources.push_back( { input.file, "" } );
   }
   for ( const Step& step : steps ) {
      if ( const auto* in = std::get_if< InStep >( &step.action ) ) {
         sources.push_back(
               { in->file, command.script + ":" + std::to_string( step.line ) + ": " } );
      }
   }
   return sources;
}

std::vector< std::string > filesOf( const std::vector< Source >& sources ) {
   std::vector< std::string > files;
   for ( const Source& source : sources ) {
      files.push_back( source.file );
   }
   return files;
}

// Everything that can be known to be wrong before anything has an effect: pipes are not looked
// into. How many frames there are; 0: it is not known.
uint64_t checkSources( const Command& command, const std::vector< Source >& sources,
      const Configuration& configuration ) {
   for ( const Input& input : command.inputs ) {
      if ( !configuration.ports.contains( input.port ) ) {
         throw std::runtime_error( "--in " + input.port + "=" + input.file +
               ": no such port; allowed: a port of PORT" );
      }
   }
   std::set< std::string > once;
   if ( command.script == "-" ) {
      once.insert( "-" );
   }
   uint64_t frames = 0;
   for ( const Source& source : sources ) {
      if ( !canBeReadOnce( source.file ) ) {
         try {
            frames += validateCapture( source.file ).frames;
         } catch ( const CaptureError& error ) {
            throw std::runtime_error( source.where + error.what() );
         }
      } else if ( !once.insert( source.file ).second ) {
         throw std::runtime_error( source.where + source.file +
               ": is read twice; allowed: once, as it is no file" );
      }
   }
   return once.empty() ? frames : 0;
}

void sayCuts( const std::vector< std::string >& cuts ) {
   for ( const std::string& cut : cuts ) {
      sayWarning( cut );
   }
}

int run( const Command& command ) {
   const std::vector< Step > steps =
         command.script.empty() ? std::vector< Step >() : readScript( command.script );
   Loaded loaded = checkConfiguration( command );
   const Configuration& configuration = loaded.result.configuration;
   const std::vector< Source > sources = sourcesOf( command, steps );
   Progress progress( checkSources( command, sources, configuration ) );

   Runtime runtime( { pluginPath( command ), command.profile } );
   runtime.start( command.config, std::move( loaded.source ), configuration );
   sayProblems( runtime );
   std::unique_ptr< Outlet > outlet;
   if ( !command.out.empty() ) {
      outlet = std::make_unique< Outlet >( runtime, command.out, filesOf( sources ) );
   }
   const Pause pause = [ & ]( uint64_t frames ) {
      if ( outlet ) {
         outlet->check();
      }
      progress.arrived( frames );
   };
   Printer printer( command );
   const std::vector< std::string > cuts = replay( runtime, command.inputs, pause );
   progress.clear();
   sayCuts( cuts );
   ScriptRunner( runtime, command.script,
         { [ & ]( const auto& reports ) {
             progress.clear();
             printer.show( reports );
          },
               [ & ]( const Diagnostic& warning ) {
                  progress.clear();
                  sayWarning( warning.toString() );
               },
               pause } )
         .run( steps );
   progress.clear();
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
   return sayUnserved( runtime, command.strictness ) ? 0 : 1;
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

int explain( const Command& command ) {
   Loaded loaded = checkConfiguration( command );
   const Configuration& configuration = loaded.result.configuration;
   checkSources( command, sourcesOf( command, {} ), configuration );
   Runtime runtime( { pluginPath( command ), command.profile } );
   runtime.start( command.config, std::move( loaded.source ), configuration );
   Printer printer( command );
   Explainer explainer( runtime, command.packet, [ & ]( const Explanation& frame ) {
      if ( command.format == Format::json ) {
         printer.show( explanationReports( frame ) );
      } else {
         std::cout << explanationText( frame );
      }
   } );
   const Pause pause = []( uint64_t ) {
      if ( !std::cout ) { // nobody reads any more
         flushOutput();
      }
   };
   sayCuts( replay( runtime, command.inputs, pause, &explainer ) );
   if ( explainer.frames() == 0 ) {
      sayNoFrames( command );
   }
   if ( explainer.frames() > 0 && command.packet > explainer.frames() ) {
      throw std::runtime_error( "--packet " + std::to_string( command.packet ) +
            ": no such frame; allowed: 1 to " + std::to_string( explainer.frames() ) );
   }
   printer.finish();
   return 0;
}

} // namespace

int runCommand( const Command& command ) {
   noticeInterruptions();
   return guarded( [ & ] { return run( command ); } );
}

int checkCommand( const Command& command ) {
   return guarded( [ & ] {
      Loaded loaded = checkConfiguration( command );
      const Configuration& configuration = loaded.result.configuration;
      if ( command.strictness == Strictness::strict ) {
         // What a chip or its profile cannot do is known when it has been tried.
         Runtime runtime( { pluginPath( command ), command.profile } );
         runtime.start( command.config, std::move( loaded.source ), configuration );
         sayProblems( runtime );
         if ( !sayUnserved( runtime, command.strictness ) ) {
            return 1;
         }
      }
      std::cout << printable( command.config ) << ": " << configuration.ports.size()
                << " ports, " << configuration.vlans.size() << " VLANs, "
                << configuration.sessions.size() << " mirror sessions; no errors\n";
      flushOutput();
      return 0;
   } );
}

int explainCommand( const Command& command ) {
   return guarded( [ & ] { return explain( command ); } );
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
