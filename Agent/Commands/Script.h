#pragma once

// The script language: what a user lets the agent do, one step a line.
//
//    set TABLE|KEY {json}     write an entry of the configuration
//    del TABLE|KEY            remove it
//    in PORT FILE             packets arrive at the port (FILE may hold spaces)
//    wait SECONDS             time passes: 0 to 1,000,000,000, up to nine decimals
//    show WHAT[,WHAT...]      print a report
//    show store PATH          print what the store has at the path and below
//    fail CALL N[..M]         the n-th (to m-th) next SDK call of this kind is refused
//    capacity WHAT N          the chip has room for N
//    port PORT up|down        its link comes up or goes down
//    plugin UNIT TEXT         a chip's plug-in is handed a command
//    reload                   the configuration file is read again
//    help                     print the steps there are
//    watch, stop              of a live agent only: see Docs/live-agent.md
//
// '#' begins a comment at the start of a line and after white space, but not within the
// braces of the JSON text. Blank lines mean nothing; lines may end in CR LF.
//
// A script is parsed whole before its first step runs. This is grammar only: whether a
// table, port, file or report exists, and whether the text between the braces is JSON, is
// for whoever runs the step to say.

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Agent {

struct SetStep {
   std::string table;
   std::string key;  // may hold further '|', as in "Ethernet0|10.0.10.254/24"
   std::string json; // from '{' to '}'
};

struct DelStep {
   std::string table;
   std::string key;
};

struct InStep {
   std::string port;
   std::string file; // as written
};

struct WaitStep {
   uint64_t ns = 0;
};

struct ShowStep {
   std::vector< std::string > what; // at least one, none empty
   std::string path;                // of the store; empty: none is named
};

// Counted from the calls of this kind that come after the step: first >= 1, last >= first.
struct FailStep {
   std::string call;
   uint32_t first = 1;
   uint32_t last = 1;
};

struct CapacityStep {
   std::string what;
   uint32_t count = 0;
};

struct PortStep {
   std::string port;
   bool isUp = false;
};

struct PluginStep {
   int unit = 0;
   std::string text; // may be empty
};

struct ReloadStep {};
struct HelpStep {};
struct WatchStep {};
struct StopStep {};

using StepAction = std::variant< SetStep, DelStep, InStep, WaitStep, ShowStep, FailStep,
      CapacityStep, PortStep, PluginStep, ReloadStep, HelpStep, WatchStep, StopStep >;

struct Step {
   unsigned line = 0; // counted from 1
   StepAction action;
};

// A script that cannot be read or understood: one line, "what is wrong; allowed: what is".
// From a script it begins with "FILE:LINE: ".
class ScriptError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

// Which steps there are.
enum class Steps : uint8_t { script, live };

// Parses one line, without its line feed; none if it is blank or a comment. Throws ScriptError.
std::optional< StepAction > parseStep( std::string_view line, Steps steps );

// The steps as they are written, one each: "del TABLE|KEY".
std::vector< std::string > stepForms( Steps steps );

// Parses a whole script; `name` stands for the file in errors. Throws ScriptError for the
// first line that is wrong.
std::vector< Step > parseScript( std::string_view text, const std::string& name );

// Reads and parses a script file; "-" is standard input.
std::vector< Step > readScript( const std::string& path );

} // namespace Agent
