#pragma once

// Names: their order, and the one that was probably meant.

#include <string>
#include <string_view>
#include <vector>

namespace Agent {

// Numbers within names compare as numbers: Ethernet4 before Ethernet10.
struct NaturalLess {
   bool operator()( std::string_view left, std::string_view right ) const;
};

// The candidate with the fewest differing letters; the first of several. Candidates are not
// empty.
std::string nearestName( std::string_view name, const std::vector< std::string_view >& known );

// "a, b, c"
std::string joined(
      const std::vector< std::string >& names, std::string_view separator = ", " );
std::string joined( const std::vector< std::string_view >& names );

// Of ASCII.
bool isLetterOrDigit( char c );

// Equal but for the case of ASCII letters.
bool sameText( std::string_view left, std::string_view right );

} // namespace Agent
