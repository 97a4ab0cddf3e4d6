#pragma once

// The nodes of a LookupTree, laid out for lookups: a leaf is one piece of memory, a branch has
// what a lookup needs in one cache line. Internal to the tree: LookupTree.cpp makes, changes
// and frees the nodes, LookupTreeSearch.cpp follows them.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "ChipModel/Lookup/LookupPlan.h"
#include "ChipModel/Lookup/LookupTree.h"
#include "Platform/Zol/Assert.h"

namespace ChipModel {

// Conditions on two times four bytes of the key, for four records.
struct LookupFilters {
   static constexpr uint32_t lanes = 4;
   using Lanes = std::array< uint32_t, lanes >;

   std::array< Lanes, 2 > masks;
   std::array< Lanes, 2 > values;

   LookupExcerpt at( size_t i, uint32_t lane ) const {
      return { masks[ i ][ lane ], values[ i ][ lane ] };
   }
   void set( size_t i, uint32_t lane, const LookupExcerpt& excerpt ) {
      masks[ i ][ lane ] = excerpt.mask;
      values[ i ][ lane ] = excerpt.value;
   }
   // Which records the key passes, a bit for each.
   uint32_t passing( uint32_t first, uint32_t second ) const {
#ifdef __SSE2__
      auto load = []( const Lanes& four ) {
         return _mm_loadu_si128( reinterpret_cast< const __m128i* >( four.data() ) );
      };
      auto equal = [ & ]( uint32_t window, size_t i ) {
         __m128i all = _mm_set1_epi32( static_cast< int >( window ) );
         return _mm_cmpeq_epi32(
               _mm_and_si128( all, load( masks[ i ] ) ), load( values[ i ] ) );
      };
      __m128i both = _mm_and_si128( equal( first, 0 ), equal( second, 1 ) );
      return static_cast< uint32_t >( _mm_movemask_ps( _mm_castsi128_ps( both ) ) );
#else
      uint32_t result = 0;
      for ( uint32_t i = 0; i < lanes; ++i ) {
         bool pass = ( first & masks[ 0 ][ i ] ) == values[ 0 ][ i ] &&
               ( second & masks[ 1 ][ i ] ) == values[ 1 ][ i ];
         result |= static_cast< uint32_t >( pass ) << i;
      }
      return result;
#endif
   }
};

struct LookupTree::Node {
   enum Kind : uint8_t { leaf, branch };
   uint32_t count = 0; // records below
   Kind kind;
};

// A few records in order of rank: the header of one piece of memory. What comes behind:
//    LookupFilters filters[ blocks ];
//    struct { Owner owner; Condition conditions[ windows ]; } rows[ capacity ];
// A scan looks at two times four bytes of the key, for four records at once; the few that pass
// are looked at in full.
struct LookupTree::Leaf : Node {
   struct Condition {
      uint64_t mask;
      uint64_t value;
   };
   struct Owner {
      uint64_t rank;
      int slot;
      int more; // the record must be asked, too: the conditions leave something open
   };

   static constexpr uint32_t limit = 16; // records; from here on a branch may be better
   static constexpr uint32_t lanes = LookupFilters::lanes;
   static constexpr size_t maxWindows = 8;

   uint8_t windows;
   std::array< uint8_t, 2 > filterOffsets;
   std::array< uint8_t, maxWindows > offsets;
   uint32_t capacity;
   uint32_t splitAt; // records that call for another attempt at a branch
   uint64_t bestRank;

   static uint32_t blocksFor( uint32_t capacity ) { return ( capacity + lanes - 1 ) / lanes; }
   const LookupFilters* filters() const {
      return reinterpret_cast< const LookupFilters* >( this + 1 );
   }
   size_t rowSize() const { return sizeof( Owner ) + windows * sizeof( Condition ); }
   const Owner* owner( uint32_t row ) const {
      auto* rows = reinterpret_cast< const std::byte* >( filters() + blocksFor( capacity ) );
      return reinterpret_cast< const Owner* >( rows + row * rowSize() );
   }
   const Condition* conditions( uint32_t row ) const {
      return reinterpret_cast< const Condition* >( owner( row ) + 1 );
   }
   LookupFilters* filters() {
      return const_cast< LookupFilters* >( std::as_const( *this ).filters() );
   }
   Owner* owner( uint32_t row ) {
      return const_cast< Owner* >( std::as_const( *this ).owner( row ) );
   }
   Condition* conditions( uint32_t row ) {
      return const_cast< Condition* >( std::as_const( *this ).conditions( row ) );
   }

