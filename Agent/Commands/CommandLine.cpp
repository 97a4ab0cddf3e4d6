#include "Agent/Commands/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <iostream>

#include "Agent/Configuration/Names.h"
#include "Agent/Reports/AgentReports.h"
#include "ChipModel/Profile.h"
#include "Platform/Duolog/Duolog.h"

namespace Agent {

namespace {

std::string profileNames() {
   std::vector< std::string > names;
   for ( const ChipModel::Profile& profile : ChipModel::chipProfiles() ) {
      names.emplace_back( profile.name );
   }
   return joined( names );
}

Input parseInput( const std::string& text ) {
   const size_t equals = text.find( '=' );
   if ( equals == std::string::npos || equals == 0 || equals + 1 == text.size() ) {
      throw UsageError( "--in " + text + ": not PORT=FILE; allowed: Ethernet0=host-a.pcap" );
   }
   return { text.substr( 0, equals ), text.substr( equals + 1 ) };
}

// Checks what CLI11 cannot: values that other parts of the agent know.
void checkValues( Command& command, const std::vector< std::string >& inputs ) {
   for ( const std::string& input : inputs ) {
      command.inputs.push_back( parseInput( input ) );
   }
   for ( const std::string& report : command.show ) {
      const auto& names = reportNames();
      if ( std::find( names.begin(), names.end(), report ) == names.end() ) {
         throw UsageError(
               "--show " + report + ": no such report; allowed: " + joined( names ) );
      }
   }
   if ( !command.profile.empty() && !ChipModel::chipProfile( command.profile ) ) {
      throw UsageError( "--chip " + command.profile +
            ": no such chip profile; allowed: " + profileNames() );
   }
   if ( !command.trace.empty() ) {
      if ( auto error = Duolog::enable( command.trace ) ) {
         throw UsageError( "--trace: " + *error );
      }
   }
}

// What is wrong with the number of a frame; empty: nothing.
std::string frameNumber( const std::string& text ) {
   uint64_t number = 0;
   const char* const end = text.data() + text.size();
   const auto [ parsed, error ] = std::from_chars( text.data(), end, number );
   const bool isOne = error == std::errc() && parsed == end && number > 0;
   return isOne ? "" : text + " is not a frame number; allowed: 1 or more";
}

// CLI11 says of a mistyped command only that there is none.
void checkCommandName( const CLI::App& app, int argc, const char* const* argv ) {
   if ( argc < 2 || *argv[ 1 ] == '-' || *argv[ 1 ] == '\0' ) {
      return;
   }
   std::vector< std::string > names;
   for ( const CLI::App* command : app.get_subcommands( {} ) ) {
      names.push_back( command->get_name() );
   }
   if ( std::find( names.begin(), names.end(), argv[ 1 ] ) == names.end() ) {
      throw UsageError(
            std::string( argv[ 1 ] ) + ": no such command; allowed: " + joined( names ) );
   }
}

// What `run` and `check` share.
void addConfig( CLI::App& verb, Command& command, bool& strict ) {
   verb.add_option( "config", command.config, "Configuration, in JSON" )
         ->required()
         ->option_text( "CONFIG.json" );
   verb.add_option(
             "--chip", command.profile, "Chip profile where the configuration names none" )
         ->option_text( "PROFILE" );
   verb.add_flag( "--strict", strict, "Sessions that cannot be served are errors" );
}

void addWide( CLI::App& verb, bool& wide ) {
   verb.add_flag( "--wide", wide, "Tables as wide as what is in them, on a terminal too" );
}

} // namespace

std::optional< Command > parseCommandLine( int argc, const char* const* argv ) {
   Command command;
   std::vector< std::string > inputs;
   bool strict = false;
   bool json = false;
   bool wide = false;
   bool realTime = false;

   CLI::App app{ "Chip agent with traffic mirroring, on a software model of the chip",
      "karvel-agent" };
   app.set_version_flag( "--version", "karvel-agent " KARVEL_VERSION );
   app.require_subcommand( 1 );

   CLI::App* run = app.add_subcommand( "run", "Run a configuration, and packets through it" );
   addConfig( *run, command, strict );
   run->add_option( "--in", inputs, "Frames arriving at a port; may be repeated" )
         ->option_text( "PORT=FILE" )
         ->expected( 1 )
         ->take_all();
   run->add_option( "--script", command.script, "Steps to run after the start" )
         ->option_text( "FILE" );
   run->add_option( "--out", command.out, "Where captures of what left the ports are written" )
         ->option_text( "DIR" );
   run->add_option( "--show", command.show, "Reports at the end: " + joined( reportNames() ) )
         ->option_text( "WHAT,..." )
         ->delimiter( ',' )
         ->expected( 1 )
         ->take_all();
   run->add_flag( "--json", json, "Print reports as JSON" );
   addWide( *run, wide );
   run->add_option( "--trace", command.trace, "Traces: NAME[/LEVELS],... with '*' in NAME" )
         ->option_text( "WHAT" );
   run->add_option( "--plugin", command.plugin, "The mirroring plug-in" )
         ->option_text( "FILE" );

   CLI::App* explain =
         app.add_subcommand( "explain", "Say for each frame why it was mirrored or was not" );
   addConfig( *explain, command, strict );
   explain->add_option( "--in", inputs, "Frames arriving at a port; may be repeated" )
         ->option_text( "PORT=FILE" )
         ->expected( 1 )
         ->take_all()
         ->required();
   explain->add_option( "--packet", command.packet, "Only this frame, counted from 1" )
         ->option_text( "N" )
         ->check( frameNumber, "" );
   explain->add_flag( "--json", json, "Print as JSON" );
   explain->add_option( "--plugin", command.plugin, "The mirroring plug-in" )
         ->option_text( "FILE" );

   CLI::App* serve = app.add_subcommand( "serve", "Run a configuration until told to stop" );
   addConfig( *serve, command, strict );
   serve->add_option( "--socket", command.socket, "Where commands are taken" )
         ->option_text( "PATH" );
   serve->add_option(
              "--out", command.out, "Where captures of what left the ports are written" )
         ->option_text( "DIR" );
   serve->add_flag( "--real-time", realTime, "Time passes by itself, not in `wait`" );
   serve->add_option( "--trace", command.trace, "Traces: NAME[/LEVELS],... with '*' in NAME" )
         ->option_text( "WHAT" );
   serve->add_option( "--plugin", command.plugin, "The mirroring plug-in" )
         ->option_text( "FILE" );

   CLI::App* ctl = app.add_subcommand(
         "ctl", "Send a running agent a command; without one, those of a prompt" );
   ctl->add_option( "--socket", command.socket, "Where the agent takes commands" )
         ->option_text( "PATH" );
   ctl->add_flag( "--json", json, "Print reports as JSON" );
   // What stands behind the first word of a command is the command's.
   ctl->prefix_command();
   ctl->footer( "COMMAND is a step of the script language; `help` lists them." );

   CLI::App* check = app.add_subcommand( "check", "Say every error of a configuration" );
   addConfig( *check, command, strict );
   CLI::App* chips = app.add_subcommand( "chips", "List the chip profiles" );
   chips->add_flag( "--json", json, "Print as JSON" );
   addWide( *chips, wide );
   CLI::App* wiring = app.add_subcommand(
         "wiring", "List which change leads to which handler, and who owns which machine" );
   wiring->add_flag( "--json", json, "Print as JSON" );
   addWide( *wiring, wide );
   wiring->add_option( "--plugin", command.plugin, "The mirroring plug-in" )
         ->option_text( "FILE" );

   checkCommandName( app, argc, argv );
   try {
      app.parse( argc, argv );
   } catch ( const CLI::Success& asked ) {
      app.exit( asked, std::cout, std::cerr );
      return {};
   } catch ( const CLI::ParseError& error ) {
      throw UsageError( error.what() );
   }
   const std::pair< const CLI::App*, Verb > verbs[] = { { run, Verb::run },
      { check, Verb::check }, { chips, Verb::chips }, { wiring, Verb::wiring },
      { explain, Verb::explain }, { serve, Verb::serve }, { ctl, Verb::ctl } };
   for ( const auto& [ verb, value ] : verbs ) {
      if ( verb->parsed() ) {
         command.verb = value;
      }
   }
   std::vector< std::string > words = ctl->remaining();
   if ( !words.empty() && words.back() == "--json" ) { // also where people like to write it
      json = true;
      words.pop_back();
   }
   if ( !words.empty() && words.front().starts_with( '-' ) ) {
      throw UsageError(
            "ctl " + words.front() + ": no such option; allowed: --socket, --json" );
   }
   for ( const std::string& word : words ) {
      command.words += ( command.words.empty() ? "" : " " ) + word;
   }
   command.time = realTime ? Zol::TimeSource::realTime : Zol::TimeSource::virtualTime;
   command.width = wide ? TableWidth::whole : TableWidth::terminal;
   command.format = json ? Format::json : Format::text;
   command.strictness = strict ? Strictness::strict : Strictness::lenient;
   checkValues( command, inputs );
   return command;
}

} // namespace Agent
