#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "ChipModel/Lookup/LookupTree.h"
#include "ChipModel/Lookup/LookupTreeNodes.h"

namespace ChipModel {

namespace {

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

} // namespace

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
         for ( ; node != nullptr && node->kind == Node::branch && count < branches.size();
               ++count ) {
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
      const LookupFilters* filters = leaf.filters();
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
   // True if no record behind can be better: this one is the best now, or already worse.
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
