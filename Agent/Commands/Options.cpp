#include "Agent/Commands/Options.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "Agent/Configuration/Names.h"
#include "Agent/Reports/AgentReports.h"
#include "ChipModel/Profile.h"
#include "Platform/Duolog/Duolog.h"
#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

constexpr uint32_t of( std::initializer_list< Verb > verbs ) {
   uint32_t bits = 0;
   for ( Verb verb : verbs ) {
      bits |= 1U << static_cast< unsigned >( verb );
   }
   return bits;
}

constexpr uint32_t withConfig = of( { Verb::run, Verb::explain, Verb::serve, Verb::check } );

void takeInput( Command& command, const std::string& text ) {
   const size_t equals = text.find( '=' );
   if ( equals == std::string::npos || equals == 0 || equals + 1 == text.size() ) {
      throw UsageError( "not PORT=FILE; allowed: Ethernet0=host-a.pcap" );
   }
   command.inputs.push_back( { text.substr( 0, equals ), text.substr( equals + 1 ) } );
}

void takeReports( Command& command, const std::string& text ) {
   const auto& names = reportNames();
   for ( size_t start = 0; start <= text.size(); ) {
      const size_t comma = std::min( text.find( ',', start ), text.size() );
      const std::string name = text.substr( start, comma - start );
      if ( std::find( names.begin(), names.end(), name ) == names.end() ) {
         throw UsageError( "\"" + name + "\" is no report; allowed: " + joined( names ) );
      }
      command.show.push_back( name );
      start = comma + 1;
   }
}

void takeChip( Command& command, const std::string& name ) {
   if ( !ChipModel::chipProfile( name ) ) {
      std::vector< std::string > names;
      for ( const ChipModel::Profile& profile : ChipModel::chipProfiles() ) {
         names.emplace_back( profile.name );
      }
      throw UsageError( "no such chip profile; allowed: " + joined( names ) );
   }
   command.profile = name;
}

void takePacket( Command& command, const std::string& text ) {
   const char* const end = text.data() + text.size();
   const auto [ parsed, error ] = std::from_chars( text.data(), end, command.packet );
   if ( error != std::errc() || parsed != end || command.packet == 0 ) {
      throw UsageError( "not the number of a frame; allowed: 1 for the first, 2, ..." );
   }
}

void takeTrace( Command& command, const std::string& text ) {
   if ( auto error = Duolog::enable( text ) ) {
      throw UsageError( *error );
   }
   command.trace = text;
}

void takeConfigLimit( Command& command, const std::string& text ) {
   constexpr size_t most = size_t{ 1 } << 20;
   const char* const end = text.data() + text.size();
   const auto [ parsed, error ] = std::from_chars( text.data(), end, command.configLimitMb );
   if ( error != std::errc() || parsed != end || command.configLimitMb == 0 ||
         command.configLimitMb > most ) {
      throw UsageError( "not a number of megabytes; allowed: 1 to " + std::to_string( most ) );
   }
}

using enum Verb;

constexpr CommandRow commands[] = {
   { run, "run", "CONFIG.json", Values::file, "Run a configuration, and packets through it" },
   { explain, "explain", "CONFIG.json", Values::file,
         "Say for each frame why it was mirrored or was not" },
   { serve, "serve", "CONFIG.json", Values::file,
         "Keep a configuration running, and take commands, until told to stop" },
   { ctl, "ctl", "[COMMAND...]", Values::steps,
         "Send such an agent a command, a step of the script language (`ctl help` lists them); "
         "without one, those of a prompt or of standard input" },
   { check, "check", "CONFIG.json", Values::file, "Say every error of a configuration" },
   { chips, "chips", "", Values::none, "List the chip profiles" },
   { wiring, "wiring", "", Values::none,
         "List which change leads to which handler of the plug-in, and who owns which "
         "machine" },
   { help, "help", "[COMMAND]", Values::commands, "Say what there is, or all of a command" },
};

