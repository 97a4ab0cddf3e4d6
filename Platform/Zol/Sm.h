#pragma once

// State machines: entities that react to changes of others.
//
//    class SliceMtpSm : public Zol::EntitySm {
//       ...
//       void doInit() override {
//          react< &SliceMtpSm::handleConfigChange, MtpProgramInfo::Attr::direction >( info_ );
//          react< &SliceMtpSm::handleReview, MtpAclCodefStatus::Attr::review >( status_ );
//       }
//
// A handler takes nothing, or for a keyed attribute the key that changed. The `Is` operation
// that makes a machine puts it in its place and then starts it (doInit). When its last pointer
// goes, its reactions end, doCleanup runs with the machine still whole, and then the entities
// that it owns go. A handler that is running then still runs to its end, but can attach
// nothing.
//
// A machine that keeps another one for each element of a collection follows it:
//
//    void doInit() override {
//       follow< &SliceRootSm::handleMtpConfig, Info::Attr::mtpProgramInfo >( info_ );
//    }
//    void handleMtpConfig( Mtp mtp ) {
//       Zol::follow< &SliceMtpSm::mtpProgramInfo >( mtpSm( mtp ), info_->mtpProgramInfo( mtp ),
//             [ & ] { mtpSmDel( mtp ); }, [ & ] { mtpSmIs( mtp, ... ); } );
//    }

#include <type_traits>
#include <vector>

#include "Platform/Zol/Entity.h"
#include "Platform/Zol/Wiring.h"

namespace Zol {

template < typename T >
struct HandlerClass;
template < typename Class, typename Function >
struct HandlerClass< Function Class::* > {
   using Type = Class;
};

template < auto attr >
using AttributeOwner = std::remove_pointer_t< decltype( zolAttrOwner( attr ) ) >;
template < auto attr >
inline constexpr size_t attributeIndex =
      static_cast< size_t >( attr ) - AttributeOwner< attr >::zolFirstAttr;

// The row of one reaction; made when the library that has it is loaded.
template < auto handler, auto attr, typename E >
inline const ReactionRow reactionRow{
   { HandlerClass< decltype( handler ) >::Type::zolTypeName(), E::zolTypeName(),
         memberAt< attributeIndex< attr > >( AttributeOwner< attr >::zolMembers() ).name,
         handlerName< handler >() }
};

// Keeps one machine for one element. `present` is the machine that is there and `wanted` the
// element; each may be null. `elementOf` tells which element a machine was made for. An element
// that went and came back within one batch is seen once, as another entity: its machine is
// dropped, and a new one made.
template < auto elementOf, typename Machine, typename Element, typename Drop, typename Make >
void follow( Ptr< Machine > present, const Ptr< Element >& wanted, Drop drop, Make make ) {
   if ( present && ( present.get()->*elementOf )() != wanted ) {
      present = nullptr; // drop() releases the last pointer
      drop();
   }
   if ( wanted && !present ) {
      make();
   }
}

class EntitySm : public Entity {
   ZOL_ENTITY( Zol, EntitySm, Entity );

 public:
   ~EntitySm() override { endReactions(); }
   // Called once, by the operation that put the machine in its place.
   void zolStart() {
      if ( !started_ ) {
         started_ = true;
         doInit();
      }
   }

 protected:
   virtual void doInit() {}
   virtual void doCleanup() {}

   // Calls `handler` of this machine at every change of `attr` of the entity.
   template < auto handler, auto attr, typename E >
   void react( const Ptr< E >& entity ) {
      using Owner = AttributeOwner< attr >;
      static_assert( std::is_base_of_v< Owner, std::remove_const_t< E > > );
      using Key = typename MemberTypeAt< Owner, attributeIndex< attr > >::Key;
      (void)&reactionRow< handler, attr, std::remove_const_t< E > >;
      ZOL_ASSERT( !!entity );
      addReaction( *entity, static_cast< int >( attr ), &call< handler, Key >,
            takesKey< decltype( handler ), Key >() );
   }
   // The same for a keyed attribute, and calls `handler` for each key that is there already.
   template < auto handler, auto attr, typename E >
   void follow( const Ptr< E >& entity ) {
      react< handler, attr >( entity );
      using Owner = AttributeOwner< attr >;
      const auto member = memberAt< attributeIndex< attr > >( Owner::zolMembers() );
      for ( const auto& key : member.of( static_cast< const Owner& >( *entity ) ).keys() ) {
         call< handler, std::remove_cvref_t< decltype( key ) > >( *this, &key );
      }
   }
   // Ends all reactions to one entity.
   void ignore( const Entity& entity );

 private:
   template < typename Handler, typename Key >
   static constexpr bool takesKey() {
      if constexpr ( std::is_void_v< Key > ) {
         return false;
      } else {
         return std::is_invocable_v< Handler, typename HandlerClass< Handler >::Type&,
               const Key& >;
      }
   }
   template < auto handler, typename Key >
   static void call( EntitySm& machine, const void* key ) {
      using Class = typename HandlerClass< decltype( handler ) >::Type;
      Class& self = static_cast< Class& >( machine );
      if constexpr ( std::is_void_v< Key > ) {
         ( self.*handler )();
      } else if constexpr ( takesKey< decltype( handler ), Key >() ) {
         ( self.*handler )( *static_cast< const Key* >( key ) );
      } else {
         ( self.*handler )();
      }
   }

   void addReaction( const Entity& entity, int attr, Reactor::Call reaction, bool takesKey );
   void endReactions();
   void lastRelease() final;

   std::vector< Ptr< Reactor > > reactors_;
   bool started_ = false;
};

} // namespace Zol
