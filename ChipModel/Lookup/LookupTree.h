#pragma once

// The search tree of a LookupEngine: which of its records match a key, best rank first.
// Internal to it.
//
// A branch looks at some bits of the key. The records that care about all of these bits hang
// below it by their value, in a hash table of subtrees; the others are in one more subtree, the
// rest. A lookup follows both. A leaf is a short list of records in order of rank. So a record
// is in one place only: memory is linear, and a record comes and goes without touching others.
// The bits are chosen by what the records have in common (LookupPlan.h), and chosen anew when a
// branch has four times as many records as it had then.
//
// It is the tuple space search of Srinivasan, Suri and Varghese (SIGCOMM 1999) made
// recursive: a chain of rests is its list of hash tables, except that a bucket with many
// rules is searched by other bits in turn.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ChipModel/Lookup/LookupPlan.h"

namespace ChipModel {

class LookupTree {
 public:
   // Of a matching record; rank 0: none.
   struct Winner {
      uint64_t rank = 0;
      int slot = -1;
   };

   // `records` is by slot and must outlive the tree.
   explicit LookupTree( const std::vector< LookupRecord >& records );
   ~LookupTree();
   LookupTree( const LookupTree& ) = delete;
   LookupTree& operator=( const LookupTree& ) = delete;

   void insert( int slot );
   void remove( int slot );
   // `key` are the 128 bytes of a LookupKey.
   Winner find( const uint8_t* key ) const;

 private:
   struct Node;
   struct Leaf;
   struct Branch;
   class Search;

   struct Entry {
      Node* child = nullptr; // null: free
      uint32_t hash = 0;
   };

   const LookupRecord& at( int slot ) const {
      return records_[ static_cast< size_t >( slot ) ];
   }
   Node* build( const std::vector< int >& slots );
   Leaf* leafOf( const std::vector< int >& slots ) const;
   std::array< uint8_t, 2 > filterOffsets(
         const std::vector< int >& slots, const uint8_t* windows, size_t windowCount ) const;
   Branch* branchOf( const std::vector< int >& slots, const LookupPlan& plan );
   Node* inserted( Node* node, int slot );
   Node* insertedInLeaf( Leaf* leaf, int slot );
   Node* removed( Node* node, int slot );
   static void collect( const Node* node, std::vector< int >* slots );
   static void destroy( Node* node );

   const std::vector< LookupRecord >& records_;
   Node* root_ = nullptr; // null: no records
};

} // namespace ChipModel
