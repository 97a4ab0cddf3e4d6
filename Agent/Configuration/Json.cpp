#include "Agent/Configuration/Json.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include <nlohmann/json.hpp>

#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

constexpr size_t deepest = 64;
constexpr size_t longestMessage = 160;

// Where the parser is. It reads one character after the other and looks ahead by at most
// the one that ends a number.
struct Position {
   int line = 1;
   int column = 0;
   char last = 0;

   void passed( char c ) {
      if ( last == '\n' ) {
         ++line;
         column = 0;
      }
      ++column;
      last = c;
   }
};

// Walks the text and keeps the position up to date.
class CountingIterator {
 public:
   using iterator_category = std::input_iterator_tag;
   using value_type = char;
   using difference_type = std::ptrdiff_t;
   using pointer = const char*;
   using reference = const char&;

   CountingIterator( const char* at, Position* position ) : at_( at ), position_( position ) {}
   const char& operator*() const { return *at_; }
   CountingIterator& operator++() {
      position_->passed( *at_++ );
      return *this;
   }
   CountingIterator operator++( int ) {
      CountingIterator before = *this;
      ++*this;
      return before;
   }
   bool operator==( const CountingIterator& other ) const { return at_ == other.at_; }
   bool operator!=( const CountingIterator& other ) const { return at_ != other.at_; }

 private:
   const char* at_;
   Position* position_;
};

// The parser's text without its prefix and without the rest of a long token.
std::string messageOf( const std::string& what ) {
   std::string text = what;
   if ( const size_t place = text.find( "parse error at line " ); place != std::string::npos ) {
      if ( const size_t colon = text.find( ": ", place ); colon != std::string::npos ) {
         text.erase( 0, colon + 2 );
      }
   }
   if ( const size_t read = text.find( "; last read: " ); read != std::string::npos ) {
      const size_t end = text.rfind( "'; expected" );
      text.erase( read, end == std::string::npos || end < read ? end : end + 1 - read );
   }
   std::replace( text.begin(), text.end(), '\n', ' ' );
   if ( text.size() > longestMessage ) {
      text = text.substr( 0, longestMessage ) + "...";
   }
   return text;
}

class TreeBuilder : public nlohmann::json_sax< nlohmann::json > {
 public:
   explicit TreeBuilder( const Position& position ) : position_( position ) {}

   JsonValue take() { return std::move( root_ ); }

   bool null() override { return add( JsonValue::Kind::null, "null" ); }
   bool boolean( bool value ) override {
      return add( JsonValue::Kind::boolean, value ? "true" : "false" );
   }
   bool number_integer( number_integer_t value ) override {
      return add( JsonValue::Kind::number, std::to_string( value ) );
   }
   bool number_unsigned( number_unsigned_t value ) override {
      return add( JsonValue::Kind::number, std::to_string( value ) );
   }
   bool number_float( number_float_t, const string_t& text ) override {
      return add( JsonValue::Kind::number, text );
   }
   bool string( string_t& value ) override { return add( JsonValue::Kind::string, value ); }
   bool binary( binary_t& ) override { ZOL_ASSERT( false ); }

   bool start_object( std::size_t ) override { return open( JsonValue::Kind::object ); }
   bool key( string_t& name ) override {
      open_.back()->members.push_back( { name, position_.line, {} } );
      return true;
   }
   bool end_object() override { return close(); }
   bool start_array( std::size_t ) override { return open( JsonValue::Kind::array ); }
   bool end_array() override { return close(); }

   bool parse_error(
         std::size_t, const std::string&, const nlohmann::json::exception& error ) override {
      throw JsonError( position_.line,
            "not JSON at column " + std::to_string( position_.column ) + ": " +
                  messageOf( error.what() ) );
   }

 private:
   // The place of the next value: the parent's last member or a new element.
   JsonValue& next( JsonValue::Kind kind ) {
      JsonValue* value = &root_;
      if ( !open_.empty() && open_.back()->isObject() ) {
         value = &open_.back()->members.back().value;
      } else if ( !open_.empty() ) {
         value = &open_.back()->elements.emplace_back();
      }
      value->kind = kind;
      value->line = position_.line;
      return *value;
   }
   bool add( JsonValue::Kind kind, std::string text ) {
      next( kind ).text = std::move( text );
      return true;
   }
   bool open( JsonValue::Kind kind ) {
      if ( open_.size() == deepest ) {
         throw JsonError( position_.line,
               "nested too deeply; allowed: up to " + std::to_string( deepest ) + " levels" );
      }
      open_.push_back( &next( kind ) );
      return true;
   }
   bool close() {
      open_.pop_back();
      return true;
   }

   const Position& position_;
   JsonValue root_;
   // A parent does not grow while one of its children is open, so the addresses hold.
   std::vector< JsonValue* > open_;
};

} // namespace

JsonValue parseJson( std::string_view text ) {
   constexpr std::string_view blanks = " \t\r\n";
   constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
   if ( text.starts_with( byteOrderMark ) ) {
      text.remove_prefix( byteOrderMark.size() );
   }
   if ( text.find_first_not_of( blanks ) == std::string_view::npos ) {
      throw JsonError( 0, "empty; allowed: a JSON object" );
   }
   Position position;
   TreeBuilder builder( position );
   nlohmann::json::sax_parse( CountingIterator( text.data(), &position ),
         CountingIterator( text.data() + text.size(), &position ), &builder );
   return builder.take();
}

std::string kindOf( const JsonValue& value ) {
   switch ( value.kind ) {
   case JsonValue::Kind::null:
      return "null";
   case JsonValue::Kind::boolean:
      return "a boolean";
   case JsonValue::Kind::number:
      return "a number";
   case JsonValue::Kind::string:
      return "a string";
   case JsonValue::Kind::array:
      return "an array";
   case JsonValue::Kind::object:
      return "an object";
   }
   ZOL_ASSERT( false );
}

} // namespace Agent
