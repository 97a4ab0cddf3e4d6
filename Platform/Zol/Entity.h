#pragma once

// Entities: reference-counted objects whose attribute changes call the reactors of machines.
// Declared once, by the list of their attributes, like values:
//
//    class MtpTcamHelperConfig : public Zol::Entity {
//       ZOL_ENTITY( KarvelMirror, MtpTcamHelperConfig, Zol::Entity,
//             ( CONST, Mtp, mtp ),                               // set by the constructor
//             ( VAL, Zol::Ptr< const ProgrammingOp >, programmingOp ) )
//     public:
//       explicit MtpTcamHelperConfig( Mtp mtp ) : mtp_( mtp ) {}
//    };
//    ZOL_DEFINE_ENTITY( MtpTcamHelperConfig );      // in a source file
//
// Kinds and their operations:
//    CONST type, name            name()
//    VAL   type, name [default]  name(), nameIs( v ), nameDel()
//    SET   type, name            name(), nameIs( e ), nameDel( e ), nameHas( e ), nameDelAll(),
//                                names()
//    MAP   key, type, name       the same with nameIs( key, v ), and name( key )
//    COLL  key, entity, name     owned elements: nameIs( key, args... ) fetches or creates
//                                entity( key, args... ); nameIs( key, Ptr ) puts a ready one
//                                in place; name( key ) is null where there is none
//    OWN   entity, name          one owned entity: nameIs( args... ) fetches or creates
//
// A write that changes nothing notifies nobody. Deleting an owned machine tears it down before
// the operation returns. A machine is in its place before it starts (Sm.h). The key that a
// write gets by reference must outlive the call: do not pass one that a handler may delete.

#include <concepts>
#include <string_view>

#include "Platform/Zol/Assert.h"
#include "Platform/Zol/Notify.h"
#include "Platform/Zol/Text.h"
#include "Platform/Zol/Wiring.h"

namespace Zol {

// Visits the attributes of an entity by name: for state dumps and the store browser.
class AttributeVisitor {
 public:
   virtual void value( std::string_view name, const std::string& text ) = 0;
   // An owned entity; `key` is its key in a collection, empty for a single one.
   virtual void entity(
         std::string_view name, const std::string& key, const Entity& child ) = 0;

 protected:
   ~AttributeVisitor() = default;
};

enum class AttributeWrite : uint8_t { done, noSuchAttribute, notWritable };

class Entity : public RefCounted {
 public:
   static constexpr int zolAttrCount = 0;
   static constexpr std::string_view zolTypeName() { return "Zol::Entity"; }

   ~Entity() override;

   // --- Generic access by name -----------------------------------------------------------
   virtual std::string_view typeName() const { return zolTypeName(); }
   virtual void visitAttributes( AttributeVisitor& ) const {}
   // Writes a VAL attribute from its text and notifies like any write. ParseError if the text
   // is no value of the attribute's type. Pointers, and values with a collection, cannot be
   // read from text and are not writable.
   virtual AttributeWrite attributeIs( std::string_view, std::string_view ) {
      return AttributeWrite::noSuchAttribute;
   }

   // --- For the framework ----------------------------------------------------------------
   Ptr< Reactor > zolAttach(
         EntitySm& machine, int attr, Reactor::Call call, bool takesKey ) const;
   static void zolDetach( Reactor& reactor );

 protected:
   void zolNotify( int attr ) const {
      if ( zolReactors_ ) [[unlikely]] {
         zolDeliver( attr, nullptr, nullptr );
      }
   }
   template < typename K >
   void zolNotify( int attr, const K& key ) const {
      if ( zolReactors_ ) [[unlikely]] {
         zolDeliver( attr, &key, &keyOps< K > );
      }
   }

 private:
   void zolDeliver( int attr, const void* key, const KeyOps* ops ) const;
   void zolDropDeadReactors() const;
   friend class Delivery;

