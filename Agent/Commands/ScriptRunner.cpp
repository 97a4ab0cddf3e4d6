#include "Agent/Commands/ScriptRunner.h"

#include <algorithm>

#include "Agent/Packets/Replay.h"
#include "Agent/Reports/AgentReports.h"

namespace Agent {

ScriptRunner::ScriptRunner(
      Runtime& runtime, const std::string& name, Show show, Warn warn, int answers )
      : runtime_( runtime ), name_( name ), show_( std::move( show ) ),
        warn_( std::move( warn ) ), answers_( answers ) {}

void ScriptRunner::run( const std::vector< Step >& steps ) {
   for ( const Step& one : steps ) {
      std::visit( [ & ]( const auto& action ) { step( action, one.line ); }, one.action );
   }
}

void ScriptRunner::fail( unsigned line, const std::string& what ) const {
   throw StepError( ( line ? name_ + ":" + std::to_string( line ) + ": " : "" ) + what );
}

void ScriptRunner::report( const LoadResult& result ) {
   if ( !result.errors.empty() ) {
      throw StepError( result.errors.front().toString() );
   }
   for ( const Diagnostic& warning : result.warnings ) {
      warn_( warning );
   }
   for ( const std::string& problem : runtime_.problems() ) {
      warn_( { { name_, 0 }, problem } );
   }
}

void ScriptRunner::step( const SetStep& set, unsigned line ) {
   report( runtime_.set(
         set.table + "|" + set.key, set.json, { name_, static_cast< int >( line ) } ) );
}

void ScriptRunner::step( const DelStep& del, unsigned line ) {
   report( runtime_.del( del.table + "|" + del.key, { name_, static_cast< int >( line ) } ) );
}

void ScriptRunner::step( const InStep& in, unsigned line ) {
   try {
      const CutFrames cut = replay( runtime_, { { in.port, in.file } } );
      if ( cut.count > 0 ) {
         warn_( { { name_, static_cast< int >( line ) }, cut.toString() } );
      }
   } catch ( const std::runtime_error& error ) {
      fail( line, error.what() );
   }
}

void ScriptRunner::step( const WaitStep& wait, unsigned ) {
   runtime_.advance( static_cast< double >( wait.ns ) * 1e-9 );
}

void ScriptRunner::step( const ShowStep& show, unsigned line ) {
   const auto& names = reportNames();
   std::vector< Report > reports;
   for ( const std::string& what : show.what ) {
      if ( std::find( names.begin(), names.end(), what ) == names.end() ) {
         std::string allowed;
         for ( const std::string& name : names ) {
            allowed += ( allowed.empty() ? "" : ", " ) + name;
         }
         fail( line, "show " + what + ": no such report; allowed: " + allowed );
      }
      for ( Report& report : reportsOf( runtime_, what ) ) {
         reports.push_back( std::move( report ) );
      }
   }
   show_( reports );
}

void ScriptRunner::step( const FailStep& fault, unsigned line ) {
   if ( auto error = runtime_.fail( fault.call, fault.first, fault.last ) ) {
      fail( line, *error );
   }
}

void ScriptRunner::step( const PortStep& port, unsigned line ) {
   if ( auto error = runtime_.linkIs( port.port, port.isUp ) ) {
      fail( line, *error );
   }
}

void ScriptRunner::step( const CapacityStep& capacity, unsigned line ) {
   if ( auto error =
               runtime_.capacity( capacity.what, static_cast< int >( capacity.count ) ) ) {
      fail( line, *error );
   }
}

void ScriptRunner::step( const PluginStep& command, unsigned line ) {
   const std::vector< int > units = runtime_.units();
   if ( std::find( units.begin(), units.end(), command.unit ) == units.end() ) {
      fail( line,
            "plugin " + std::to_string( command.unit ) +
                  ": no such chip; allowed: a unit of CHIP" );
   }
   runtime_.pluginCommand( command.unit, static_cast< uint32_t >( answers_ ), command.text );
}

void ScriptRunner::step( const ReloadStep&, unsigned ) { report( runtime_.reload() ); }

void ScriptRunner::step( const HelpStep&, unsigned ) {
   Report report{ "steps", { "step" }, {}, "" };
   for ( const std::string& form : stepForms() ) {
      report.rows.push_back( { form } );
   }
   show_( { report } );
}

void ScriptRunner::step( const WatchStep&, unsigned line ) {
   fail( line, "watch: not in a script; allowed: in commands of a live agent" );
}

void ScriptRunner::step( const StopStep&, unsigned line ) {
   fail( line, "stop: a script ends by itself; allowed: in commands of a live agent" );
}

} // namespace Agent
