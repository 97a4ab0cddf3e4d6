#pragma once

// The agent's commands, from their parsed command line to their exit code: 0 done, 1 bad input
// (said in one line each on standard error).

#include "Agent/Commands/CommandLine.h"

namespace Agent {

int runCommand( const Command& command );
int checkCommand( const Command& command );
int chipsCommand( const Command& command );
// Prints which change leads to which handler, and who owns which machine.
int wiringCommand( const Command& command );
int explainCommand( const Command& command );

} // namespace Agent
