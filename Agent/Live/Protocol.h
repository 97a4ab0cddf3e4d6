#pragma once

// What a live agent and its clients say to each other, see Docs/live-agent.md: a command is a
// line of the script language; its reply is one JSON object on one line. Events use the same form
// and are pushed to clients that sent `watch`.
//
//    > show sessions
//    < {"ok":true,"text":"== sessions\n...","warnings":[],"errors":[],"reports":{...}}

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Agent/Reports/Report.h"

namespace Agent {

// Of a command, without its end.
inline constexpr size_t longestCommand = 65536;

struct Reply {
   std::string text;                    // for people, over several lines
   std::vector< std::string > warnings; // one line each
   std::vector< std::string > errors;   // the same; none: the command was done
   std::vector< Report > reports;       // for programs
};

struct Event {
   std::string kind; // "session", "log", "link" or "stop"
   std::string text; // for people, one line
   std::vector< std::pair< std::string, std::string > > fields;
   bool isTrouble = false; // a warning to the client whose command caused it
};

// One line, with its end. Bytes that are not UTF-8 are replaced.
std::string encoded( const Reply& reply );
std::string encoded( const Event& event );

// A line from the agent, as its client sees it.
struct Message {
   enum class Kind : uint8_t {
      reply,
      event,
      other, // what a plug-in wrote
   };
   Kind kind = Kind::other;
   std::string text;
   std::vector< std::string > warnings;
   std::vector< std::string > errors;
   std::string reports; // as `run --json` prints them
   std::string eventKind;
};
Message decoded( std::string_view line );

} // namespace Agent