   mutable std::unique_ptr< ReactorTable > zolReactors_;
};

// Starts a machine that has just been put in its place; does nothing for other entities.
template < typename T >
void startIfMachine( const Ptr< T >& entity ) {
   if constexpr ( requires { entity->zolStart(); } ) {
      entity->zolStart();
   }
}

template < typename M, typename T >
void visitMember( AttributeVisitor& visitor, const M& member, const T& object ) {
   const auto& value = member.of( object );
   if constexpr ( M::kind == MemberKind::own ) {
      if ( value ) {
         visitor.entity( member.name, "", *value );
      }
   } else if constexpr ( M::kind == MemberKind::coll ) {
      for ( const auto& key : value.keys() ) {
         if ( auto at = value.find( key ); at != value.end() ) {
            auto child = at.value();
            visitor.entity( member.name, toString( key ), *child );
         }
      }
   } else {
      visitor.value( member.name, toString( value ) );
   }
}

template < typename T >
void visitMembers( AttributeVisitor& visitor, const T& object ) {
   allMembers< T >(
         [ & ]( const auto&... member ) { ( visitMember( visitor, member, object ), ... ); } );
}

// Owned entities go one by one, the last declared attribute first, in the order of their keys.
template < typename M, typename T >
void dropOwnedMember( const M& member, T& object ) {
   if constexpr ( M::kind == MemberKind::own ) {
      member.of( object ) = nullptr;
   } else if constexpr ( M::kind == MemberKind::coll ) {
      for ( const auto& key : member.of( object ).keys() ) {
         member.of( object ).base().extract( key );
      }
   }
}

template < typename T >
void dropOwnedMembers( T& object ) {
   [[maybe_unused]] constexpr auto members = T::zolMembers();
   constexpr size_t count = decltype( T::zolMembers() )::size;
   [ & ]< size_t... i >( std::index_sequence< i... > ) {
      ( dropOwnedMember( memberAt< count - 1 - i >( members ), object ), ... );
   }
   ( std::make_index_sequence< count >() );
}

// What an OWN or COLL member owns.
template < typename T >
struct Owned;
template < typename T >
struct Owned< Ptr< T > > {
   using Type = T;
};
template < typename K, typename T >
struct Owned< Map< K, Ptr< T > > > {
   using Type = T;
};

template < typename T, typename M >
void addOwnership( const M& member, std::vector< Ownership >& machines ) {
   if constexpr ( M::kind == MemberKind::own || M::kind == MemberKind::coll ) {
      using Child = typename Owned< typename M::Type >::Type;
      if constexpr ( requires( Child & child ) { child.zolStart(); } ) {
         machines.push_back( { T::zolTypeName(), member.name,
               M::kind == MemberKind::own ? Ownership::Count::one : Ownership::Count::perKey,
               Child::zolTypeName(), {} } );
      }
   }
}

// The machines that a type owns.
template < typename T >
std::vector< Ownership > ownershipsOf() {
   std::vector< Ownership > machines;
   allMembers< T >(
         [ & ]( const auto&... member ) { ( addOwnership< T >( member, machines ), ... ); } );
   return machines;
}

template < typename T >
inline constexpr bool isPtr = false;
template < typename T >
inline constexpr bool isPtr< Ptr< T > > = true;

// The text of one VAL member, if `member` is the one called `name`; true if it was.
template < typename M, typename T, typename Notify >
bool writeMember( const M& member, T& object, std::string_view name, std::string_view text,
      AttributeWrite& result, Notify notify ) {
   if ( member.name != name ) {
      return false;
   }
   result = AttributeWrite::notWritable;
   using Type = std::remove_cvref_t< decltype( member.of( object ) ) >;
   if constexpr ( M::kind == MemberKind::val && !isPtr< Type > && isParseable< Type >() ) {
      Type value = fromString< Type >( text );
      result = AttributeWrite::done;
      if ( !( member.of( object ) == value ) ) {
         member.of( object ) = std::move( value );
         notify();
      }
   }
   return true;
}

template < typename T, typename Notify >
bool writeMembers( T& object, std::string_view name, std::string_view text,
      AttributeWrite& result, Notify notify ) {
   return allMembers< T >( [ & ]( [[maybe_unused]] const auto&... member ) {
      [[maybe_unused]] int attr = T::zolFirstAttr - 1;
      return ( writeMember( member, object, name, text, result, [ &, at = ++attr ] {
         notify( at );
      } ) || ... );
   } );
}

} // namespace Zol

