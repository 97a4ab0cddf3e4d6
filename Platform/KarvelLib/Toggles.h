#pragma once

// Feature toggles: a flat JSON object of booleans in one of the agent's files,
//
//    { "KarvelMirrorT4Gre": false }
//
// A file or a name that is missing means the default.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KarvelLib {

// The directory of toggle files. By default (and for an empty one) it is the value of the
// environment variable KARVEL_TOGGLE_DIR, or else the working directory.
void toggleDirectoryIs( const std::string& directory );
std::string toggleDirectory();

// One toggle of one file. Reads the file at every call: callers keep the answer. A malformed
// file throws std::runtime_error with the line that checkToggleFile gives.
bool toggle( std::string_view file, std::string_view name, bool byDefault );

// The names in a toggle file, whoever they are for; none if it is missing. Malformed as above.
std::vector< std::string > togglesIn( const std::string& path );

// What is wrong with a toggle file, as "FILE:LINE: ...; allowed: ..."; none if it is well
// formed or missing. An agent refuses a malformed file when it starts.
std::optional< std::string > checkToggleFile( const std::string& path );

} // namespace KarvelLib
