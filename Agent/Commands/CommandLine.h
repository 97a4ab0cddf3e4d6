#pragma once

// The command line of karvel-agent, parsed.

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Agent/Configuration/Loader.h"
#include "Agent/Packets/Input.h"
#include "Platform/Zol/Clock.h"

namespace Agent {

enum class Verb : uint8_t { run, check, chips, wiring, explain, serve, ctl, help };
enum class Format : uint8_t { text, json };
// Tables as wide as the terminal, or as what is in them.
enum class TableWidth : uint8_t { terminal, whole };
enum class Strictness : uint8_t { lenient, strict };
enum class Detail : uint8_t { summary, full };
enum class Manual : uint8_t { none, page, completion };

struct Command {
   Verb verb = Verb::run;
   std::string config;
   std::string profile; // empty: the configuration's, or the first there is
   std::vector< Input > inputs;
   std::string script; // empty: none
   std::string out;    // empty: no captures are written
   std::vector< std::string > show;
   Format format = Format::text;
   TableWidth width = TableWidth::terminal;
   std::string trace; // a Duolog setting; empty: none
   size_t configLimitMb = defaultConfigLimitMb;
   Strictness strictness = Strictness::lenient;
   Detail detail = Detail::summary; // of tables that are not read
   std::string plugin;              // empty: where it is found
   uint64_t packet = 0;             // explain this one only; 0: all
   std::string socket;              // of serve and ctl; empty: where it is by default
   Zol::TimeSource time = Zol::TimeSource::virtualTime;
   // For ctl to send, those of a prompt or of standard input if empty; the command that help
   // is about.
   std::string words;
   Manual manual = Manual::none; // that help prints
};

// Wrong use of the command line: one line.
class UsageError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

// None if the command line asked for help or the version, which has been printed. UsageError
// if it cannot be understood.
std::optional< Command > parseCommandLine( int argc, const char* const* argv );

} // namespace Agent