   static Leaf* make( uint32_t capacity, size_t windows ) {
      size_t size = sizeof( Leaf ) + blocksFor( capacity ) * sizeof( LookupFilters ) +
            capacity * ( sizeof( Owner ) + windows * sizeof( Condition ) );
      Leaf* result = new ( ::operator new( size ) ) Leaf;
      result->kind = Node::leaf;
      result->capacity = capacity;
      result->splitAt = limit + 1;
      result->windows = static_cast< uint8_t >( windows );
      for ( uint32_t row = 0; row < blocksFor( capacity ) * lanes; ++row ) {
         result->close( row );
      }
      return result;
   }
   // Lets nothing pass the row.
   void close( uint32_t row ) { filters()[ row / lanes ].set( 0, row % lanes, { 0, 1 } ); }
   bool hasWindow( uint8_t offset ) const {
      return std::find( offsets.begin(), offsets.begin() + windows, offset ) !=
            offsets.begin() + windows;
   }
   // Puts the record where its rank belongs; there is room for it.
   void put( const LookupRecord& record, int slot ) {
      uint32_t row = count++;
      for ( ; row > 0 && owner( row - 1 )->rank < record.rank; --row ) {
         move( row - 1, row );
      }
      size_t said = 0;
      for ( size_t i = 0; i < windows; ++i ) {
         const LookupWindow* window = record.windowAt( offsets[ i ] );
         said += window != nullptr;
         conditions( row )[ i ] =
               window == nullptr ? Condition{} : Condition{ window->mask, window->value };
      }
      *owner( row ) = { record.rank, slot,
         !record.sets.empty() || said != record.windows.size() };
      bestRank = owner( 0 )->rank;
      for ( size_t i = 0; i < filterOffsets.size(); ++i ) {
         filters()[ row / lanes ].set( i, row % lanes, record.excerpt( filterOffsets[ i ] ) );
      }
   }
   void drop( int slot ) {
      uint32_t row = 0;
      while ( row < count && owner( row )->slot != slot ) {
         ++row;
      }
      ZOL_ASSERT( row < count );
      for ( --count; row < count; ++row ) {
         move( row + 1, row );
      }
      close( count );
      bestRank = owner( 0 )->rank;
   }
   void move( uint32_t from, uint32_t to ) {
      std::memcpy( owner( to ), owner( from ), rowSize() );
      for ( size_t i = 0; i < filterOffsets.size(); ++i ) {
         filters()[ to / lanes ].set(
               i, to % lanes, filters()[ from / lanes ].at( i, from % lanes ) );
      }
   }
};

// What a lookup needs of it fills one cache line.
struct alignas( 64 ) LookupTree::Branch : Node {
   uint8_t parts = 0;
   uint8_t shift = 30; // of a hash to its place in the table
   std::array< uint8_t, LookupPlan::maxParts > offsets{};
   std::array< uint64_t, LookupPlan::maxParts > masks{};
   std::unique_ptr< Entry[] > table = std::make_unique< Entry[] >( 4 );
   Node* rest = nullptr;
   uint32_t planned = 0; // records when the bits were chosen
   uint32_t children = 0;

   size_t tableSize() const { return size_t{ 1 } << ( 32 - shift ); }

   bool covers( const LookupRecord& record, uint32_t* hash ) const {
      uint64_t sum = 0;
      for ( size_t i = 0; i < parts; ++i ) {
         const LookupWindow* window = record.windowAt( offsets[ i ] );
         if ( window == nullptr || ( masks[ i ] & ~window->mask ) != 0 ) {
            return false;
         }
         sum += ( window->value & masks[ i ] ) * LookupPlan::factors[ i ];
      }
      *hash = static_cast< uint32_t >( sum >> 32 );
      return true;
   }
   uint32_t hashOf( const uint8_t* key ) const {
      uint64_t sum =
            ( LookupWindow::of( key, offsets[ 0 ] ) & masks[ 0 ] ) * LookupPlan::factors[ 0 ];
      for ( size_t i = 1; i < parts; ++i ) {
         sum += ( LookupWindow::of( key, offsets[ i ] ) & masks[ i ] ) *
               LookupPlan::factors[ i ];
      }
      return static_cast< uint32_t >( sum >> 32 );
   }
   // The records with that hash, null if there are none.
   const Node* child( uint32_t hash ) const {
      size_t at = hash >> shift;
      while ( table[ at ].child != nullptr && table[ at ].hash != hash ) {
         at = ( at + 1 ) & ( tableSize() - 1 );
      }
      return table[ at ].child;
   }
   // The hash's entry, or the free one where it would be.
   Entry* entry( uint32_t hash ) {
      size_t at = hash >> shift;
      while ( table[ at ].child != nullptr && table[ at ].hash != hash ) {
         at = ( at + 1 ) & ( tableSize() - 1 );
      }
      return &table[ at ];
   }
   void childIs( uint32_t hash, Node* child ) {
      Entry* place = entry( hash );
      bool isNew = place->child == nullptr;
      *place = { child, hash };
      if ( isNew && ++children * 3 > tableSize() ) {
         size_t size = tableSize();
         auto old = std::make_unique< Entry[] >( size * 2 );
         old.swap( table );
         --shift;
         for ( size_t i = 0; i < size; ++i ) {
            if ( old[ i ].child != nullptr ) {
               *entry( old[ i ].hash ) = old[ i ];
            }
         }
      }
   }
   // Takes the entry out and closes the gap, so that no search ends there.
   void childDel( Entry* gone ) {
      size_t wrap = tableSize() - 1;
      size_t gap = static_cast< size_t >( gone - table.get() );
      table[ gap ] = {};
      --children;
      for ( size_t at = ( gap + 1 ) & wrap; table[ at ].child != nullptr;
            at = ( at + 1 ) & wrap ) {
         size_t home = table[ at ].hash >> shift;
         if ( ( ( at - home ) & wrap ) >= ( ( at - gap ) & wrap ) ) {
            table[ gap ] = table[ at ];
            table[ at ] = {};
            gap = at;
         }
      }
   }
};

} // namespace ChipModel
