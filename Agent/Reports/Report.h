#pragma once

// Reports: tables for people, or JSON for programs. Both come from the same cells.

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace Agent {

// What a program reads in a cell. Nothing: null.
struct Value {
   using List = std::vector< Value >;
   using Object = std::vector< std::pair< std::string, Value > >; // in this order

   Value() = default;
   Value( bool yes ) : data( yes ) {}
   Value( int number ) : data( int64_t{ number } ) {}
   Value( uint32_t number ) : data( int64_t{ number } ) {}
   Value( int64_t number ) : data( number ) {}
   Value( double number ) : data( number ) {}
   Value( const char* text ) : data( std::string( text ) ) {}
   Value( std::string text ) : data( std::move( text ) ) {}
   Value( List list ) : data( std::move( list ) ) {}
   Value( Object object ) : data( std::move( object ) ) {}
   Value( const std::vector< std::string >& texts )
         : data( List( texts.begin(), texts.end() ) ) {}

   std::variant< std::monostate, bool, int64_t, double, std::string, List, Object > data;
};

struct Cell {
   Cell() = default; // nothing
   Cell( int64_t number ) : value( number ), text( std::to_string( number ) ) {}
   Cell( const char* words ) : value( words ), text( words ) {}
   Cell( std::string words ) : value( words ), text( std::move( words ) ) {}
   Cell( const std::vector< std::string >& list );
   Cell( Value forPrograms, std::string forPeople )
         : value( std::move( forPrograms ) ), text( std::move( forPeople ) ) {}

   Value value;
   std::string text; // what people read
};

Cell yesOrNo( bool yes );
// With three digits behind the point.
Cell secondsCell( double seconds );
// A text that may be empty: then there is nothing.
Cell textOrNothing( const std::string& text );

struct Report {
   std::string name; // the key in JSON
   std::vector< std::string > columns;
   std::vector< std::vector< Cell > > rows; // as wide as columns
   std::string empty;                       // what people read when there are no rows
};

enum class Style : uint8_t { plain, terminal };

// How tables are laid out.
struct Layout {
   Style style = Style::plain;
   size_t width = 0; // that long cells are wrapped to fit; 0: every cell on one line
};

// Aligned columns under a heading; numbers to the right.
std::string toText( const Report& report, const Layout& layout = {} );
// The same for text that was made plain, of any number of reports.
std::string withStyle( const std::string& plain, Style style );

enum class JsonLayout : uint8_t {
   indented, // with an end of line
   oneLine,  // without
};

// What programs can rely on: raised whenever a key goes or changes its meaning.
inline constexpr int jsonVersion = 1;

// A report's or column's name as a key: "from s" is "from_s".
std::string jsonKey( const std::string& name );
// One object: the version, and each report's name with an array of its rows, an object each.
// Reports of one name are put together in order.
std::string toJson(
      const std::vector< Report >& reports, JsonLayout layout = JsonLayout::indented );

} // namespace Agent
