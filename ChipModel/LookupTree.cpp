#include "ChipModel/LookupTree.h"

#include <algorithm>
#include <array>
#include <bit>
#include <new>
#include <numeric>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "Platform/Zol/Assert.h"

namespace ChipModel {

namespace {

constexpr uint32_t leafLimit = 16;     // from here on a branch may be better
constexpr uint32_t collapseLimit = 4; // records that are no longer worth a branch

bool accepts( const LookupRecord& record, const uint8_t* key ) {
   const std::vector< LookupWindow >& windows = record.windows;
   const std::vector< SetTerm >& sets = record.sets;
   return std::all_of( windows.begin(), windows.end(), [ & ]( const LookupWindow& window ) {
      return ( LookupWindow::of( key, window.offset ) & window.mask ) == window.value;
   } ) && std::all_of( sets.begin(), sets.end(), [ & ]( const SetTerm& term ) {
      uint8_t byte = key[ term.column ];
      return ( term.accepted[ byte / 64U ] >> byte % 64U & 1 ) != 0;
   } );
}

// Conditions on two times four bytes of the key, for four records.
struct Filters {
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
         return _mm_cmpeq_epi32( _mm_and_si128( all, load( masks[ i ] ) ), load( values[ i ] ) );
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

} // namespace

struct LookupTree::Node {
   enum Kind : uint8_t { leaf, branch };
   uint32_t count = 0; // records below
   Kind kind;
};

// A few records in order of rank: the header of one piece of memory. What comes behind:
//    Filters filters[ blocks ];
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
      int more; // the record has to be asked, too: the conditions do not say it all
   };

   static constexpr uint32_t lanes = Filters::lanes;
   static constexpr size_t maxWindows = 8;

   uint8_t windows;
   std::array< uint8_t, 2 > filterOffsets;
   std::array< uint8_t, maxWindows > offsets;
   uint32_t capacity;
   uint32_t splitAt; // records that call for another attempt at a branch
   uint64_t bestRank;

   static uint32_t blocksFor( uint32_t capacity ) { return ( capacity + lanes - 1 ) / lanes; }
   const Filters* filters() const { return reinterpret_cast< const Filters* >( this + 1 ); }
   size_t rowSize() const { return sizeof( Owner ) + windows * sizeof( Condition ); }
   const Owner* owner( uint32_t row ) const {
      auto* rows = reinterpret_cast< const std::byte* >( filters() + blocksFor( capacity ) );
      return reinterpret_cast< const Owner* >( rows + row * rowSize() );
   }
   const Condition* conditions( uint32_t row ) const {
      return reinterpret_cast< const Condition* >( owner( row ) + 1 );
   }
   Filters* filters() { return const_cast< Filters* >( std::as_const( *this ).filters() ); }
   Owner* owner( uint32_t row ) { return const_cast< Owner* >( std::as_const( *this ).owner( row ) ); }
   Condition* conditions( uint32_t row ) {
      return const_cast< Condition* >( std::as_const( *this ).conditions( row ) );
   }

