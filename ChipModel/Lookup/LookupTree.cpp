#include "ChipModel/Lookup/LookupTree.h"

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>
#include <utility>

#include "ChipModel/Lookup/LookupTreeNodes.h"
#include "Platform/Zol/Assert.h"

namespace ChipModel {

namespace {

constexpr uint32_t collapseLimit = 4; // records that are no longer worth a branch

} // namespace

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
   if ( slots.size() > Leaf::limit ) {
      LookupPlan plan = planFor( records_, slots );
      if ( !plan.parts.empty() ) {
         Branch* branch = branchOf( slots, plan );
         if ( branch->rest != nullptr || branch->children > 1 ) {
            return branch;
         }
         destroy( branch ); // the sample was unlike the others
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
   leaf->splitAt = std::max( Leaf::limit + 1, count * 2 );
   return leaf;
}

// The offset of the four bytes of the key that tell most of the records from each other, and
// of the four that tell most of those that are left. It is judged by a few of the records: how
// often a key that one of them matches passes the filters of another.
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
   std::array< float, most * most > alike; // of each pair, after the filters so far
   alike.fill( 1 );
   for ( uint8_t& choice : result ) {
      std::array< float, most* most > bestAlike = alike;
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

} // namespace ChipModel
