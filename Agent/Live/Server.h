#pragma once

// The event loop of a live agent: one thread, one poll(), never waiting for a client. Each turn runs at
// most one command; clients take turns, so however many ask at once, each waits for one command
// of each other.

#include <memory>
#include <string>
#include <vector>

#include "Agent/Live/Connection.h"
#include "Agent/Live/LiveAgent.h"
#include "Agent/Live/Signals.h"
#include "Agent/Live/Socket.h"
#include "Agent/Live/Watch.h"

namespace Agent {

class Server {
 public:
   Server( LiveAgent& agent, ListeningSocket& socket, Signals& signals );

   // Until SIGTERM, SIGINT or the command `stop`. SIGHUP reloads the configuration.
   void run();
   // Tells the client that asked to stop how it went, all others that the agent stops, and sends
   // all that is under way, for at most two seconds.
   void finish( const Reply& stopped );

 private:
   using Client = std::unique_ptr< Connection >;

   void poll( int timeoutMs );
   int timeoutMs() const;
   void accept();
   void obeySignals();
   void serveNext();
   void look();
   void tell( const Event& event );
   void dropGone();

   LiveAgent& agent_;
   ListeningSocket& socket_;
   Signals& signals_;
   Watch watch_;
   std::vector< Client > clients_;       // the one served last comes last
   std::vector< std::string > troubles_; // that the command in hand has caused
   Connection* stopper_ = nullptr;       // the client to tell how the stop went
   bool accepts_ = true;                 // false while there are no descriptors left
   bool stopping_ = false;
};

} // namespace Agent