#define ZOL_ENTITY_CONST( type, name )                                                         \
 private:                                                                                      \
   type name##_;                                                                               \
                                                                                               \
 public:                                                                                       \
   const type& name() const { return name##_; }

#define ZOL_ENTITY_VAL( type, name, ... )                                                      \
 private:                                                                                      \
   type name##_{ __VA_ARGS__ };                                                                \
                                                                                               \
 public:                                                                                       \
   const type& name() const { return name##_; }                                                \
   void name##Is( type zolNew ) {                                                              \
      if ( !( name##_ == zolNew ) ) {                                                          \
         name##_ = std::move( zolNew );                                                        \
         zolNotify( static_cast< int >( Attr::name ) );                                        \
      }                                                                                        \
   }                                                                                           \
   void name##Del() { name##Is( type{ __VA_ARGS__ } ); }

#define ZOL_ENTITY_SET( type, name )                                                           \
 private:                                                                                      \
   ::Zol::Set< type > name##_;                                                                 \
                                                                                               \
 public:                                                                                       \
   const ::Zol::Set< type >& name() const { return name##_; }                                  \
   ZOL_LAZY bool name##Has( const type& element ) const {                                      \
      return name##_.contains( element );                                                      \
   }                                                                                           \
   size_t name##s() const { return name##_.size(); }                                           \
   ZOL_LAZY void name##Is( const type& element ) {                                             \
      if ( name##_.insert( element ) ) {                                                       \
         zolNotify( static_cast< int >( Attr::name ), element );                               \
      }                                                                                        \
   }                                                                                           \
   ZOL_LAZY void name##Del( type element ) {                                                   \
      if ( name##_.erase( element ) ) {                                                        \
         zolNotify( static_cast< int >( Attr::name ), element );                               \
      }                                                                                        \
   }                                                                                           \
   ZOL_LAZY void name##DelAll() {                                                              \
      ::Zol::Pin zolKeep( *this );                                                             \
      const ::Zol::Set< type > zolOld = std::exchange( name##_, {} );                          \
      for ( const type& element : zolOld ) {                                                   \
         zolNotify( static_cast< int >( Attr::name ), element );                               \
      }                                                                                        \
   }

#define ZOL_ENTITY_MAP( keyType, type, name )                                                  \
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
      auto& zolMap = name##_.base();                                                           \
      auto at = zolMap.lower_bound( key );                                                     \
      if ( at == zolMap.end() || key < at->first ) {                                           \
         zolMap.emplace_hint( at, key, std::move( zolNew ) );                                  \
      } else if ( !( at->second == zolNew ) ) {                                                \
         at->second = std::move( zolNew );                                                     \
      } else {                                                                                 \
         return;                                                                               \
      }                                                                                        \
      zolNotify( static_cast< int >( Attr::name ), key );                                      \
   }                                                                                           \
   ZOL_LAZY void name##Del( keyType key ) {                                                    \
      if ( name##_.base().erase( key ) ) {                                                     \
         zolNotify( static_cast< int >( Attr::name ), key );                                   \
      }                                                                                        \
   }                                                                                           \
   ZOL_LAZY void name##DelAll() {                                                              \
      ::Zol::Pin zolKeep( *this );                                                             \
      for ( const keyType& key : name##_.keys() ) {                                            \
         name##Del( key );                                                                     \
      }                                                                                        \
   }

