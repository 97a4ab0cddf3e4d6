#pragma once

// Notes what changes in an agent: the phases of sessions, links, and log messages.

#include <map>
#include <string>
#include <vector>

#include "Agent/Live/Protocol.h"
#include "Agent/Runtime/Runtime.h"

namespace Agent {

class Watch {
 public:
   // Takes over the sink of log messages for its lifetime.
   explicit Watch( const Runtime& runtime );
   ~Watch();
   Watch( const Watch& ) = delete;
   Watch& operator=( const Watch& ) = delete;

   // What has happened since it was last asked, log messages first.
   std::vector< Event > look();

 private:
   struct Session {
      std::string phase;
      std::string reason;
      bool isTrouble = false; // not served, and not because of how it is written
      bool operator==( const Session& ) const = default;
   };
   void lookAtSessions();
   void lookAtLinks();

   const Runtime& runtime_;
   std::map< std::string, Session > sessions_; // as last seen
   std::map< std::string, bool > links_;
   std::vector< Event > events_;
};

} // namespace Agent
