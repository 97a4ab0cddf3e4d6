#include "ChipModel/LookupEngine.h"

#include <algorithm>
#include <bit>

#include "Platform/Zol/Assert.h"

namespace ChipModel {

namespace {

constexpr size_t lineWords = 8; // of a cache line; a vector is a multiple of it
constexpr size_t firstWords = lineWords;

uint8_t maskOf( const ByteTerm& term ) { return term.mask; }
uint8_t maskOf( const SetTerm& ) { return 0xff; }

// Calls visit( value ) for each value under the column's mask that the term accepts.
template < typename Visitor >
void forEachValue( const ByteTerm& term, uint8_t columnMask, Visitor&& visit ) {
   unsigned fixed = term.value & term.mask;
   unsigned free = columnMask & ~unsigned{ term.mask };
   unsigned subset = free;
   for ( ;; ) {
      visit( fixed | subset );
      if ( subset == 0 ) {
         return;
      }
      subset = ( subset - 1 ) & free;
   }
}

template < typename Visitor >
void forEachValue( const SetTerm& term, uint8_t, Visitor&& visit ) {
   for ( size_t i = 0; i < term.accepted.size(); ++i ) {
      for ( uint64_t left = term.accepted[ i ]; left != 0; left &= left - 1 ) {
         visit( i * 64 + static_cast< size_t >( std::countr_zero( left ) ) );
      }
   }
}

// Higher is better; never 0.
uint64_t rankOf( int priority, int id ) {
   uint64_t high = static_cast< uint32_t >( priority ) ^ 0x80000000U;
   return high << 32 | ( 0xffffffffU - static_cast< uint32_t >( id ) );
}

// From one row to the next, in words. A cache line more than the row: rows that are a power
// of two apart would all fall into the same few sets of the cache.
size_t rowStride( size_t words ) { return words + lineWords; }
size_t rowCount( uint8_t mask ) { return std::bit_ceil( size_t{ mask } + 1 ); }

} // namespace

int LookupEngine::insert( const LookupRule& rule, int priority, int id ) {
   ZOL_ASSERT( id >= 0 );
   size_t slot = takeSlot();
   Place place( slot );
   for ( const ByteTerm& term : rule.bytes ) {
      addTerm( term, place );
   }
   for ( const SetTerm& term : rule.sets ) {
      addTerm( term, place );
   }
   rankIs( slot, rankOf( priority, id ) );
   ++rules_;
   sortColumns();
   return static_cast< int >( slot );
}

void LookupEngine::remove( int handle, const LookupRule& rule ) {
   size_t slot = static_cast< size_t >( handle );
   ZOL_ASSERT( handle >= 0 && slot < ranks_.size() && ranks_[ slot ] != 0 );
   Place place( slot );
   for ( const ByteTerm& term : rule.bytes ) {
      dropTerm( term, place );
   }
   for ( const SetTerm& term : rule.sets ) {
      dropTerm( term, place );
   }
   rankIs( slot, 0 );
   occupied_[ place.word ] &= ~place.bit;
   if ( occupied_[ place.word ] == 0 ) {
      inhabited_[ place.sum ] &= ~place.sumBit;
   }
   room_[ place.sum ] |= place.sumBit;
   --rules_;
   sortColumns();
}

// The lowest free slot, so that what is written in order lies in order.
size_t LookupEngine::takeSlot() {
   size_t sum = 0;
   while ( sum < sums_ && room_[ sum ] == 0 ) {
      ++sum;
   }
   if ( sum == sums_ ) {
      sum = words_ / 64;
      grow();
   }
   size_t word = sum * 64 + static_cast< size_t >( std::countr_zero( room_[ sum ] ) );
   size_t slot = word * 64 + static_cast< size_t >( std::countr_one( occupied_[ word ] ) );
   Place place( slot );
   occupied_[ word ] |= place.bit;
   inhabited_[ place.sum ] |= place.sumBit;
   if ( ~occupied_[ word ] == 0 ) {
      room_[ place.sum ] &= ~place.sumBit;
   }
   return slot;
}

// Doubles the slots.
void LookupEngine::grow() {
   size_t words = words_ == 0 ? firstWords : words_ * 2;
   size_t sums = ( words + 63 ) / 64;
   auto regrown = []( const Words& rows, size_t width, size_t newWidth ) {
      Words wider( width == 0 ? 0 : rows.size() / width * newWidth );
      for ( size_t from = 0, to = 0; from < rows.size(); from += width, to += newWidth ) {
         std::copy_n( &rows[ from ], width, &wider[ to ] );
      }
      return wider;
   };
   for ( uint8_t offset : order_ ) {
      Column& column = columns_[ offset ];
      column.cares.resize( words );
      column.allCare.resize( sums );
      column.rows = regrown( column.rows, rowStride( words_ ), rowStride( words ) );
      if ( sums != sums_ ) {
         column.rowsAny = regrown( column.rowsAny, sums_, sums );
      }
   }
   occupied_.resize( words );
   inhabited_.resize( sums );
   room_.resize( sums );
   for ( size_t word = words_; word < words; ++word ) {
      room_[ word / 64 ] |= uint64_t{ 1 } << word % 64;
   }
   wordBest_.resize( words );
   ranks_.resize( words * 64 );
   words_ = words;
   sums_ = sums;
}

template < typename Term >
void LookupEngine::addTerm( const Term& term, const Place& place ) {
   uint8_t mask = maskOf( term );
   if ( mask == 0 ) {
      return;
   }
   ZOL_ASSERT( term.column < LookupKey{}.bytes.size() );
   if ( columns_.size() <= term.column ) {
      columns_.resize( size_t{ term.column } + 1 );
   }
   Column& column = columns_[ term.column ];
   if ( column.users++ == 0 ) {
      order_.push_back( term.column );
      column.cares.resize( words_ );
      column.allCare.resize( sums_ );
   }
   if ( ( mask & ~column.mask ) != 0 ) {
      widen( column, mask );
   }
   ZOL_ASSERT( ( column.cares[ place.word ] & place.bit ) == 0 && "one term per column" );
   column.cares[ place.word ] |= place.bit;
   if ( ~column.cares[ place.word ] == 0 ) {
      column.allCare[ place.sum ] |= place.sumBit;
   }
   size_t stride = rowStride( words_ );
   forEachValue( term, column.mask, [ & ]( size_t value ) {
      column.rows[ value * stride + place.word ] |= place.bit;
      column.rowsAny[ value * sums_ + place.sum ] |= place.sumBit;
      ++column.accepted;
   } );
}

template < typename Term >
void LookupEngine::dropTerm( const Term& term, const Place& place ) {
   if ( maskOf( term ) == 0 ) {
      return;
   }
   ZOL_ASSERT( term.column < columns_.size() );
   Column& column = columns_[ term.column ];
   ZOL_ASSERT( column.users > 0 && ( column.cares[ place.word ] & place.bit ) != 0 );
   if ( --column.users == 0 ) {
      std::erase( order_, term.column );
      column = {};
      return;
   }
   column.cares[ place.word ] &= ~place.bit;
   column.allCare[ place.sum ] &= ~place.sumBit;
   size_t stride = rowStride( words_ );
   forEachValue( term, column.mask, [ & ]( size_t value ) {
      uint64_t& word = column.rows[ value * stride + place.word ];
      word &= ~place.bit;
      if ( word == 0 ) {
         column.rowsAny[ value * sums_ + place.sum ] &= ~place.sumBit;
      }
      --column.accepted;
   } );
}

// Lets the column tell more bits of its byte apart. No rule in it cares about the new bits:
// each row serves for its value with and without them.
void LookupEngine::widen( Column& column, uint8_t mask ) const {
   mask |= column.mask;
   column.rows.resize( rowCount( mask ) * rowStride( words_ ) );
   column.rowsAny.resize( rowCount( mask ) * sums_ );
   column.accepted <<= std::popcount( mask ) - std::popcount( column.mask );
   size_t stride = rowStride( words_ );
   while ( mask != column.mask ) {
      unsigned missing = mask & ~unsigned{ column.mask };
      unsigned bit = missing & ( ~missing + 1 );
      forEachValue( ByteTerm{}, column.mask, [ & ]( size_t value ) {
         size_t twin = value | bit;
         std::copy_n(
               &column.rows[ value * stride ], words_, &column.rows[ twin * stride ] );
         std::copy_n(
               &column.rowsAny[ value * sums_ ], sums_, &column.rowsAny[ twin * sums_ ] );
      } );
      column.mask = static_cast< uint8_t >( column.mask | bit );
   }
}

// Once in a while: the order is a matter of speed only.
void LookupEngine::sortColumns() {
   if ( ++changesSinceSort_ * 8 < rules_ ) {
      return;
   }
   changesSinceSort_ = 0;
   // The share of ( slot, value ) pairs that a column lets through.
   auto share = [ this ]( uint8_t offset ) {
      const Column& column = columns_[ offset ];
      double values = static_cast< double >( 1 << std::popcount( column.mask ) );
      double accepted = static_cast< double >( column.accepted ) / values;
      return accepted + static_cast< double >( rules_ - column.users );
   };
   std::sort( order_.begin(), order_.end(),
         [ & ]( uint8_t a, uint8_t b ) { return share( a ) < share( b ); } );
}

void LookupEngine::rankIs( size_t slot, uint64_t rank ) {
   uint64_t old = ranks_[ slot ];
   ranks_[ slot ] = rank;
   uint64_t& best = wordBest_[ slot / 64 ];
   if ( rank > best ) {
      best = rank;
   } else if ( old == best ) {
      auto first = ranks_.begin() + static_cast< ptrdiff_t >( slot / 64 * 64 );
      best = *std::max_element( first, first + 64 );
   }
}

// One lookup: the vectors that the key's bytes choose, and the best rule found so far.
class LookupEngine::Search {
 public:
   Search( const LookupEngine& engine, const LookupKey& key ) : engine_( engine ) {
      size_t stride = rowStride( engine.words_ );
      for ( uint8_t offset : engine.order_ ) {
         const Column& column = engine.columns_[ offset ];
         size_t value = key.bytes[ offset ] & column.mask;
         probes_[ count_++ ] = { &column.rows[ value * stride ], column.cares.data(),
            &column.rowsAny[ value * engine.sums_ ], column.allCare.data() };
      }
   }

