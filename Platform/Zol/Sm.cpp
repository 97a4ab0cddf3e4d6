#include "Platform/Zol/Sm.h"

namespace Zol {

void EntitySm::ignore( const Entity& entity ) {
   std::erase_if( reactors_, [ & ]( const Ptr< Reactor >& reactor ) {
      if ( reactor->entity != &entity ) {
         return false;
      }
      zolDetach( *reactor );
      return true;
   } );
}

void EntitySm::addReaction(
      const Entity& entity, int attr, Reactor::Call reaction, bool takesKey ) {
   if ( isGone() ) {
      return;
   }
   // Reactions to entities that have gone are cleared out whenever the list would grow, so that
   // a machine which watches short-lived entities stays small.
   if ( reactors_.size() == reactors_.capacity() ) {
      std::erase_if( reactors_, []( const Ptr< Reactor >& r ) { return !r->entity; } );
   }
   reactors_.push_back( entity.zolAttach( *this, attr, reaction, takesKey ) );
}

void EntitySm::endReactions() {
   for ( const Ptr< Reactor >& reactor : reactors_ ) {
      zolDetach( *reactor );
   }
   reactors_.clear();
}

void EntitySm::lastRelease() {
   endReactions();
   doCleanup();
}

ZOL_DEFINE_ENTITY( EntitySm );

} // namespace Zol
