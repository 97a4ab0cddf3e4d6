#include "Platform/Zol/Notify.h"

#include <unordered_map>

#include "Platform/Zol/Entity.h"
#include "Platform/Zol/Sm.h"

namespace Zol {

void RefCounted::noMorePointers() const {
   // The object's tear-down may well make pointers to it: the count is held up meanwhile.
   refs_ = 1;
   if ( !gone_ ) {
      gone_ = true;
      auto self = const_cast< RefCounted* >( this );
      self->lastRelease();
      self->zolDropOwned();
   }
   if ( --refs_ == 0 && pins_ == 0 ) {
      free();
   }
}

void RefCounted::free() const {
   // Members that go now may still make pointers to the object, or write to it: the count is
   // held up once more, so that they do not free it again.
   refs_ = 1;
   delete this;
}

Entity::~Entity() {
   if ( zolReactors_ ) {
      for ( const Ptr< Reactor >& reactor : zolReactors_->reactors ) {
         reactor->entity = nullptr;
      }
   }
}

void Entity::zolDeliver( int attr, const void* key, const KeyOps* ops ) const {
   ReactorTable& table = *zolReactors_;
   if ( Batch* batch = Batch::current() ) {
      batch->collect( table, attr, key, ops );
      return;
   }
   struct Delivery {
      explicit Delivery( const Entity& e ) : entity( e ) { ++entity.zolReactors_->deliveries; }
      ~Delivery() {
         ReactorTable& t = *entity.zolReactors_;
         if ( --t.deliveries == 0 && t.dead != 0 ) [[unlikely]] {
            entity.zolDropDeadReactors();
         }
      }
      const Entity& entity;
   };
   Pin keepEntity( *this );
   Delivery delivery( *this );
   for ( size_t i = 0, count = table.reactors.size(); i < count; ++i ) {
      Reactor* reactor = table.reactors[ i ].get();
      if ( reactor->attr == attr && reactor->machine ) {
         Pin keepMachine( *reactor->machine );
         reactor->call( *reactor->machine, key );
      }
   }
}

// Waits until half of the reactors are dead, so that many that end one by one cost linear time.
void Entity::zolDropDeadReactors() const {
   ReactorTable& table = *zolReactors_;
   if ( table.deliveries != 0 || table.dead * 2 < table.reactors.size() ) {
      return;
   }
   std::erase_if( table.reactors, []( const Ptr< Reactor >& r ) { return !r->machine; } );
   table.dead = 0;
   if ( table.reactors.empty() ) {
      zolReactors_.reset();
   }
}

Ptr< Reactor > Entity::zolAttach( EntitySm& machine, int attr, Reactor::Call call ) const {
   if ( !zolReactors_ ) {
      zolReactors_ = std::make_unique< ReactorTable >();
   }
   Ptr< Reactor > reactor = make< Reactor >();
   reactor->entity = const_cast< Entity* >( this );
   reactor->machine = &machine;
   reactor->attr = attr;
   reactor->call = call;
   zolReactors_->reactors.push_back( reactor );
   return reactor;
}

void Entity::zolDetach( Reactor& reactor ) {
   reactor.machine = nullptr;
   if ( Entity* entity = std::exchange( reactor.entity, nullptr ) ) {
      ++entity->zolReactors_->dead;
      entity->zolDropDeadReactors();
   }
}

// --- Batch ---------------------------------------------------------------------------------

Batch* Batch::current_ = nullptr;

struct Batch::Changes {
   struct Change {
      Ptr< Reactor > reactor;
      void* key = nullptr;
      const KeyOps* ops = nullptr;
   };

   Changes() = default;
   Changes( const Changes& ) = delete;
   Changes& operator=( const Changes& ) = delete;
   ~Changes() {
      for ( Change& change : inOrder ) {
         if ( change.key ) {
            change.ops->destroy( change.key );
         }
      }
   }

   void add( Reactor* reactor, const void* key, const KeyOps* ops ) {
      size_t hash = reinterpret_cast< size_t >( reactor ) ^ ( key ? ops->hash( key ) : 0 );
      auto [ at, end ] = byHash.equal_range( hash );
      for ( ; at != end; ++at ) {
         const Change& change = inOrder[ at->second ];
         if ( change.reactor.get() == reactor && ( !key || ops->equal( change.key, key ) ) ) {
            return;
         }
      }
      byHash.emplace( hash, inOrder.size() );
      inOrder.push_back( { reactor, key ? ops->copy( key ) : nullptr, ops } );
   }

   std::vector< Change > inOrder;
   std::unordered_multimap< size_t, size_t > byHash;
};

Batch::Batch() {
   if ( !current_ ) {
      changes_ = std::make_unique< Changes >();
      current_ = this;
   }
}

Batch::~Batch() noexcept( false ) {
   if ( !changes_ ) {
      return;
   }
   current_ = nullptr; // what handlers write is delivered at once
   for ( Changes::Change& change : changes_->inOrder ) {
      if ( change.reactor->machine ) {
         Pin keepMachine( *change.reactor->machine );
         change.reactor->call( *change.reactor->machine, change.key );
      }
   }
}

void Batch::collect( const ReactorTable& table, int attr, const void* key, const KeyOps* ops ) {
   for ( const Ptr< Reactor >& reactor : table.reactors ) {
      if ( reactor->attr == attr && reactor->machine ) {
         changes_->add( reactor.get(), key, ops );
      }
   }
}

} // namespace Zol