   int run() {
      for ( size_t sum = 0; sum < engine_.sums_; ++sum ) {
         uint64_t live = liveWords( sum );
         // Where most words are live, going by lines is cheaper than by words.
         if ( std::popcount( live ) > 12 ) {
            for ( size_t line = 0; line < 64 / lineWords; ++line ) {
               if ( ( live >> line * lineWords & 0xff ) != 0 ) {
                  visitLine( sum * 64 + line * lineWords );
               }
            }
            continue;
         }
         for ( ; live != 0; live &= live - 1 ) {
            visitWord( sum * 64 + static_cast< size_t >( std::countr_zero( live ) ) );
         }
      }
      return best_ == 0 ? -1 : static_cast< int >( winner_ );
   }

 private:
   struct Probe {
      const uint64_t* row;
      const uint64_t* cares;
      const uint64_t* rowAny;
      const uint64_t* allCare;
   };

   // The words that can hold a match, as far as the summaries tell.
   uint64_t liveWords( size_t sum ) const {
      uint64_t live = engine_.inhabited_[ sum ];
      for ( size_t i = 0; i < count_; ++i ) {
         live &= probes_[ i ].rowAny[ sum ] | ~probes_[ i ].allCare[ sum ];
      }
      return live;
   }
   void visitWord( size_t word ) {
      if ( engine_.wordBest_[ word ] <= best_ ) {
         return;
      }
      uint64_t hits = engine_.occupied_[ word ];
      for ( size_t i = 0; i < count_ && hits != 0; ++i ) {
         hits &= probes_[ i ].row[ word ] | ~probes_[ i ].cares[ word ];
      }
      rate( word, hits );
   }
   // The same for `lineWords` words at once: loops of fixed length, for vector
   // instructions.
   void visitLine( size_t first ) {
      const uint64_t* best = &engine_.wordBest_[ first ];
      if ( *std::max_element( best, best + lineWords ) <= best_ ) {
         return;
      }
      std::array< uint64_t, lineWords > hits;
      std::copy_n( &engine_.occupied_[ first ], lineWords, hits.begin() );
      uint64_t any = 1;
      for ( size_t i = 0; i < count_ && any != 0; ++i ) {
         const uint64_t* row = probes_[ i ].row + first;
         const uint64_t* cares = probes_[ i ].cares + first;
         any = 0;
         for ( size_t word = 0; word < lineWords; ++word ) {
            hits[ word ] &= row[ word ] | ~cares[ word ];
            any |= hits[ word ];
         }
      }
      for ( size_t word = 0; any != 0 && word < lineWords; ++word ) {
         if ( best[ word ] > best_ ) {
            rate( first + word, hits[ word ] );
         }
      }
   }
   void rate( size_t word, uint64_t hits ) {
      for ( ; hits != 0; hits &= hits - 1 ) {
         size_t slot = word * 64 + static_cast< size_t >( std::countr_zero( hits ) );
         if ( engine_.ranks_[ slot ] > best_ ) {
            best_ = engine_.ranks_[ slot ];
            winner_ = slot;
         }
      }
   }

   const LookupEngine& engine_;
   std::array< Probe, std::tuple_size_v< decltype( LookupKey::bytes ) > > probes_;
   size_t count_ = 0;
   uint64_t best_ = 0;
   size_t winner_ = 0;
};

int LookupEngine::find( const LookupKey& key ) const { return Search( *this, key ).run(); }

} // namespace ChipModel
