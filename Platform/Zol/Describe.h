#pragma once

// What the framework knows of a declared type: its members, in declaration order, as a list.
// The macros spell the identifiers; everything that walks a type (equality, text, generic
// access) is a template over this list.

#include <array>
#include <cstdint>
#include <functional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Platform/Zol/Containers.h"
#include "Platform/Zol/Macros.h"

namespace Zol {

// What kind of attribute a member is, and what its notifications are keyed by.
enum class MemberKind : uint8_t { constant, val, set, map, coll, own };

template < MemberKind kindOf, typename KeyType, typename Class, typename T >
struct Member {
   static constexpr MemberKind kind = kindOf;
   using Key = KeyType; // void where the attribute is a single one
   using Type = T;

   std::string_view name;
   T Class::*pointer;

   const T& of( const Class& object ) const { return object.*pointer; }
   T& of( Class& object ) const { return object.*pointer; }
};

template < MemberKind kind, typename Key, typename Class, typename T >
constexpr Member< kind, Key, Class, T > describeMember(
      std::string_view name, T Class::*pointer ) {
   return { name, pointer };
}

// The members of a type. Its bases are flat, where a tuple's are nested one per member: every
// file that includes a declared type compiles one of these, and the flat one costs half.
template < size_t index, typename M >
struct MemberAt {
   M member;
};

template < typename Indexes, typename... M >
struct MemberList;

template < size_t... index, typename... M >
struct MemberList< std::index_sequence< index... >, M... > : MemberAt< index, M >... {
   static constexpr size_t size = sizeof...( M );

   // Calls f( member... ) with all members and returns what it returns.
   template < typename F >
   constexpr auto apply( F f ) const {
      return f( static_cast< const MemberAt< index, M >& >( *this ).member... );
   }
};

// The leading 0 stands before the comma of the first member (ZOL_DESCRIBE).
template < typename... M >
constexpr auto memberList( int, M... member ) {
   return MemberList< std::index_sequence_for< M... >, M... >{ { member }... };
}

template < size_t index, typename M >
constexpr M memberAt( const MemberAt< index, M >& place ) {
   return place.member;
}

// The description of one member of T.
template < typename T, size_t index >
using MemberTypeAt = decltype( memberAt< index >( T::zolMembers() ) );

// Calls f( member... ) with all members of T and returns what it returns.
template < typename T, typename F >
constexpr auto allMembers( F f ) {
   return T::zolMembers().apply( f );
}

template < typename T >
inline constexpr bool hasCollection = allMembers< T >( []( const auto&... member ) {
   return ( ( std::remove_cvref_t< decltype( member ) >::kind != MemberKind::val ) || ... );
} );

// Whether a type can be read back from its text: false if it has a collection anywhere in it.
template < typename T >
constexpr bool isParseable() {
   if constexpr ( requires { T::zolMembers(); } ) {
      return allMembers< T >( []< typename... M >( const M&... ) {
         return ( ( M::kind == MemberKind::val && isParseable< typename M::Type >() ) && ... );
      } );
   } else {
      return true;
   }
}

template < typename T >
size_t hashOf( const T& value ) {
   if constexpr ( requires {
                     value.begin();
                     value.begin().key();
                  } ) {
      size_t result = value.size();
      for ( auto iter = value.begin(); iter != value.end(); ++iter ) {
         result = result * 31 + hashOf( iter.key() );
         if constexpr ( requires { iter.value(); } ) {
            result = result * 31 + hashOf( iter.value() );
         }
      }
      return result;
   } else {
      return std::hash< T >()( value );
   }
}

} // namespace Zol

// Operations on collections are templates, so that only those that a file calls are compiled in
// it: they cost more to compile than all else in a header.
#define ZOL_LAZY template < typename zolLazy = void >

#define ZOL_DESCRIBE_VAL( Type, type, name, ... )                                              \
   , ::Zol::describeMember< ::Zol::MemberKind::val, void >( #name, &Type::name##_ )
#define ZOL_DESCRIBE_CONST( Type, type, name )                                                 \
   , ::Zol::describeMember< ::Zol::MemberKind::constant, void >( #name, &Type::name##_ )
#define ZOL_DESCRIBE_SET( Type, type, name )                                                   \
   , ::Zol::describeMember< ::Zol::MemberKind::set, type >( #name, &Type::name##_ )
#define ZOL_DESCRIBE_MAP( Type, keyType, type, name )                                          \
   , ::Zol::describeMember< ::Zol::MemberKind::map, keyType >( #name, &Type::name##_ )
#define ZOL_DESCRIBE_COLL( Type, keyType, type, name )                                         \
   , ::Zol::describeMember< ::Zol::MemberKind::coll, keyType >( #name, &Type::name##_ )
#define ZOL_DESCRIBE_OWN( Type, type, name )                                                   \
   , ::Zol::describeMember< ::Zol::MemberKind::own, void >( #name, &Type::name##_ )

#define ZOL_DESCRIBE_ITEM_( Type, item ) ZOL_DESCRIBE_ITEM_2_( Type, ZOL_UNPAREN item )
#define ZOL_DESCRIBE_ITEM_2_( ... ) ZOL_DESCRIBE_ITEM_3_( __VA_ARGS__ )
#define ZOL_DESCRIBE_ITEM_3_( Type, kind, ... ) ZOL_DESCRIBE_##kind( Type, __VA_ARGS__ )

#define ZOL_DESCRIBE( Type, ... )                                                              \
 public:                                                                                       \
   static constexpr auto zolMembers() {                                                        \
      return ::Zol::memberList( 0 ZOL_FOR_EACH( ZOL_DESCRIBE_ITEM_, Type, __VA_ARGS__ ) );     \
   }
