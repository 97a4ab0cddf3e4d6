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
// that it owns go. A handler that is running then still runs to its end, but can attach nothing.

#include <type_traits>
#include <vector>

#include "Platform/Zol/Entity.h"

namespace Zol {

template < typename T >
struct HandlerClass;
template < typename Class, typename Function >
struct HandlerClass< Function Class::* > {
   using Type = Class;
};

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
      using Owner = std::remove_pointer_t< decltype( zolAttrOwner( attr ) ) >;
      static_assert( std::is_base_of_v< Owner, std::remove_const_t< E > > );
      constexpr size_t index = static_cast< size_t >( attr ) - Owner::zolFirstAttr;
      using Key = typename MemberTypeAt< Owner, index >::Key;
      ZOL_ASSERT( !!entity );
      addReaction( *entity, static_cast< int >( attr ), &call< handler, Key >,
            takesKey< decltype( handler ), Key >() );
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
