#include "Agent/Commands/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "Agent/Commands/Help.h"
#include "Agent/Commands/Options.h"

namespace Agent {

namespace {

using Words = std::vector< std::string >;

std::string sentence( const Words& words ) {
   std::string text;
   for ( const std::string& word : words ) {
      text += ( text.empty() ? "" : " " ) + word;
   }
   return text;
}

const CommandRow& commandNamed( const std::string& name ) {
   for ( const CommandRow& row : commandRows() ) {
      if ( row.name == name ) {
         return row;
      }
   }
   throw UsageError( "\"" + name + "\" is no command; allowed: " + commandNames() );
}

void addOption( CLI::App& app, const OptionRow& row, Command& command ) {
   if ( *row.value == '\0' ) {
      app.add_flag_callback(
               row.name, [ &row, &command ] { row.take( command, "" ); }, row.what )
            ->disable_flag_override();
      return;
   }
   const auto take = [ &row, &command ]( const Words& values ) {
      const std::string name = row.name;
      if ( values.size() > 1 && row.times == Times::once ) {
         throw UsageError( name + " is there twice; allowed: once" );
      }
      for ( const std::string& value : values ) {
         try {
            row.take( command, value );
         } catch ( const UsageError& error ) {
            throw UsageError( name + " " + value + ": " + error.what() );
         }
      }
   };
   app.add_option_function< Words >( row.name, take, meaning( row ) )
         ->option_text( row.value )
         ->expected( 1 )
         ->take_all()
         ->allow_extra_args( false );
}

// The commands and options as the library parses them.
class Parser {
 public:
   Parser() : app_( purpose, "karvel-agent" ) {
      app_.set_version_flag( "--version", "karvel-agent " KARVEL_VERSION );
      app_.require_subcommand( 1 );
      for ( const CommandRow& row : commandRows() ) {
         addCommand( row );
      }
   }

   std::optional< Command > parse( int argc, const char* const* argv ) {
      checkCommandName( argc, argv );
      try {
         app_.parse( argc, argv );
      } catch ( const CLI::Success& asked ) {
         app_.exit( asked, std::cout, std::cerr );
         return {};
      } catch ( const CLI::ExtrasError& error ) {
         throw UsageError( std::string( error.what() ) + "; allowed: " + allowed() );
      } catch ( const CLI::ParseError& error ) {
         throw UsageError( error.what() );
      }
      takeWords();
      if ( command_.verb == Verb::help ) {
         printHelp();
         return {};
      }
      return command_;
   }

 private:
   void addCommand( const CommandRow& row ) {
      CLI::App& verb = *app_.add_subcommand( row.name, row.what );
      const std::string operand = row.operand;
      if ( operand.starts_with( '[' ) ) {
         verb.allow_extras(); // with options before and behind them
         verb.footer( synopsis( row ) );
      } else if ( !operand.empty() ) {
         verb.add_option( operand, command_.config )
               ->required()
               ->option_text( "The configuration, in JSON" );
      }
      for ( const OptionRow& option : optionRows() ) {
         if ( option.isOf( row.verb ) ) {
            addOption( verb, option, command_ );
         }
      }
      if ( row.verb == Verb::explain ) {
         verb.get_option( "--in" )->required();
      }
   }

   // The library says of a mistyped command only that there is none.
   void checkCommandName( int argc, const char* const* argv ) const {
      if ( argc > 1 && *argv[ 1 ] != '-' && argv[ 1 ][ 0 ] != '\0' ) {
         (void)commandNamed( argv[ 1 ] );
      }
   }

   // That was parsed.
   Verb verb() const { return commandNamed( app_.get_subcommands().front()->get_name() ).verb; }
   std::string allowed() const {
      return app_.get_subcommands().empty() ? commandNames() : optionNames( verb() );
   }

   void takeWords() {
      command_.verb = verb();
      const Words words = app_.get_subcommands().front()->remaining();
      if ( !words.empty() && words.front().starts_with( '-' ) ) {
         throw UsageError( words.front() + ": no such option; allowed: " + allowed() );
      }
      command_.words = sentence( words );
   }

   void printHelp() const {
      if ( command_.manual == Manual::page ) {
         std::cout << manualPage();
      } else if ( command_.manual == Manual::completion ) {
         std::cout << bashCompletion();
      } else {
         const CLI::App* about = command_.words.empty()
               ? &app_
               : app_.get_subcommand( commandNamed( command_.words ).name );
         std::cout << app_.get_formatter()->make_help(
               about, "karvel-agent", CLI::AppFormatMode::Normal );
      }
      std::cout << std::flush;
   }

   CLI::App app_;
   Command command_;
};

} // namespace

std::optional< Command > parseCommandLine( int argc, const char* const* argv ) {
   return Parser().parse( argc, argv );
}

} // namespace Agent
