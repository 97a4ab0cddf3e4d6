#include "Agent/Live/LiveAgent.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "Agent/Commands/ScriptRunner.h"
#include "Agent/Configuration/Names.h"
#include "Agent/Packets/CaptureReader.h"
#include "Agent/Packets/InputStream.h"
#include "ChipModel/LeftIn.h"

namespace Agent {

namespace {

// Others wait meanwhile, and a session that keeps failing is tried every few seconds.
constexpr uint64_t longestWaitNs = 86'400'000'000'000;

constexpr const char* notAFile = "is not a regular file; allowed: a file";

std::vector< std::string > texts( const std::vector< Diagnostic >& diagnostics ) {
   std::vector< std::string > lines;
   for ( const Diagnostic& diagnostic : diagnostics ) {
      lines.push_back( diagnostic.toString() );
   }
   return lines;
}

} // namespace

LiveAgent::LiveAgent( const Command& command, Loaded loaded )
      : command_( command ),
        runtime_( { pluginPath( command ), command.profile, command.time } ) {
   runtime_.start( command.config, std::move( loaded.source ), loaded.result.configuration );
   sayProblems( runtime_ );
   if ( !command.out.empty() ) {
      outlet_ =
            std::make_unique< Outlet >( runtime_, command.out, std::vector< std::string >() );
      outlet_->publish();
   }
}

Outcome LiveAgent::execute(
      std::string_view line, int answers, const std::function< void() >& look ) {
   Outcome outcome;
   try {
      const std::optional< StepAction > action = parseStep( line, Steps::live );
      if ( !action ) {
         return outcome;
      }
      if ( std::holds_alternative< WatchStep >( *action ) ) {
         outcome.request = Request::watch;
      } else if ( std::holds_alternative< StopStep >( *action ) ) {
         outcome.request = Request::stop;
      } else if ( std::holds_alternative< ReloadStep >( *action ) ) {
         outcome.reply = reload();
      } else if ( const auto* waiting = std::get_if< WaitStep >( &*action ) ) {
         wait( *waiting, look );
      } else if ( const auto* in = std::get_if< InStep >( &*action ) ) {
         receive( *in, *action, answers, outcome.reply );
      } else {
         run( *action, answers, outcome.reply );
      }
   } catch ( const std::runtime_error& error ) {
      outcome.reply.errors.emplace_back( printable( error.what() ) );
   }
   look();
   return outcome;
}

void LiveAgent::run( const StepAction& action, int answers, Reply& reply ) {
   ScriptRunner( runtime_, "command",
         { [ & ]( const std::vector< Report >& reports ) {
             for ( const Report& report : reports ) {
                reply.text += toText( report );
                reply.reports.push_back( report );
             }
          },
               [ & ]( const Diagnostic& warning ) {
                  reply.warnings.push_back( warning.toString() );
               },
               [ & ]( uint64_t ) {
                  if ( outlet_ ) {
                     outlet_->check();
                  }
               },
               Steps::live, answers } )
         .run( { { 0, action } } );
}

void LiveAgent::wait( const WaitStep& step, const std::function< void() >& look ) {
   if ( command_.time == Zol::TimeSource::realTime ) {
      throw StepError( "wait: time passes by itself here; allowed: without --real-time" );
   }
   if ( step.ns > longestWaitNs ) {
      throw StepError( "wait: others wait meanwhile; allowed: up to 86400 seconds at a time" );
   }
   passTime( runtime_, step.ns, look ); // watchers see what each clock has done
}

void LiveAgent::receive(
      const InStep& step, const StepAction& action, int answers, Reply& reply ) {
   checkFile( step.file );
   validateCapture( step.file ); // nothing of a broken capture arrives
   if ( !outlet_ ) {
      run( action, answers, reply );
      return;
   }
   outlet_->resume();
   outlet_->checkInput( step.file );
   try {
      run( action, answers, reply );
   } catch ( const StepError& ) {
      outlet_->publish();
      throw;
   }
   outlet_->publish();
}

void LiveAgent::checkFile( const std::string& path ) {
   if ( canBeReadOnce( path ) ) {
      throw std::runtime_error( path + ": " + notAFile );
   }
}

Reply LiveAgent::reload() {
   LoadResult result;
   if ( canBeReadOnce( command_.config ) ) {
      result.errors.push_back( { { command_.config, 0 }, notAFile } );
   } else if ( command_.strictness == Strictness::strict ) {
      // As at the start, what would not be served is known before anything has an effect.
      ConfigSource source;
      if ( !command_.profile.empty() ) {
         source.defaultProfileIs( command_.profile );
      }
      source.mostBytesIs( command_.configLimitMb << 20 );
      result = source.load( command_.config );
   }
   if ( result.errors.empty() && result.warnings.empty() ) {
      result = runtime_.reload();
   } else {
      result.errors.insert(
            result.errors.end(), result.warnings.begin(), result.warnings.end() );
      result.warnings.clear();
   }
   sayLoad( result, command_ );
   Reply reply;
   reply.errors = texts( result.errors );
   reply.warnings = texts( result.warnings );
   if ( reply.errors.empty() ) {
      sayProblems( runtime_ );
      const std::vector< std::string > problems = runtime_.problems();
      reply.warnings.insert( reply.warnings.end(), problems.begin(), problems.end() );
      reply.text = command_.config + " is loaded again\n";
   }
   return reply;
}

Zol::Seconds LiveAgent::untilDue() const {
   if ( command_.time == Zol::TimeSource::virtualTime ) {
      return Zol::never;
   }
   return std::max( 0.0, runtime_.nextTime() - runtime_.now() );
}

std::vector< std::string > LiveAgent::withdraw() {
   outlet_.reset();
   runtime_.withdraw();
   std::vector< std::string > left;
   for ( int unit : runtime_.units() ) {
      for ( std::string& line :
            ChipModel::leftIn( runtime_.chips().control().state( unit ) ) ) {
         left.push_back( std::move( line ) );
      }
   }
   return left;
}

} // namespace Agent
