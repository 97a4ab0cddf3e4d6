#include <iostream>

#include "Agent/Commands/Startup.h"
#include "Agent/Live/Live.h"
#include "Agent/Live/LiveAgent.h"
#include "Agent/Live/Server.h"
#include "Agent/Live/Signals.h"
#include "Agent/Live/Socket.h"
#include "Platform/Duolog/Duolog.h"

namespace Agent {

namespace {

int serve( const Command& command ) {
   LiveAgent::checkFile( command.config );
   Loaded loaded = checkConfiguration( command );
   Signals signals; // also those that come while the agent starts
   ListeningSocket socket( command.socket.empty() ? defaultSocketPath() : command.socket );
   LiveAgent agent( command, std::move( loaded ) );
   if ( !sayUnserved( agent.runtime(), command.strictness ) ) {
      return 1;
   }
   Duolog::flush(); // what the start traced is seen before the first command
   Reply stopped;
   {
      Server server( agent, socket, signals );
      std::cerr << "karvel-agent: serving on " << socket.path() << std::endl;
      server.run();
      socket.close();
      stopped.errors = agent.withdraw();
      for ( std::string& what : stopped.errors ) {
         what = "left behind: " + what;
         std::cerr << what << "\n";
      }
      if ( stopped.errors.empty() ) {
         stopped.text = "stopped; nothing is left in the chips\n";
         std::cerr << "karvel-agent: " << stopped.text;
      }
      server.finish( stopped );
   }
   return stopped.errors.empty() ? 0 : 1;
}

} // namespace

int serveCommand( const Command& command ) {
   return guarded( [ & ] { return serve( command ); } );
}

} // namespace Agent
