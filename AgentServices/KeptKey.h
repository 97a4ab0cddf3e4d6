#pragma once

// A key (any value type) as a table of tens of thousands of rows stores it: the same members,
// with their hash, and texts shared with the key that was made before. Rules of one ACL come
// one after another, so that its name is stored and hashed once, not for each of them.
//
//    KeyMaker< Karvel::TcamRequestKey > maker;
//    KeptKey< Karvel::TcamRequestKey > kept = maker.keep( key );

#include <cstdint>
#include <tuple>

#include "Platform/Zol/Ptr.h"
#include "Platform/Zol/Value.h"

namespace AgentServices {

// An immutable text and its hash.
class SharedText {
 public:
   explicit SharedText( const Zol::String& text = {} )
         : shared_( Zol::make< Shared >( text ) ) {}
   const Zol::String& text() const { return shared_->text; }
   size_t hash() const { return shared_->hash; }
   bool operator==( const SharedText& other ) const {
      return shared_ == other.shared_ || text() == other.text();
   }

 private:
   struct Shared : Zol::RefCounted {
      explicit Shared( const Zol::String& t ) : text( t ), hash( Zol::hashOf( t ) ) {}
      const Zol::String text;
      const size_t hash;
   };
   Zol::Ptr< Shared > shared_;
};

template < typename T >
const T& keptMember( const T& member, SharedText& ) {
   return member;
}
inline const SharedText& keptMember( const Zol::String& member, SharedText& last ) {
   if ( last.text() != member ) {
      last = SharedText( member );
   }
   return last;
}
template < typename Value >
auto keptMembers( const Value& key, SharedText& last ) {
   return Zol::allMembers< Value >( [ & ]( const auto&... member ) {
      return std::make_tuple( keptMember( member.of( key ), last )... );
   } );
}

template < typename Value >
struct KeptKey {
   using Members = decltype( keptMembers( Value(), std::declval< SharedText& >() ) );

   bool operator==( const KeptKey& ) const = default;

   uint32_t hash = 0;
   Members members;
};

template < typename Value >
class KeyMaker {
 public:
   KeptKey< Value > keep( const Value& key ) {
      KeptKey< Value > result{ 0, keptMembers( key, last_ ) };
      size_t hash = 0;
      std::apply(
            [ & ]( const auto&... member ) {
               ( ( hash = ( hash ^ hashOf( member ) ) * 0x9e3779b97f4a7c15ULL ), ... );
            },
            result.members );
      // The upper half depends on every bit of the key.
      result.hash = static_cast< uint32_t >( hash >> 32 );
      return result;
   }

 private:
   static size_t hashOf( const SharedText& text ) { return text.hash(); }
   template < typename T >
   static size_t hashOf( const T& member ) {
      return Zol::hashOf( member );
   }

   SharedText last_;
};

} // namespace AgentServices
