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

// The candidate that was probably meant: few letters differ. Empty if there is none.
std::string nearName( std::string_view name, const std::vector< std::string_view >& known );

// "; did you mean Ethernet0?"; empty if nothing is near.
std::string suggestion( std::string_view name, const std::vector< std::string_view >& known );

// The bytes of the character at the front of a text in UTF-8 (RFC 3629); 0 if it is none.
size_t utf8Length( std::string_view text );

// What comes from outside, as a terminal and a line of a log may have it: control characters
// (of ASCII, and U+0080 to U+009F), what is not UTF-8, and what turns the direction of text
// become '?'.
std::string printable( std::string_view text );

// The same in quotation marks, and shortened if it is long.
std::string inQuotes( std::string_view text );

// "a, b, c"
std::string joined(
      const std::vector< std::string >& names, std::string_view separator = ", " );
std::string joined( const std::vector< std::string_view >& names );

// Of ASCII.
bool isLetterOrDigit( char c );

// Equal but for the case of ASCII letters.
bool sameText( std::string_view left, std::string_view right );

} // namespace Agent
