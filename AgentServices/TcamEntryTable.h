#pragma once

// The entries that an entry manager holds, found by key and by id in O( 1 ).
//
// Rules are programmed by the ten thousand, so an entry costs no allocation of its own: the
// entries stand in one array, whose free slots are used again, two open-addressed indexes
// point into it, and keys share their texts.

#include <cstdint>
#include <vector>

#include "AgentServices/KeptKey.h"
#include "AgentServices/TcamGroup.h"
#include "Platform/Karvel/TcamServices.h"

namespace AgentServices {

// Slot numbers by hash, with linear probing.
class SlotIndex {
 public:
   static constexpr uint32_t none = ~0U;

   // The slot of this hash that `isIt( slot )`, or none.
   template < typename IsIt >
   uint32_t find( uint32_t hash, IsIt isIt ) const {
      if ( cells_.empty() ) {
         return none;
      }
      for ( size_t at = home( hash ); cells_[ at ].slot != none; at = next( at ) ) {
         if ( cells_[ at ].hash == hash && isIt( cells_[ at ].slot ) ) {
            return cells_[ at ].slot;
         }
      }
      return none;
   }
   void insert( uint32_t hash, uint32_t slot );
   // It must be there.
   void erase( uint32_t hash, uint32_t slot );

 private:
   struct Cell {
      uint32_t hash = 0;
      uint32_t slot = none; // none: free
   };

   size_t home( uint32_t hash ) const { return hash & ( cells_.size() - 1 ); }
   size_t next( size_t at ) const { return ( at + 1 ) & ( cells_.size() - 1 ); }
   void place( const Cell& cell );

   std::vector< Cell > cells_; // a power of two of them, at most half of them used
   size_t used_ = 0;
};

class TcamEntryTable {
 public:
   using Key = KeptKey< Karvel::TcamRequestKey >;
   // Makes the stored form once, for find() and insert().
   Key keep( const Karvel::TcamRequestKey& key ) { return keyMaker_.keep( key ); }

   // Null if the entry is not held. Valid until the next insert.
   TcamEntry* find( const Key& key );
   TcamEntry* find( Karvel::EntryId id );
   // Neither the key nor the id may be held.
   void insert( Key key, const TcamEntry& entry );
   // It must be held.
   void erase( Karvel::EntryId id );

   size_t size() const { return slots_.size() - free_.size(); }
   template < typename Visit >
   void forEach( Visit visit ) const {
      for ( const Slot& slot : slots_ ) {
         if ( slot.entry.id != 0 ) {
            visit( slot.entry );
         }
      }
   }

 private:
   struct Slot {
      Key key;
      TcamEntry entry; // id 0: the slot is free
   };

   uint32_t slotOf( Karvel::EntryId id ) const;

   KeyMaker< Karvel::TcamRequestKey > keyMaker_;
   std::vector< Slot > slots_;
   std::vector< uint32_t > free_;
   SlotIndex byKey_;
   SlotIndex byId_; // ids count up: they are their own hash
};

} // namespace AgentServices
