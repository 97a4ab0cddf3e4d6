#include "Platform/Zol/Notify.h"

#include <unordered_map>

#include "Platform/Zol/Entity.h"
#include "Platform/Zol/Sm.h"

namespace Zol {

namespace {

// A ring, so that entering and leaving it need no branch. Deliveries of two threads, of which
// one has released the activity lock, may leave in any order.
struct Link {
   Link* next;
   Link* previous;
};
Link deliveries{ &deliveries, &deliveries };

} // namespace

// One delivery under way, on the stack of its thread. It keeps the memory of its entity and of
// the machine that it is calling: code that would free them, or change the entity's list of
// reactors, finds the delivery in the list of all and marks it. So a delivery in which nobody
// comes or goes counts no references.
class Delivery : Link {
 public:
   explicit Delivery( const Entity& entity )
         : Link{ deliveries.next, &deliveries }, entity_( &entity ) {
      next->previous = this;
      deliveries.next = this;
   }
   ~Delivery() {
      if ( marked_ ) [[unlikely]] {
         settleAll();
      } else {
         unlink();
      }
   }
   Delivery( const Delivery& ) = delete;
   Delivery& operator=( const Delivery& ) = delete;

   // True if an object went, or the list of reactors grew, in this or an earlier call; the
   // caller must then call settleCall().
   bool call( const Reactor& reactor, const void* key ) {
      machine_ = reactor.machine;
      reactor.call( *reactor.machine, key );
      return marked_;
   }
   // The list of reactors, which may have moved.
   [[gnu::cold, gnu::noinline]] const ReactorTable::Entry* settleCall() {
      settle( std::exchange( machine_, nullptr ) );
      return entity_->zolReactors_->entries.data();
   }

   // Marks the deliveries that use the object; true if there are any.
   static bool mark( const RefCounted& object ) {
      bool isUsed = false;
      for ( Link* link = deliveries.next; link != &deliveries; link = link->next ) {
         Delivery& each = static_cast< Delivery& >( *link );
         if ( each.entity_ == &object || each.machine_ == &object ) {
            each.marked_ = true;
            isUsed = true;
         }
      }
      return isUsed;
   }

 private:
   void unlink() {
      previous->next = next;
      next->previous = previous;
   }
   [[gnu::cold, gnu::noinline]] void settleAll() {
      // The machine first, while this still keeps the entity: it may hold the last pointer.
      settle( std::exchange( machine_, nullptr ) );
      unlink();
      entity_->zolDropDeadReactors();
      settle( entity_ );
   }
   static void settle( const RefCounted* object ) {
      if ( object && object->gone_ && object->refs_ == 0 && object->pins_ == 0 ) {
         object->freeUnlessCalled();
      }
   }

   const Entity* entity_;
   const RefCounted* machine_ = nullptr;
   bool marked_ = false;
};

void RefCounted::noMorePointers() const {
   // The tear-down may make pointers to the object, so the count is held up meanwhile.
   refs_ = 1;
   if ( !gone_ ) {
      gone_ = true;
      auto self = const_cast< RefCounted* >( this );
      self->lastRelease();
      self->zolDropOwned();
   }
   if ( --refs_ == 0 && pins_ == 0 ) {
      freeUnlessCalled();
   }
}

void RefCounted::freeUnlessCalled() const {
   if ( !Delivery::mark( *this ) ) {
      // Members that go now may still make pointers to the object, or write to it: the count
      // is held up once more, so that they do not free it again.
      refs_ = 1;
      delete this;
   }
}

Entity::~Entity() {
   if ( zolReactors_ ) {
      for ( const ReactorTable::Entry& entry : zolReactors_->entries ) {
         entry.reactor->entity = nullptr;
      }
   }
}

void Entity::zolDeliver( int attr, const void* key, const KeyOps* ops ) const {
   const ReactorTable& table = *zolReactors_;
   if ( Batch* batch = Batch::current() ) [[unlikely]] {
      batch->collect( table, attr, key, ops );
      return;
   }
   Delivery delivery( *this );
   const ReactorTable::Entry* begin = table.entries.data();
   const ReactorTable::Entry* end = begin + table.entries.size();
   for ( const ReactorTable::Entry* entry = begin; entry != end; ++entry ) {
      if ( entry->attr != attr ) {
         continue;
      }
      const Reactor& reactor = *entry->reactor;
      if ( reactor.machine ) [[likely]] {
         if ( delivery.call( reactor, key ) ) [[unlikely]] {
            const auto at = entry - begin;
            const auto count = end - begin;
            begin = delivery.settleCall();
            entry = begin + at;
            end = begin + count;
         }
      }
   }
}

// Waits until half of the reactors are dead, so that many that end one by one cost linear time.
void Entity::zolDropDeadReactors() const {
   if ( !zolReactors_ || zolReactors_->dead * 2 < zolReactors_->entries.size() ||
         Delivery::mark( *this ) ) {
      return;
   }
   ReactorTable& table = *zolReactors_;
   std::erase_if(
         table.entries, []( const ReactorTable::Entry& e ) { return !e.reactor->machine; } );
   table.dead = 0;
   if ( table.entries.empty() ) {
      zolReactors_.reset();
   }
}

Ptr< Reactor > Entity::zolAttach(
      EntitySm& machine, int attr, Reactor::Call call, bool takesKey ) const {
   if ( !zolReactors_ ) {
      zolReactors_ = std::make_unique< ReactorTable >();
   }
   Delivery::mark( *this );
   Ptr< Reactor > reactor = make< Reactor >();
   reactor->entity = const_cast< Entity* >( this );
   reactor->machine = &machine;
   reactor->call = call;
   reactor->takesKey = takesKey;
   zolReactors_->entries.push_back( { attr, reactor } );
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
   for ( const ReactorTable::Entry& entry : table.entries ) {
      if ( entry.attr == attr && entry.reactor->machine ) {
         changes_->add( entry.reactor.get(), entry.reactor->takesKey ? key : nullptr, ops );
      }
   }
}

} // namespace Zol
