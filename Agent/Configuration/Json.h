#pragma once

// JSON text (RFC 8259) as a small tree that knows the line of everything in it, so that
// whoever reads the tree can say where a value stands.
//
// Limits: numbers are kept as their text; nesting up to 64 levels; the text is UTF-8, with
// or without a byte order mark. Names that occur twice in an object are both kept.

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Agent {

struct JsonMember;

struct JsonValue {
   enum class Kind { null, boolean, number, string, array, object };

   Kind kind = Kind::null;
   int line = 0;
   std::string text;                  // of a scalar: "true", "0x10" if it was a string, "9100"
   std::vector< JsonValue > elements; // of an array
   std::vector< JsonMember > members; // of an object, as written

   bool isObject() const { return kind == Kind::object; }
};

struct JsonMember {
   std::string name;
   int line = 0; // of the name
   JsonValue value;
};

// Text that cannot be read: one line of text without the place.
class JsonError : public std::runtime_error {
 public:
   JsonError( int line, const std::string& what ) : std::runtime_error( what ), line_( line ) {}
   int line() const { return line_; } // 0: the text as a whole

 private:
   int line_;
};

// Throws JsonError.
JsonValue parseJson( std::string_view text );

// "an object", "a number"...
std::string kindOf( const JsonValue& value );

} // namespace Agent
