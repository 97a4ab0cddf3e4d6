#pragma once

// Reports: tables for people, or JSON for programs.

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace Agent {

using Cell = std::variant< std::string, int64_t >;

struct Report {
   std::string name; // the key in JSON
   std::vector< std::string > columns;
   std::vector< std::vector< Cell > > rows; // as wide as columns
   std::string empty;                       // what people read when there are no rows
};

enum class Style : uint8_t { plain, terminal };

// Aligned columns under a heading; numbers to the right.
std::string toText( const Report& report, Style style );
// The same for text that was made plain, of any number of reports.
std::string withStyle( const std::string& plain, Style style );

enum class JsonLayout : uint8_t {
   indented, // with an end of line
   oneLine,  // without
};

// One object: each report's name with an array of its rows, an object each. Reports of one
// name are put together in order.
std::string toJson(
      const std::vector< Report >& reports, JsonLayout layout = JsonLayout::indented );

} // namespace Agent
