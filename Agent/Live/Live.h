#pragma once

// `serve` and `ctl`, from their parsed command line to their exit code: 0 done; 1 bad input, a
// command that could not be done, or something left in the chips, said in one line each on
// standard error.

#include "Agent/Commands/CommandLine.h"

namespace Agent {

// Runs an agent until it is told to stop.
int serveCommand( const Command& command );
// Sends commands to such an agent and prints what it answers.
int ctlCommand( const Command& command );

} // namespace Agent
