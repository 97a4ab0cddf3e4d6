#include "Agent/Commands/CommandLine.h"

#include <algorithm>
#include <deque>
#include <iostream>
#include <set>

#include "Agent/Commands/Help.h"
#include "Agent/Commands/Options.h"

namespace Agent {

namespace {

// Takes the arguments of one command from the left.
class Parser {
 public:
   Parser( const CommandRow& row, std::vector< std::string > arguments )
         : row_( row ), left_( arguments.begin(), arguments.end() ) {
      command_.verb = row.verb;
   }

   Command parse() {
      while ( !left_.empty() ) {
         const std::string argument = take();
         if ( argument == "--" ) { // what follows are no options
            operands_.insert( operands_.end(), left_.begin(), left_.end() );
            left_.clear();
         } else if ( argument.size() < 2 || argument.front() != '-' ||
               !takeOption( argument ) ) {
            operands_.push_back( argument );
         }
      }
      takeOperands();
      if ( row_.verb == Verb::explain && command_.inputs.empty() ) {
         throw UsageError( "explain: --in PORT=FILE is missing" );
      }
      return command_;
   }

 private:
   std::string take() {
      std::string first = left_.front();
      left_.pop_front();
      return first;
   }

   // False if it is no option of this command but may be part of what the command sends.
   bool takeOption( const std::string& argument ) {
      const size_t equals = std::min( argument.find( '=' ), argument.size() );
      const std::string name = argument.substr( 0, equals );
      const auto rows = optionRows();
      const auto row = std::find_if( rows.begin(), rows.end(), [ & ]( const OptionRow& one ) {
         return one.name == name && one.isOf( row_.verb );
      } );
      if ( row == rows.end() ) {
         if ( row_.verb == Verb::ctl && !operands_.empty() ) {
            return false;
         }
         throw UsageError( std::string( row_.name ) + " " + name +
               ": no such option; allowed: " + optionNames( row_.verb ) );
      }
      if ( !seen_.insert( name ).second && row->times == Times::once ) {
         throw UsageError( name + " is there twice; allowed: once" );
      }
      const std::string value = valueOf( *row, argument, equals );
      try {
         row->take( command_, value );
      } catch ( const UsageError& error ) {
         throw UsageError( name + " " + value + ": " + error.what() );
      }
      return true;
   }

   std::string valueOf( const OptionRow& row, const std::string& argument, size_t equals ) {
      const bool takesOne = *row.value != '\0';
      const bool isGiven = equals < argument.size();
      if ( isGiven && !takesOne ) {
         throw UsageError( argument + ": takes no value; allowed: " + row.name );
      }
      std::string value = isGiven ? argument.substr( equals + 1 )
            : takesOne && !left_.empty() && !left_.front().starts_with( "--" ) ? take()
                                                                               : "";
      if ( takesOne && value.empty() ) {
         throw UsageError( std::string( row.name ) + ": " + row.value + " is missing" );
      }
      return value;
   }

   void takeOperands() {
      const bool takesMany = row_.verb == Verb::ctl;
      const bool needsOne = *row_.operand != '\0' && *row_.operand != '[';
      const size_t most = takesMany ? operands_.size() : *row_.operand != '\0' ? 1 : 0;
      if ( needsOne && ( operands_.empty() || operands_.front().empty() ) ) {
         throw UsageError( std::string( row_.name ) + ": " + row_.operand + " is missing" );
      }
      if ( operands_.size() > most ) {
         throw UsageError( std::string( row_.name ) + ": unexpected \"" + operands_[ most ] +
               "\"; allowed: karvel-agent " + synopsis( row_ ) );
      }
      for ( const std::string& word : operands_ ) {
         command_.words += ( command_.words.empty() ? "" : " " ) + word;
      }
      if ( needsOne ) {
         command_.config = command_.words;
      }
   }

   const CommandRow& row_;
   std::deque< std::string > left_;
   std::vector< std::string > operands_;
   std::set< std::string > seen_;
   Command command_;
};

const CommandRow& findCommand( const std::string& name ) {
   for ( const CommandRow& row : commandRows() ) {
      if ( row.name == name ) {
         return row;
      }
   }
   throw UsageError( "\"" + name + "\" is no command; allowed: " + commandNames() );
}

void printManual( const Command& command ) {
   std::cout << ( command.manual == Manual::page                   ? manualPage()
                            : command.manual == Manual::completion ? bashCompletion()
                            : command.words.empty()                ? overview()
                                                    : helpOf( findCommand( command.words ) ) )
             << std::flush;
}

bool asksForHelp( const std::string& argument ) {
   return argument == "--help" || argument == "-h";
}

} // namespace

std::optional< Command > parseCommandLine( int argc, const char* const* argv ) {
   std::vector< std::string > arguments( argv + 1, argv + std::max( argc, 1 ) );
   if ( arguments.empty() ) {
      throw UsageError( "a command is missing; allowed: " + commandNames() );
   }
   const std::string name = arguments.front();
   if ( name == "--version" ) {
      std::cout << "karvel-agent " KARVEL_VERSION << std::endl;
      return {};
   }
   const CommandRow& row = asksForHelp( name ) ? rowOf( Verb::help ) : findCommand( name );
   arguments.erase( arguments.begin() );
   // Also behind what would be wrong, but not within what `ctl` sends.
   if ( !arguments.empty() &&
         ( asksForHelp( arguments.front() ) ||
               ( row.verb != Verb::ctl && asksForHelp( arguments.back() ) ) ) ) {
      std::cout << helpOf( row ) << std::flush;
      return {};
   }
   const Command command = Parser( row, std::move( arguments ) ).parse();
   if ( command.verb == Verb::help ) {
      printManual( command );
      return {};
   }
   return command;
}

} // namespace Agent
