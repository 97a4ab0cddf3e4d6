#pragma once

// The commands of karvel-agent and their options, one row each. Parsing, help, the manual page
// and the shell's completion all derive from these rows.

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>

#include "Agent/Commands/CommandLine.h"

namespace Agent {

// What stands for a value, for the shell's completion.
enum class Values : uint8_t {
   none,
   free,
   file,
   folder,
   input,
   reports,
   chips,
   commands,
   steps
};

struct CommandRow {
   Verb verb;
   const char* name;
   const char* operand; // empty: it takes none
   Values values;       // of its operand
   const char* what;
};

enum class Times : uint8_t { once, many };

struct OptionRow {
   const char* name;
   const char* value; // how help calls it; empty: it takes none
   Values values;
   Times times;
   uint32_t verbs; // a bit for each
   const char* what;
   // Puts the value into the command. UsageError says what is wrong, without the option's name.
   void ( *take )( Command& command, const std::string& value );

   bool isOf( Verb verb ) const { return verbs >> static_cast< unsigned >( verb ) & 1U; }
};

std::span< const CommandRow > commandRows();
std::span< const OptionRow > optionRows();

// The names, with commas between them.
std::string commandNames();
std::string optionNames( Verb verb );

} // namespace Agent
