#pragma once

// Delivery of attribute changes: reactors, and batches that collect a burst.
//
// A change is delivered at once, to the reactors of that attribute in the order in which they
// were attached, over a snapshot: a reactor attached during the delivery waits for the next
// one, a reactor whose machine has gone is skipped, and the machine being called is kept in
// memory. Within a Batch the changes are collected and each (reactor, attribute, key) is
// delivered once at its end, in order of first write:
//
//    Zol::Batch batch;
//    for ( const auto& rule : rules ) {
//       config->ruleIs( rule );
//    }

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Platform/Zol/Describe.h"
#include "Platform/Zol/Ptr.h"

namespace Zol {

class Entity;
class EntitySm;

// How a batch keeps the key of a change until it is delivered.
struct KeyOps {
   void* ( *copy )( const void* );
   void ( *destroy )( void* );
   bool ( *equal )( const void*, const void* );
   size_t ( *hash )( const void* );
};

template < typename K >
inline constexpr KeyOps keyOps = {
   []( const void* key ) -> void* { return new K( *static_cast< const K* >( key ) ); },
   []( void* key ) { delete static_cast< K* >( key ); },
   []( const void* left, const void* right ) {
      return *static_cast< const K* >( left ) == *static_cast< const K* >( right );
   },
   []( const void* key ) { return hashOf( *static_cast< const K* >( key ) ); },
};

// One machine's interest in one attribute of one entity.
struct Reactor : RefCounted {
   using Call = void ( * )( EntitySm& machine, const void* key );

   Entity* entity = nullptr;    // null once the entity has gone
   EntitySm* machine = nullptr; // null once the machine has gone
   Call call = nullptr;
   bool takesKey = false;
};

struct ReactorTable {
   struct Entry {
      int attr; // the reactor's, here so that others are passed over quickly
      Ptr< Reactor > reactor;
   };
   std::vector< Entry > entries;
   size_t dead = 0; // entries whose machine has gone
};

class Batch {
 public:
   Batch();
   // The outermost batch delivers, also when an exception ends it: writes are not undone, so
   // those who watch must be told. A handler's exception passes through; the deliveries that
   // are left are then dropped.
   ~Batch() noexcept( false );
   Batch( const Batch& ) = delete;
   Batch& operator=( const Batch& ) = delete;

   static Batch* current() { return current_; }
   void collect( const ReactorTable& table, int attr, const void* key, const KeyOps* ops );

 private:
   struct Changes;

   static Batch* current_;
   std::unique_ptr< Changes > changes_; // null in an inner batch
};

} // namespace Zol
