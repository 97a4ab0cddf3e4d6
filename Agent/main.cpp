#include <csignal>
#include <iostream>

#include "Agent/Commands/CommandLine.h"
#include "Agent/Commands/Run.h"
#include "Agent/Configuration/Names.h"
#include "Agent/Live/Live.h"

int main( int argc, char** argv ) {
   // A reader that goes away is a failed write: the captures are still put in place.
   std::signal( SIGPIPE, SIG_IGN );
   std::optional< Agent::Command > command;
   try {
      command = Agent::parseCommandLine( argc, argv );
   } catch ( const Agent::UsageError& error ) {
      std::cerr << "karvel-agent: " << Agent::printable( error.what() )
                << " (see karvel-agent --help)\n";
      return 2;
   }
   if ( !command ) {
      return 0;
   }
   switch ( command->verb ) {
   case Agent::Verb::run:
      return Agent::runCommand( *command );
   case Agent::Verb::check:
      return Agent::checkCommand( *command );
   case Agent::Verb::explain:
      return Agent::explainCommand( *command );
   case Agent::Verb::serve:
      return Agent::serveCommand( *command );
   case Agent::Verb::ctl:
      return Agent::ctlCommand( *command );
   case Agent::Verb::wiring:
      return Agent::wiringCommand( *command );
   default:
      return Agent::chipsCommand( *command );
   }
}
