#pragma once

// The command line described: for people, for man, and for the shell.

#include <string>

#include "Agent/Commands/Options.h"

namespace Agent {

// "run CONFIG.json [OPTION...]".
std::string synopsis( const CommandRow& row );

// All commands; all of one.
std::string overview();
std::string helpOf( const CommandRow& row );

std::string manualPage();     // in troff
std::string bashCompletion(); // a script

} // namespace Agent
