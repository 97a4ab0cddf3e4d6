#pragma once

// Value types: declared once, by the list of their attributes.
//
//    class AclOp : public Zol::Value {
//       ZOL_VALUE( KarvelMirror, AclOp,
//             ( VAL, bool, ruleChange ),
//             ( VAL, bool, portChange, true ),        // with a default
//             ( SET, KarvelTypes::KarvelPort, port ),
//             ( MAP, uint32_t, Zol::String, name ) )
//    };
//
// For each attribute: foo(), fooIs( value ), fooDel(). For sets fooIs( element ),
// fooDel( element ), fooHas( element ), fooDelAll() and foos() (the count); for maps the same
// with fooIs( key, value ) and foo( key ), a default-constructed value where there is none.
// From the same list come ==, <, hash, text ("Value('KarvelMirror::AclOp', ** {...})") and
// parsing it back. A value with a collection attribute cannot be parsed: that is a fatal
// assertion, because such a text never comes from a user.

#include <functional>

#include "Platform/Zol/Assert.h"
#include "Platform/Zol/Describe.h"
#include "Platform/Zol/Macros.h"
#include "Platform/Zol/Text.h"

namespace Zol {

template < ValueType T >
bool operator==( const T& left, const T& right ) {
   return allMembers< T >( [ & ]( const auto&... member ) {
      return ( ( member.of( left ) == member.of( right ) ) && ... );
   } );
}

template < ValueType T >
bool operator<( const T& left, const T& right ) {
   bool less = false;
   allMembers< T >( [ & ]( const auto&... member ) {
      // Stops at the first member that differs.
      (void)( ( member.of( left ) == member.of( right ) ||
                    ( less = member.of( left ) < member.of( right ), false ) ) &&
            ... );
   } );
   return less;
}

template < ValueType T >
size_t hash( const T& value ) {
   size_t result = 0;
   allMembers< T >( [ & ]( const auto&... member ) {
      ( ( result = ( result ^ hashOf( member.of( value ) ) ) * 0x9e3779b97f4a7c15ULL ), ... );
   } );
   return result;
}

template < ValueType T >
std::ostream& operator<<( std::ostream& out, const T& value ) {
   return out << toString( value );
}

template < ValueType T >
void appendValue( std::string& out, const T& value ) {
   out += "Value(";
   appendQuotedName( out, T::zolTypeName() );
   out += ", ** {";
   const char* separator = "";
   allMembers< T >( [ & ]( const auto&... member ) {
      ( ( out += separator, appendQuotedName( out, member.name ), out += ": ",
              appendText( out, member.of( value ) ), separator = ", " ),
            ... );
   } );
   out += "})";
}

template < ValueType T >
void parseValue( TextCursor& cursor, T& value ) {
   if constexpr ( hasCollection< T > ) {
      std::string_view name = T::zolTypeName();
      name = name.substr( name.rfind( ':' ) + 1 );
      assertionFailed( "\"No String constructor for " + std::string( name ) +
                  " - has collection\" == nullptr",
            __FILE__, __LINE__ );
   } else {
      cursor.skip( "Value('" );
      cursor.skip( T::zolTypeName() );
      cursor.skip( "', ** {" );
      allMembers< T >( [ & ]( const auto&... member ) {
         constexpr size_t count = sizeof...( member );
         const std::array< std::string_view, count + 1 > names{ member.name..., {} };
         size_t at = 0;
         [[maybe_unused]] auto parseMember = [ & ]( auto& target ) {
            const std::string_view& following = names[ at + 1 ];
            cursor.skip( ( at ? ", '" : "'" ) + std::string( names[ at ] ) + "': " );
            parseText( cursor, target,
                  following.empty() ? "})" : ", '" + std::string( following ) + "': " );
            ++at;
         };
         ( parseMember( member.of( value ) ), ... );
      } );
      cursor.skip( "})" );
   }
}

} // namespace Zol

template < typename T >
requires Zol::ValueType< T >
struct std::hash< T > {
   size_t operator()( const T& value ) const { return Zol::hash( value ); }
};

#define ZOL_VALUE_VAL( type, name, ... )                                                       \
 private:                                                                                      \
   type name##_{ __VA_ARGS__ };                                                                \
                                                                                               \
 public:                                                                                       \
   const type& name() const { return name##_; }                                                \
   void name##Is( type zolNew ) { name##_ = std::move( zolNew ); }                             \
   void name##Del() { name##_ = type{ __VA_ARGS__ }; }

#define ZOL_VALUE_SET( type, name )                                                            \
 private:                                                                                      \
   ::Zol::Set< type > name##_;                                                                 \
                                                                                               \
 public:                                                                                       \
   const ::Zol::Set< type >& name() const { return name##_; }                                  \
   ZOL_LAZY bool name##Has( const type& element ) const {                                      \
      return name##_.contains( element );                                                      \
   }                                                                                           \
   size_t name##s() const { return name##_.size(); }                                           \
   ZOL_LAZY void name##Is( type element ) { name##_.insert( std::move( element ) ); }          \
   ZOL_LAZY void name##Del( const type& element ) { name##_.erase( element ); }                \
   ZOL_LAZY void name##DelAll() { name##_.clear(); }

#define ZOL_VALUE_MAP( keyType, type, name )                                                   \
 private:                                                                                      \
   ::Zol::Map< keyType, type > name##_;                                                        \
                                                                                               \
 public:                                                                                       \
   const ::Zol::Map< keyType, type >& name() const { return name##_; }                         \
   ZOL_LAZY bool name##Has( const keyType& key ) const { return name##_.contains( key ); }     \
   size_t name##s() const { return name##_.size(); }                                           \
   ZOL_LAZY type name( const keyType& key ) const {                                            \
      auto at = name##_.find( key );                                                           \
      return at == name##_.end() ? type{} : at.value();                                        \
   }                                                                                           \
   ZOL_LAZY void name##Is( const keyType& key, type zolNew ) {                                 \
      name##_.base().insert_or_assign( key, std::move( zolNew ) );                             \
   }                                                                                           \
   ZOL_LAZY void name##Del( const keyType& key ) { name##_.base().erase( key ); }              \
   ZOL_LAZY void name##DelAll() { name##_.base().clear(); }

#define ZOL_VALUE_ITEM_( Type, item ) ZOL_VALUE_ITEM_2_ item
#define ZOL_VALUE_ITEM_2_( kind, ... ) ZOL_VALUE_##kind( __VA_ARGS__ )

#define ZOL_VALUE( Namespace, Type, ... )                                                      \
 public:                                                                                       \
   static constexpr std::string_view zolTypeName() { return #Namespace "::" #Type; }           \
   ZOL_FOR_EACH( ZOL_VALUE_ITEM_, Type, __VA_ARGS__ )                                          \
   ZOL_DESCRIBE( Type, __VA_ARGS__ )                                                           \
                                                                                               \
 public:                                                                                       \
   static_assert( true )