#define ZOL_ENTITY_COLL( keyType, type, name )                                                 \
 private:                                                                                      \
   ::Zol::Map< keyType, ::Zol::Ptr< type > > name##_;                                          \
                                                                                               \
 public:                                                                                       \
   const ::Zol::Map< keyType, ::Zol::Ptr< type > >& name() const { return name##_; }           \
   ZOL_LAZY bool name##Has( const keyType& key ) const { return name##_.contains( key ); }     \
   size_t name##s() const { return name##_.size(); }                                           \
   ZOL_LAZY ::Zol::Ptr< type > name( const keyType& key ) {                                    \
      auto at = name##_.find( key );                                                           \
      return at == name##_.end() ? nullptr : at.value();                                       \
   }                                                                                           \
   ZOL_LAZY ::Zol::Ptr< const type > name( const keyType& key ) const {                        \
      auto at = name##_.find( key );                                                           \
      return at == name##_.end() ? nullptr : at.value().get();                                 \
   }                                                                                           \
   template < typename... Args >                                                               \
   requires( std::constructible_from< type, const keyType&, Args... > )::Zol::Ptr< type >      \
         name##Is( const keyType& key, Args&&... args ) {                                      \
      auto at = name##_.base().lower_bound( key );                                             \
      if ( at != name##_.base().end() && !( key < at->first ) ) {                              \
         return at->second;                                                                    \
      }                                                                                        \
      ::Zol::Pin zolKeep( *this );                                                             \
      auto made = ::Zol::make< type >( key, std::forward< Args >( args )... );                 \
      name##_.base().emplace_hint( at, key, made );                                            \
      ::Zol::startIfMachine( made );                                                           \
      zolNotify( static_cast< int >( Attr::name ), key );                                      \
      return made;                                                                             \
   }                                                                                           \
   ZOL_LAZY void name##Is( const keyType& key, ::Zol::Ptr< type > ready ) {                    \
      ZOL_ASSERT( !!ready );                                                                   \
      ::Zol::Pin zolKeep( *this );                                                             \
      ::Zol::Ptr< type >& place = name##_.base()[ key ];                                       \
      if ( place.get() != ready.get() ) {                                                      \
         place = ready;                                                                        \
         ::Zol::startIfMachine( ready );                                                       \
         zolNotify( static_cast< int >( Attr::name ), key );                                   \
      }                                                                                        \
   }                                                                                           \
   ZOL_LAZY void name##Del( keyType key ) {                                                    \
      if ( auto node = name##_.base().extract( key ) ) {                                       \
         ::Zol::Pin zolKeep( *this );                                                          \
         node.mapped() = nullptr;                                                              \
         zolNotify( static_cast< int >( Attr::name ), key );                                   \
      }                                                                                        \
   }                                                                                           \
   ZOL_LAZY void name##DelAll() {                                                              \
      ::Zol::Pin zolKeep( *this );                                                             \
      for ( const keyType& key : name##_.keys() ) {                                            \
         name##Del( key );                                                                     \
      }                                                                                        \
   }

#define ZOL_ENTITY_OWN( type, name )                                                           \
 private:                                                                                      \
   ::Zol::Ptr< type > name##_;                                                                 \
                                                                                               \
 public:                                                                                       \
   const ::Zol::Ptr< type >& name() { return name##_; }                                        \
   ::Zol::Ptr< const type > name() const { return name##_; }                                   \
   template < typename... Args >                                                               \
   requires( std::constructible_from< type, Args... > )::Zol::Ptr< type > name##Is(            \
         Args&&... args ) {                                                                    \
      if ( name##_ ) {                                                                         \
         return name##_;                                                                       \
      }                                                                                        \
      auto made = ::Zol::make< type >( std::forward< Args >( args )... );                      \
      name##Is( made );                                                                        \
      return made;                                                                             \
   }                                                                                           \
   ZOL_LAZY void name##Is( ::Zol::Ptr< type > ready ) {                                        \
      if ( name##_.get() != ready.get() ) {                                                    \
         ::Zol::Pin zolKeep( *this );                                                          \
         name##_ = ready;                                                                      \
         if ( ready ) {                                                                        \
            ::Zol::startIfMachine( ready );                                                    \
         }                                                                                     \
         zolNotify( static_cast< int >( Attr::name ) );                                        \
      }                                                                                        \
   }                                                                                           \
   ZOL_LAZY void name##Del() { name##Is( ::Zol::Ptr< type >() ); }

