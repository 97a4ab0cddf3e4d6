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

// Runs a command's work: its exit code, or 1 after it has said what std::runtime_error says.
int guarded( const std::function< int() >& work );

// Loads the configuration without an agent and says all there is to say of it: what is wrong
// is known before anything has an effect. AlreadySaid if it is wrong, or under --strict if
// something in it is not served.
LoadResult checkConfiguration( const Command& command );

// Says all there is to say of a load. True if it may be used.
bool sayLoad( const LoadResult& result, Strictness strictness );
void sayWarning( const std::string& text );
void sayProblems( const Runtime& runtime );
// Sessions that do not mirror; true if there are any.
bool sayUnserved( const Runtime& runtime );

// Of standard output: colours on a terminal, unless NO_COLOR is set.
Style outputStyle();
// The same with the terminal's width, which is taken as 80 columns at least.
Layout outputLayout( TableWidth width );

// Feature toggles stand beside the configuration. std::runtime_error if they are malformed.
void checkToggles( const std::string& config );

// The plug-in that is named, or that is found. std::runtime_error if there is none.
std::string pluginPath( const Command& command );

} // namespace Agent
