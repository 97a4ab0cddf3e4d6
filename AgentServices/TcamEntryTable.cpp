#include "AgentServices/TcamEntryTable.h"

#include <algorithm>
#include <utility>

#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Karvel::EntryId;

void SlotIndex::insert( uint32_t hash, uint32_t slot ) {
   if ( ++used_ * 2 > cells_.size() ) {
      std::vector< Cell > grown( std::max< size_t >( 16, cells_.size() * 2 ) );
      cells_.swap( grown );
      for ( const Cell& cell : grown ) {
         if ( cell.slot != none ) {
            place( cell );
         }
      }
   }
   place( { hash, slot } );
}

void SlotIndex::place( const Cell& cell ) {
   size_t at = home( cell.hash );
   while ( cells_[ at ].slot != none ) {
      at = next( at );
   }
   cells_[ at ] = cell;
}

void SlotIndex::erase( uint32_t hash, uint32_t slot ) {
   size_t hole = home( hash );
   while ( cells_[ hole ].slot != slot ) {
      ZOL_ASSERT( cells_[ hole ].slot != none );
      hole = next( hole );
   }
   // Cells behind the hole that would no longer be reached from their home move up.
   for ( size_t at = next( hole ); cells_[ at ].slot != none; at = next( at ) ) {
      const size_t mask = cells_.size() - 1;
      const size_t fromHome = ( at - home( cells_[ at ].hash ) ) & mask;
      const size_t fromHole = ( at - hole ) & mask;
      if ( fromHome >= fromHole ) {
         cells_[ hole ] = cells_[ at ];
         hole = at;
      }
   }
   cells_[ hole ] = {};
   --used_;
}

TcamEntry* TcamEntryTable::find( const Key& key ) {
   const uint32_t slot =
         byKey_.find( key.hash, [ & ]( uint32_t at ) { return slots_[ at ].key == key; } );
   return slot == SlotIndex::none ? nullptr : &slots_[ slot ].entry;
}

TcamEntry* TcamEntryTable::find( EntryId id ) {
   const uint32_t slot = slotOf( id );
   return slot == SlotIndex::none ? nullptr : &slots_[ slot ].entry;
}

uint32_t TcamEntryTable::slotOf( EntryId id ) const {
   return byId_.find( id, []( uint32_t ) { return true; } );
}

void TcamEntryTable::insert( Key key, const TcamEntry& entry ) {
   const uint32_t hash = key.hash;
   uint32_t slot = static_cast< uint32_t >( slots_.size() );
   if ( free_.empty() ) {
      slots_.push_back( { std::move( key ), entry } );
   } else {
      slot = free_.back();
      free_.pop_back();
      slots_[ slot ] = { std::move( key ), entry };
   }
   byKey_.insert( hash, slot );
   byId_.insert( entry.id, slot );
}

void TcamEntryTable::erase( EntryId id ) {
   const uint32_t slot = slotOf( id );
   ZOL_ASSERT( slot != SlotIndex::none );
   byKey_.erase( slots_[ slot ].key.hash, slot );
   byId_.erase( id, slot );
   slots_[ slot ].entry = {};
   free_.push_back( slot );
}

} // namespace AgentServices