#define ZOL_ATTR_ITEM_( Type, item ) ZOL_ATTR_ITEM_2_ item
#define ZOL_ATTR_ITEM_2_( kind, ... ) ZOL_ATTR_##kind( __VA_ARGS__ )
#define ZOL_ATTR_CONST( type, name ) name,
#define ZOL_ATTR_VAL( type, name, ... ) name,
#define ZOL_ATTR_SET( type, name ) name,
#define ZOL_ATTR_MAP( keyType, type, name ) name,
#define ZOL_ATTR_COLL( keyType, type, name ) name,
#define ZOL_ATTR_OWN( type, name ) name,

#define ZOL_ENTITY_ITEM_( Type, item ) ZOL_ENTITY_ITEM_2_ item
#define ZOL_ENTITY_ITEM_2_( kind, ... ) ZOL_ENTITY_##kind( __VA_ARGS__ )

// Attribute numbers go on where those of the base end.
#define ZOL_ENTITY( Namespace, Type, Base, ... )                                               \
 public:                                                                                       \
   enum class Attr : int {                                                                     \
      zolBefore = Base::zolAttrCount - 1,                                                      \
      ZOL_FOR_EACH( ZOL_ATTR_ITEM_, Type, __VA_ARGS__ ) zolEnd                                 \
   };                                                                                          \
   [[maybe_unused]] static constexpr int zolAttrCount = static_cast< int >( Attr::zolEnd );    \
   static constexpr int zolFirstAttr = Base::zolAttrCount;                                     \
   [[maybe_unused]] friend constexpr Type* zolAttrOwner( Attr ) { return nullptr; }            \
   using ZolBase = Base;                                                                       \
   static constexpr std::string_view zolTypeName() { return #Namespace "::" #Type; }           \
   ZOL_DESCRIBE( Type, __VA_ARGS__ )                                                           \
   std::string_view typeName() const override { return zolTypeName(); }                        \
   void visitAttributes( ::Zol::AttributeVisitor& visitor ) const override;                    \
   ::Zol::AttributeWrite attributeIs( std::string_view zolName, std::string_view zolText )     \
         override;                                                                             \
   ZOL_FOR_EACH( ZOL_ENTITY_ITEM_, Type, __VA_ARGS__ )                                         \
                                                                                               \
 protected:                                                                                    \
   void zolDropOwned() override;                                                               \
                                                                                               \
 public:                                                                                       \
   static_assert( true )

// In one source file per entity type; entities whose header has no source file of its own stand
// in the folder's Entities.cpp. Code that walks all attributes is compiled there only.
#define ZOL_DEFINE_ENTITY( ... )                                                               \
   void __VA_ARGS__::visitAttributes( ::Zol::AttributeVisitor& visitor ) const {               \
      ZolBase::visitAttributes( visitor );                                                     \
      ::Zol::visitMembers( visitor, *this );                                                   \
   }                                                                                           \
   ::Zol::AttributeWrite __VA_ARGS__::attributeIs(                                             \
         std::string_view zolName, std::string_view zolText ) {                                \
      auto zolResult = ::Zol::AttributeWrite::noSuchAttribute;                                 \
      bool zolFound = ::Zol::writeMembers( *this, zolName, zolText, zolResult,                 \
            [ & ]( int attr ) { this->zolNotify( attr ); } );                                  \
      return zolFound ? zolResult : ZolBase::attributeIs( zolName, zolText );                  \
   }                                                                                           \
   void __VA_ARGS__::zolDropOwned() {                                                          \
      ::Zol::dropOwnedMembers( *this );                                                        \
      ZolBase::zolDropOwned();                                                                 \
   }                                                                                           \
   static const ::Zol::EntityTypeRow ZOL_ROW_( __COUNTER__ )( __VA_ARGS__::zolTypeName(),      \
         __VA_ARGS__::ZolBase::zolTypeName(), ::Zol::ownershipsOf< __VA_ARGS__ > )
#define ZOL_ROW_( number ) ZOL_ROW_2_( number )
#define ZOL_ROW_2_( number ) zolEntityTypeRow##number
