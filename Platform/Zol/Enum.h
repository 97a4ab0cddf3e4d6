#pragma once

// Enumerations with text. Declared once, by a list of ( name, number ):
//
//    ZOL_ENUM( Direction, uint8_t, ( none, 0 ), ( ingress, 1 ), ( egress, 2 ) )
//
// gives the enumeration, its text output, and
//
//    Zol::instanceByNumber< Direction >( 1 )         optional
//    Zol::instanceByName< Direction >( "ingress" )   optional
//    Zol::toString( direction ), Zol::fromString< Direction >( text )   (ParseError)
//
// ZOL_NESTED_ENUM does the same inside a class, where every enumerator is also a static
// function: ProgrammingOp::egress().

#include <array>
#include <cstdint>
#include <optional>
#include <ostream>

#include "Platform/Zol/Macros.h"
#include "Platform/Zol/Text.h"

namespace Zol {

struct Enumerator {
   std::string_view name;
   int64_t number;
};

// By number; none if there is no such enumerator.
template < EnumType E >
std::optional< E > instanceByNumber( int64_t number ) {
   for ( const Enumerator& enumerator : zolEnumerators( E{} ) ) {
      if ( enumerator.number == number ) {
         return static_cast< E >( number );
      }
   }
   return {};
}

// By name; none if there is no such enumerator.
template < EnumType E >
std::optional< E > instanceByName( std::string_view name ) {
   for ( const Enumerator& enumerator : zolEnumerators( E{} ) ) {
      if ( enumerator.name == name ) {
         return static_cast< E >( enumerator.number );
      }
   }
   return {};
}

// The enumerator's name; the number if no enumerator has it.
template < EnumType E >
void appendEnum( std::string& out, E value ) {
   for ( const Enumerator& enumerator : zolEnumerators( value ) ) {
      if ( enumerator.number == static_cast< int64_t >( value ) ) {
         out += enumerator.name;
         return;
      }
   }
   appendText( out, static_cast< int64_t >( value ) );
}

template < EnumType E >
E parseEnum( TextCursor& cursor ) {
   TextCursor start = cursor;
   if ( auto value = instanceByName< E >( cursor.takeWord() ) ) {
      return *value;
   }
   std::string names = "one of";
   for ( const Enumerator& enumerator : zolEnumerators( E{} ) ) {
      names.append( " " ).append( enumerator.name );
   }
   start.fail( names );
}

} // namespace Zol

#define ZOL_ENUM_NAME_( Type, item ) ZOL_ENUM_NAME_2_ item
#define ZOL_ENUM_NAME_2_( name, number ) name = number,
#define ZOL_ENUM_ROW_( Type, item ) ZOL_ENUM_ROW_2_ item
#define ZOL_ENUM_ROW_2_( name, number ) ::Zol::Enumerator{ #name, number },
#define ZOL_ENUM_COUNT_( Type, item ) +1
#define ZOL_ENUM_FUNCTION_( Type, item ) ZOL_ENUM_FUNCTION_2_( Type, ZOL_UNPAREN item )
#define ZOL_ENUM_FUNCTION_2_( ... ) ZOL_ENUM_FUNCTION_3_( __VA_ARGS__ )
#define ZOL_ENUM_FUNCTION_3_( Type, name, number )                                             \
   static constexpr Type name() { return Type::name; }

// `scope` is "inline" for a namespace and "friend" for a class.
#define ZOL_ENUM_COMMON_( scope, Type, Underlying, ... )                                       \
   enum class Type : Underlying { ZOL_FOR_EACH( ZOL_ENUM_NAME_, Type, __VA_ARGS__ ) };         \
   scope constexpr auto zolEnumerators( Type ) {                                               \
      return std::array< ::Zol::Enumerator,                                                    \
            ZOL_FOR_EACH( ZOL_ENUM_COUNT_, Type, __VA_ARGS__ ) >{ { ZOL_FOR_EACH(              \
            ZOL_ENUM_ROW_, Type, __VA_ARGS__ ) } };                                            \
   }                                                                                           \
   scope std::ostream& operator<<( std::ostream& out, Type value ) {                           \
      return out << ::Zol::toString( value );                                                  \
   }                                                                                           \
   static_assert( true )

#define ZOL_ENUM( Type, Underlying, ... )                                                      \
   ZOL_ENUM_COMMON_( inline, Type, Underlying, __VA_ARGS__ )

#define ZOL_NESTED_ENUM( Type, Underlying, ... )                                               \
   ZOL_ENUM_COMMON_( friend, Type, Underlying, __VA_ARGS__ );                                  \
   ZOL_FOR_EACH( ZOL_ENUM_FUNCTION_, Type, __VA_ARGS__ )                                       \
   static_assert( true )