constexpr OptionRow options[] = {
   { "--in", "PORT=FILE", Values::input, Times::many, of( { run, explain } ),
         "Frames of a capture (pcap, pcapng, also packed by gzip; - for standard input) arrive "
         "at a port; all are merged by their time stamps",
         takeInput },
   { "--out", "DIR", Values::folder, Times::once, of( { run, serve } ),
         "Write captures of what left the ports, and plots of limited sessions",
         []( Command& command, const std::string& text ) { command.out = text; } },
   { "--show", "WHAT,...", Values::reports, Times::many, of( { run } ),
         "Reports at the end; by default sessions,counters", takeReports },
   { "--script", "FILE", Values::file, Times::once, of( { run } ),
         "Steps to run after the start and the --in captures",
         []( Command& command, const std::string& text ) { command.script = text; } },
   { "--packet", "N", Values::free, Times::once, of( { explain } ),
         "Only this frame, counted from 1", takePacket },
   { "--socket", "PATH", Values::file, Times::once, of( { serve, ctl } ),
         "Where the agent takes commands",
         []( Command& command, const std::string& text ) { command.socket = text; } },
   { "--real-time", "", Values::none, Times::once, of( { serve } ),
         "Time passes by itself, not in `wait`",
         []( Command& command, const std::string& ) {
            command.time = Zol::TimeSource::realTime;
         } },
   { "--json", "", Values::none, Times::once, of( { run, explain, ctl, chips, wiring } ),
         "Print reports as JSON",
         []( Command& command, const std::string& ) { command.format = Format::json; } },
   { "--wide", "", Values::none, Times::once, of( { run, chips, wiring } ),
         "Tables as wide as what is in them, on a terminal too",
         []( Command& command, const std::string& ) { command.width = TableWidth::whole; } },
   { "--chip", "PROFILE", Values::chips, Times::once, withConfig,
         "Chip profile where the configuration names none", takeChip },
   { "--config-limit", "MB", Values::free, Times::once, withConfig,
         "Refuse a configuration with more megabytes; by default 256", takeConfigLimit },
   { "--strict", "", Values::none, Times::once, withConfig,
         "Sessions that cannot be served are errors",
         []( Command& command, const std::string& ) {
            command.strictness = Strictness::strict;
         } },
   { "--verbose", "", Values::none, Times::once, withConfig,
         "Name the tables of the configuration that are not read",
         []( Command& command, const std::string& ) { command.detail = Detail::full; } },
   { "--trace", "WHAT", Values::free, Times::once, of( { run, serve } ),
         "Traces on standard error: NAME[/LEVELS],... with * in NAME, levels 0 to 9 as 4 or "
         "0-4",
         takeTrace },
   { "--plugin", "FILE", Values::file, Times::once, of( { run, explain, serve, wiring } ),
         "The mirroring plug-in, if it is not where it was built or installed",
         []( Command& command, const std::string& text ) { command.plugin = text; } },
   { "--man", "", Values::none, Times::once, of( { help } ), "Print the manual page",
         []( Command& command, const std::string& ) { command.manual = Manual::page; } },
   { "--bash", "", Values::none, Times::once, of( { help } ),
         "Print the completion for bash: source <(karvel-agent help --bash)",
         []( Command& command, const std::string& ) { command.manual = Manual::completion; } },
};

} // namespace

std::span< const CommandRow > commandRows() { return commands; }
std::span< const OptionRow > optionRows() { return options; }

std::string commandNames() {
   std::vector< std::string > names;
   for ( const CommandRow& row : commands ) {
      names.emplace_back( row.name );
   }
   return joined( names );
}

std::string optionNames( Verb verb ) {
   std::vector< std::string > names;
   for ( const OptionRow& row : options ) {
      if ( row.isOf( verb ) ) {
         names.emplace_back( row.name );
      }
   }
   names.emplace_back( "--help" );
   return joined( names );
}

} // namespace Agent
