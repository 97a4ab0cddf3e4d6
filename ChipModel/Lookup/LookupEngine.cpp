#include "ChipModel/Lookup/LookupEngine.h"

#include <algorithm>
#include <bit>

#include "Platform/Zol/Assert.h"

namespace ChipModel {

namespace {

// Higher is better; never 0.
uint64_t rankOf( int priority, int id ) {
   uint64_t high = static_cast< uint32_t >( priority ) ^ 0x80000000U;
   return high << 32 | ( 0xffffffffU - static_cast< uint32_t >( id ) );
}

// The bits that all accepted values have in common, and whether they tell all of the condition.
struct Cover {
   ByteTerm term;
   bool exact;
};

Cover coverOf( const SetTerm& set ) {
   unsigned ones = 0xff; // bits that are 1 in all values
   unsigned any = 0;     // bits that are 1 in some
   int values = 0;
   for ( size_t i = 0; i < set.accepted.size(); ++i ) {
      for ( uint64_t left = set.accepted[ i ]; left != 0; left &= left - 1 ) {
         unsigned value = static_cast< unsigned >( i * 64 ) +
               static_cast< unsigned >( std::countr_zero( left ) );
         ones &= value;
         any |= value;
         ++values;
      }
   }
   if ( values == 0 ) {
      return { { set.column, 0, 0 }, false };
   }
   uint8_t mask = static_cast< uint8_t >( ~( ones ^ any ) );
   return { { set.column, static_cast< uint8_t >( ones ), mask },
      values == 1 << ( 8 - std::popcount( mask ) ) };
}

} // namespace

LookupEngine::LookupEngine() : tree_( records_ ) { windowOf_.fill( noWindow ); }

int LookupEngine::insert( const LookupRule& rule, int priority, int id ) {
   ZOL_ASSERT( id >= 0 );
   LookupRecord record = recordOf( rule );
   record.rank = rankOf( priority, id );
   int slot;
   if ( free_.empty() ) {
      slot = static_cast< int >( records_.size() );
      records_.emplace_back();
   } else {
      slot = free_.back();
      free_.pop_back();
   }
   records_[ static_cast< size_t >( slot ) ] = std::move( record );
   tree_.insert( slot );
   ++rules_;
   return slot;
}

void LookupEngine::remove( int slot, const LookupRule& rule ) {
   size_t index = static_cast< size_t >( slot );
   ZOL_ASSERT( slot >= 0 && index < records_.size() && records_[ index ].rank != 0 );
   ZOL_ASSERT( recordOf( rule ).windows == records_[ index ].windows );
   tree_.remove( slot );
   records_[ index ] = {};
   free_.push_back( slot );
   --rules_;
}

int LookupEngine::find( const LookupKey& key ) const {
   return tree_.find( key.bytes.data() ).slot;
}

LookupRecord LookupEngine::recordOf( const LookupRule& rule ) {
   std::array< ByteTerm, std::tuple_size_v< decltype( LookupKey::bytes ) > > terms;
   size_t count = 0;
   LookupRecord record;
   for ( const ByteTerm& term : rule.bytes ) {
      if ( term.mask != 0 ) {
         ZOL_ASSERT( count < terms.size() );
         terms[ count++ ] = term;
      }
   }
   for ( const SetTerm& set : rule.sets ) {
      Cover cover = coverOf( set );
      if ( cover.term.mask != 0 ) {
         ZOL_ASSERT( count < terms.size() );
         terms[ count++ ] = cover.term;
      }
      if ( !cover.exact ) {
         record.sets.push_back( set );
      }
   }
   std::sort( terms.begin(), terms.begin() + static_cast< ptrdiff_t >( count ),
         []( const ByteTerm& a, const ByteTerm& b ) { return a.column < b.column; } );
   for ( size_t i = 0; i < count; ++i ) {
      ZOL_ASSERT(
            ( i == 0 || terms[ i ].column != terms[ i - 1 ].column ) && "one term per column" );
      addTerm( terms[ i ], &record );
   }
   return record;
}

void LookupEngine::addTerm( const ByteTerm& term, LookupRecord* record ) {
   ZOL_ASSERT( term.column < windowOf_.size() );
   uint8_t offset = windowFor( term.column );
   auto found = std::find_if( record->windows.begin(), record->windows.end(),
         [ & ]( const LookupWindow& window ) { return window.offset == offset; } );
   if ( found == record->windows.end() ) {
      found = record->windows.insert( found, LookupWindow{ 0, 0, offset } );
   }
   auto put = [ & ]( uint64_t& window, uint8_t byte ) {
      std::memcpy(
            reinterpret_cast< uint8_t* >( &window ) + ( term.column - offset ), &byte, 1 );
   };
   put( found->mask, term.mask );
   put( found->value, term.value & term.mask );
}

// A window begins at the first byte that a rule cares about and that is in none so far. Offsets
// are even, so that there are not more than 64 windows whatever the order of rules.
uint8_t LookupEngine::windowFor( uint8_t column ) {
   if ( windowOf_[ column ] == noWindow ) {
      size_t begin = std::min( column & ~size_t{ 1 }, windowOf_.size() - 8 );
      for ( size_t i = begin; i < begin + 8; ++i ) {
         if ( windowOf_[ i ] == noWindow ) {
            windowOf_[ i ] = static_cast< uint8_t >( begin );
         }
      }
   }
   return windowOf_[ column ];
}

} // namespace ChipModel
