#pragma once

// Text forms, and parsing them back. One pair of functions for every type that an attribute
// can have:
//
//    std::string text = Zol::toString( key );
//    auto key = Zol::fromString< TcamAclKey >( text );    // ParseError if it is not one
//
// Numbers are decimal, booleans "true" and "false", strings stand as they are, sets print as
// "{a, b}", maps as "{k: v, l: w}", and values as their template (Value.h).

#include <charconv>
#include <concepts>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Platform/Zol/Containers.h"
#include "Platform/Zol/Ptr.h"

namespace Zol {

using String = std::string;

// Thrown for text that is no value of the type asked for.
class ParseError : public std::invalid_argument {
 public:
   using std::invalid_argument::invalid_argument;
};

// The base of every type declared with ZOL_VALUE; see Value.h.
struct Value {
   bool operator==( const Value& ) const = default;
};

template < typename T >
concept ValueType = std::derived_from< T, Value >;

template < typename T >
concept EnumType = std::is_enum_v< T > && requires( T t ) {
   zolEnumerators( t );
};

template < ValueType T >
void appendValue( std::string& out, const T& value ); // Value.h
template < EnumType E >
void appendEnum( std::string& out, E value ); // Enum.h

void appendQuotedName( std::string& out, std::string_view name );

template < typename T >
void appendText( std::string& out, const T& value );

template < typename T >
void appendText( std::string& out, const Set< T >& set ) {
   const char* separator = "";
   out += '{';
   for ( const T& element : set ) {
      out += separator;
      appendText( out, element );
      separator = ", ";
   }
   out += '}';
}

template < typename K, typename V >
void appendText( std::string& out, const Map< K, V >& map ) {
   const char* separator = "";
   out += '{';
   for ( auto iter = map.begin(); iter != map.end(); ++iter ) {
      out += separator;
      appendText( out, iter.key() );
      out += ": ";
      appendText( out, iter.value() );
      separator = ", ";
   }
   out += '}';
}

template < typename T >
void appendText( std::string& out, const Ptr< T >& pointer ) {
   out += pointer ? "set" : "none";
}

template < typename T >
void appendText( std::string& out, const T& value ) {
   if constexpr ( std::same_as< T, bool > ) {
      out += value ? "true" : "false";
   } else if constexpr ( EnumType< T > ) {
      appendEnum( out, value );
   } else if constexpr ( std::integral< T > || std::floating_point< T > ) {
      char digits[ 32 ];
      auto end = std::to_chars( digits, digits + sizeof digits, value ).ptr;
      out.append( digits, end );
   } else if constexpr ( ValueType< T > ) {
      appendValue( out, value );
   } else if constexpr ( requires { value.toString(); } ) {
      out += value.toString();
   } else {
      static_assert( std::convertible_to< T, std::string_view >, "type without a text form" );
      out += std::string_view( value );
   }
}

template < typename T >
std::string toString( const T& value ) {
   std::string text;
   appendText( text, value );
   return text;
}

// Containers print in traces as in any text form.
template < typename T >
std::ostream& operator<<( std::ostream& out, const Set< T >& set ) {
   return out << toString( set );
}
template < typename K, typename V >
std::ostream& operator<<( std::ostream& out, const Map< K, V >& map ) {
   return out << toString( map );
}

// The rest of a text that is being parsed. `take` functions throw ParseError with the text
// around it.
class TextCursor {
 public:
   explicit TextCursor( std::string_view text ) : rest_( text ) {}
   std::string_view rest() const { return rest_; }
   void skip( std::string_view expected ); // ParseError if it does not stand here
   std::string_view takeNumber();          // digits with an optional sign
   std::string_view takeWord();            // up to one of ",}) "
   // Takes all before `end`, which must follow and stays; the whole rest if `end` is empty.
   std::string_view takeUntil( std::string_view end );
   [[noreturn]] void fail( std::string_view expected ) const;

 private:
   std::string_view rest_;
};

template < ValueType T >
void parseValue( TextCursor& cursor, T& value ); // Value.h
template < EnumType E >
E parseEnum( TextCursor& cursor ); // Enum.h

// `end` is what follows the text in its surroundings: a string has no quotes of its own.
template < typename T >
void parseText( TextCursor& cursor, T& value, std::string_view end ) {
   const TextCursor start = cursor; // errors show the text that is wrong
   if constexpr ( std::same_as< T, bool > ) {
      std::string_view word = cursor.takeWord();
      if ( word != "true" && word != "false" ) {
         start.fail( "true or false" );
      }
      value = word == "true";
   } else if constexpr ( EnumType< T > ) {
      value = parseEnum< T >( cursor );
   } else if constexpr ( std::integral< T > || std::floating_point< T > ) {
      std::string_view digits =
            std::integral< T > ? cursor.takeNumber() : cursor.takeUntil( end );
      auto result = std::from_chars( digits.data(), digits.data() + digits.size(), value );
      if ( result.ec != std::errc() || result.ptr != digits.data() + digits.size() ) {
         start.fail( "a number in range" );
      }
   } else if constexpr ( ValueType< T > ) {
      parseValue( cursor, value );
   } else if constexpr ( requires { T::fromString( std::string_view() ); } ) {
      auto parsed = T::fromString( cursor.takeUntil( end ) );
      if ( !parsed ) {
         start.fail( "a well-formed value" );
      }
      value = *parsed;
   } else {
      value = T( cursor.takeUntil( end ) );
   }
}

template < typename T >
T fromString( std::string_view text ) {
   TextCursor cursor( text );
   T value{};
   parseText( cursor, value, "" );
   if ( !cursor.rest().empty() ) {
      cursor.fail( "nothing more" );
   }
   return value;
}

} // namespace Zol
