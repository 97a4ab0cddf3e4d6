#pragma once

// The command line described beyond what its parser does: for man, and for the shell.

#include <string>

#include "Agent/Commands/Options.h"

namespace Agent {

// What the program is.
inline constexpr const char* purpose =
      "Chip agent with traffic mirroring, on a software model of the chip";

// "run CONFIG.json [OPTION...]".
std::string synopsis( const CommandRow& row );
// What an option does, with its values where they are known.
std::string meaning( const OptionRow& row );

std::string manualPage();     // in troff
std::string bashCompletion(); // a script

} // namespace Agent