   static Leaf* make( uint32_t capacity, size_t windows ) {
      size_t size = sizeof( Leaf ) + blocksFor( capacity ) * sizeof( Filters ) +
            capacity * ( sizeof( Owner ) + windows * sizeof( Condition ) );
      Leaf* result = new ( ::operator new( size ) ) Leaf;
      result->kind = Node::leaf;
      result->capacity = capacity;
      result->splitAt = leafLimit + 1;
      result->windows = static_cast< uint8_t >( windows );
      for ( uint32_t row = 0; row < blocksFor( capacity ) * lanes; ++row ) {
         result->close( row );
      }
      return result;
   }
   // Lets nothing pass the row.
   void close( uint32_t row ) {
      filters()[ row / lanes ].set( 0, row % lanes, { 0, 1 } );
   }
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
      uint64_t sum = ( LookupWindow::of( key, offsets[ 0 ] ) & masks[ 0 ] ) *
            LookupPlan::factors[ 0 ];
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
   // Takes the entry out and closes the gap, lest a search end there.
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

LookupTree::LookupTree( const std::vector< LookupRecord >& records ) : records_( records ) {}
LookupTree::~LookupTree() { destroy( root_ ); }

void LookupTree::destroy( Node* node ) {
   if ( node == nullptr ) {
      return;
   }
   if ( node->kind == Node::leaf ) {
      ::operator delete( node );
      return;
   }
   Branch* branch = static_cast< Branch* >( node );
   for ( size_t i = 0; i < branch->tableSize(); ++i ) {
      destroy( branch->table[ i ].child );
   }
   destroy( branch->rest );
   delete branch;
}

void LookupTree::collect( const Node* node, std::vector< int >* slots ) {
   if ( node == nullptr ) {
      return;
   }
   if ( node->kind == Node::leaf ) {
      const Leaf* leaf = static_cast< const Leaf* >( node );
      for ( uint32_t i = 0; i < leaf->count; ++i ) {
         slots->push_back( leaf->owner( i )->slot );
      }
      return;
   }
   const Branch* branch = static_cast< const Branch* >( node );
   for ( size_t i = 0; i < branch->tableSize(); ++i ) {
      collect( branch->table[ i ].child, slots );
   }
   collect( branch->rest, slots );
}

LookupTree::Node* LookupTree::build( const std::vector< int >& slots ) {
   if ( slots.empty() ) {
      return nullptr;
   }
   if ( slots.size() > leafLimit ) {
      LookupPlan plan = planFor( records_, slots );
      if ( !plan.parts.empty() ) {
         Branch* branch = branchOf( slots, plan );
         if ( branch->rest != nullptr || branch->children > 1 ) {
            return branch;
         }
         destroy( branch ); // the sample was not like the others
      }
   }
   return leafOf( slots );
}

LookupTree::Leaf* LookupTree::leafOf( const std::vector< int >& slots ) const {
   std::array< uint8_t, Leaf::maxWindows > offsets;
   size_t windows = 0;
   for ( int slot : slots ) {
      for ( const LookupWindow& window : at( slot ).windows ) {
         auto end = offsets.begin() + windows;
         if ( windows < Leaf::maxWindows &&
               std::find( offsets.begin(), end, window.offset ) == end ) {
            offsets[ windows++ ] = window.offset;
         }
      }
   }
   uint32_t count = static_cast< uint32_t >( slots.size() );
   Leaf* leaf = Leaf::make( std::bit_ceil( count ), windows );
   std::copy_n( offsets.begin(), windows, leaf->offsets.begin() );
   leaf->filterOffsets = filterOffsets( slots, offsets.data(), windows );
   for ( int slot : slots ) {
      leaf->put( at( slot ), slot );
   }
   leaf->splitAt = std::max( leafLimit + 1, count * 2 );
   return leaf;
}

// Where four bytes of the key tell most of the records from each other, and where four more
// tell most of those that are left. Goes by a few of the records: how often a key that one of
// them matches passes the filters of another.
std::array< uint8_t, 2 > LookupTree::filterOffsets(
      const std::vector< int >& slots, const uint8_t* windows, size_t windowCount ) const {
   constexpr size_t most = 10;
   size_t count = std::min( slots.size(), most );
   std::array< const LookupRecord*, most > sample;
   for ( size_t i = 0; i < count; ++i ) {
      sample[ i ] = &at( slots[ i * slots.size() / count ] );
   }
   uint8_t fallback = windowCount == 0 ? 0 : windows[ 0 ];
   std::array< uint8_t, 2 > result{ fallback, fallback };
   std::array< float, most * most > alike; // of each two; after the filters so far
   alike.fill( 1 );
   for ( uint8_t& choice : result ) {
      std::array< float, most * most > bestAlike = alike;
      float least = std::accumulate( alike.begin(), alike.begin() + count * count, 0.0F );
      for ( size_t w = 0; w < windowCount && count > 1; ++w ) {
         for ( uint8_t offset = windows[ w ]; offset < std::min( windows[ w ] + 8, 125 );
               offset = static_cast< uint8_t >( offset + 2 ) ) {
            std::array< LookupExcerpt, most > excerpts;
            for ( size_t i = 0; i < count; ++i ) {
               excerpts[ i ] = sample[ i ]->excerpt( offset );
            }
            std::array< float, most * most > trial;
            float sum = 0;
            for ( size_t i = 0; i < count; ++i ) {
               for ( size_t j = 0; j < count; ++j ) {
                  size_t pair = i * count + j;
                  trial[ pair ] = alike[ pair ] * excerpts[ i ].passes( excerpts[ j ] );
                  sum += trial[ pair ];
               }
            }
            if ( sum < least ) {
               least = sum;
               choice = offset;
               bestAlike = trial;
            }
         }
      }
      alike = bestAlike;
   }
   return result;
}

LookupTree::Branch* LookupTree::branchOf(
      const std::vector< int >& slots, const LookupPlan& plan ) {
   Branch* branch = new Branch;
   branch->kind = Node::branch;
   branch->count = branch->planned = static_cast< uint32_t >( slots.size() );
   for ( const LookupPlan::Part& part : plan.parts ) {
      branch->offsets[ branch->parts ] = part.offset;
      branch->masks[ branch->parts++ ] = part.mask;
   }
   std::vector< std::pair< uint32_t, int > > hashed;
   std::vector< int > rest;
   for ( int slot : slots ) {
      uint32_t hash;
      if ( branch->covers( at( slot ), &hash ) ) {
         hashed.emplace_back( hash, slot );
      } else {
         rest.push_back( slot );
      }
   }
   std::sort( hashed.begin(), hashed.end() );
   if ( rest.empty() && hashed.front().first == hashed.back().first ) {
      return branch;
   }
   std::vector< int > bucket;
   for ( size_t i = 0; i < hashed.size(); ++i ) {
      bucket.push_back( hashed[ i ].second );
      if ( i + 1 == hashed.size() || hashed[ i + 1 ].first != hashed[ i ].first ) {
         branch->childIs( hashed[ i ].first, build( bucket ) );
         bucket.clear();
      }
   }
   branch->rest = build( rest );
   return branch;
}

void LookupTree::insert( int slot ) { root_ = inserted( root_, slot ); }
void LookupTree::remove( int slot ) { root_ = removed( root_, slot ); }

LookupTree::Node* LookupTree::inserted( Node* node, int slot ) {
   if ( node == nullptr ) {
      return leafOf( { slot } );
   }
   if ( node->kind == Node::leaf ) {
      return insertedInLeaf( static_cast< Leaf* >( node ), slot );
   }
   Branch* branch = static_cast< Branch* >( node );
   if ( ++branch->count >= branch->planned * 4 ) {
      std::vector< int > slots{ slot };
      collect( node, &slots );
      destroy( node );
      return build( slots );
   }
   uint32_t hash;
   if ( !branch->covers( at( slot ), &hash ) ) {
      branch->rest = inserted( branch->rest, slot );
   } else {
      branch->childIs( hash, inserted( branch->entry( hash )->child, slot ) );
   }
   return branch;
}

LookupTree::Node* LookupTree::insertedInLeaf( Leaf* leaf, int slot ) {
   const LookupRecord& record = at( slot );
   bool fits = leaf->count < leaf->capacity;
   for ( const LookupWindow& window : record.windows ) {
      fits = fits && ( leaf->hasWindow( window.offset ) || leaf->windows == Leaf::maxWindows );
   }
   if ( fits && leaf->count + 1 < leaf->splitAt ) {
      leaf->put( record, slot );
      return leaf;
   }
   std::vector< int > slots{ slot };
   collect( leaf, &slots );
   Node* result;
   if ( slots.size() >= leaf->splitAt ) {
      result = build( slots );
   } else {
      Leaf* wider = leafOf( slots );
      wider->splitAt = leaf->splitAt;
      result = wider;
   }
   destroy( leaf );
   return result;
}

LookupTree::Node* LookupTree::removed( Node* node, int slot ) {
   ZOL_ASSERT( node != nullptr );
   if ( node->kind == Node::leaf ) {
      Leaf* leaf = static_cast< Leaf* >( node );
      leaf->drop( slot );
      if ( leaf->count == 0 ) {
         destroy( leaf );
         return nullptr;
      }
      return leaf;
   }
   Branch* branch = static_cast< Branch* >( node );
   --branch->count;
   uint32_t hash;
   if ( !branch->covers( at( slot ), &hash ) ) {
      branch->rest = removed( branch->rest, slot );
   } else {
      Entry* entry = branch->entry( hash );
      entry->child = removed( entry->child, slot );
      if ( entry->child == nullptr ) {
         branch->childDel( entry );
      }
   }
   if ( branch->count <= collapseLimit ) {
      std::vector< int > slots;
      collect( branch, &slots );
      destroy( branch );
      return slots.empty() ? nullptr : leafOf( slots );
   }
   return branch;
}

// One lookup: the key and the best record found so far.
class LookupTree::Search {
 public:
   Search( const LookupTree& tree, const uint8_t* key ) : tree_( tree ), key_( key ) {}

