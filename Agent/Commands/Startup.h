#pragma once

// What every command does before it starts an agent, and how it says what it found: in one line
// each on standard error.

#include <functional>
#include <string>
#include <vector>

#include "Agent/Commands/CommandLine.h"
#include "Agent/Reports/Report.h"
#include "Agent/Runtime/Runtime.h"

namespace Agent {

// Bad input that has been said already.
struct AlreadySaid {};

// Runs a command's work: its exit code, or 1 after it has said what std::runtime_error says. One
// that is interrupted ends the process by the signal, tidied up.
int guarded( const std::function< int() >& work );

// A configuration as it was read, and what it holds. It is read once: what is checked is what
// is run, also if it comes through a pipe.
struct Loaded {
   ConfigSource source;
   LoadResult result;
};

// Loads the configuration and its toggles without an agent and says all there is to say of them:
// what is wrong is known before anything has an effect. AlreadySaid if it is wrong, or under
// --strict if something in it is not served.
Loaded checkConfiguration( const Command& command );

// Says all there is to say of a load. True if it may be used.
bool sayLoad( const LoadResult& result, const Command& command );
// Flushes standard output. std::runtime_error if it cannot be written; if its reader has gone,
// that is an Interrupted, quiet as a SIGPIPE.
void flushOutput();
void sayWarning( const std::string& text );
void sayProblems( const Runtime& runtime );
// Says which sessions do not mirror. True if there are none, or nobody minds.
bool sayUnserved( const Runtime& runtime, Strictness strictness );

// Of standard output: colours on a terminal, unless NO_COLOR is set.
Style outputStyle();
// The same with the terminal's width, which is taken as 80 columns at least.
Layout outputLayout( TableWidth width );

// The plug-in that is named, or that is found. std::runtime_error if there is none.
std::string pluginPath( const Command& command );

} // namespace Agent