   Winner run() {
      visit( tree_.root_ );
      return best_;
   }

 private:
   // The steps for a chain of branches are taken side by side, so that none waits for the
   // memory that another needs.
   void visit( const Node* node ) {
      std::array< const Node*, 16 > children;
      while ( node != nullptr && node->kind == Node::branch ) {
         std::array< const Branch*, 16 > branches;
         std::array< uint32_t, 16 > hashes;
         size_t count = 0;
         for ( ; node != nullptr && node->kind == Node::branch && count < branches.size(); ++count ) {
            const Branch* branch = static_cast< const Branch* >( node );
            branches[ count ] = branch;
            hashes[ count ] = branch->hashOf( key_ );
            __builtin_prefetch( &branch->table[ hashes[ count ] >> branch->shift ] );
            node = branch->rest;
         }
         size_t found = 0;
         for ( size_t i = 0; i < count; ++i ) {
            const Node* child = branches[ i ]->child( hashes[ i ] );
            children[ found ] = child;
            __builtin_prefetch( child );
            found += child != nullptr;
         }
         for ( size_t i = 0; i < found; ++i ) {
            visit( children[ i ] );
         }
      }
      if ( node != nullptr ) {
         scan( *static_cast< const Leaf* >( node ) );
      }
   }
   void scan( const Leaf& leaf ) {
      if ( leaf.bestRank <= best_.rank ) {
         return;
      }
      uint32_t one;
      uint32_t two;
      std::memcpy( &one, key_ + leaf.filterOffsets[ 0 ], sizeof one );
      std::memcpy( &two, key_ + leaf.filterOffsets[ 1 ], sizeof two );
      const Filters* filters = leaf.filters();
      for ( uint32_t first = 0; first < leaf.count; first += Leaf::lanes, ++filters ) {
         for ( uint32_t pass = filters->passing( one, two ); pass != 0; pass &= pass - 1 ) {
            uint32_t row = first + static_cast< uint32_t >( std::countr_zero( pass ) );
            if ( accepted( leaf, row ) && take( *leaf.owner( row ) ) ) {
               return;
            }
         }
      }
   }
   bool accepted( const Leaf& leaf, uint32_t row ) const {
      const Leaf::Condition* conditions = leaf.conditions( row );
      uint64_t wrong = 0;
      for ( size_t i = 0; i < leaf.windows; ++i ) {
         wrong |= ( LookupWindow::of( key_, leaf.offsets[ i ] ) & conditions[ i ].mask ) ^
               conditions[ i ].value;
      }
      return wrong == 0;
   }
   // Whether none behind can be better: this one is the best now, or already worse.
   bool take( const Leaf::Owner& owner ) {
      if ( owner.rank <= best_.rank ) {
         return true;
      }
      if ( owner.more != 0 && !accepts( tree_.at( owner.slot ), key_ ) ) {
         return false;
      }
      best_ = { owner.rank, owner.slot };
      return true;
   }

   const LookupTree& tree_;
   const uint8_t* key_;
   Winner best_;
};

LookupTree::Winner LookupTree::find( const uint8_t* key ) const {
   return Search( *this, key ).run();
}

} // namespace ChipModel
