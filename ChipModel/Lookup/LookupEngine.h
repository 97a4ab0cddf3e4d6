#pragma once

// The compiled lookup of one field group: which of its installed entries a frame matches
// best.
//
//    LookupEngine engine;
//    int slot = engine.insert( rule, priority, id );
//    if ( engine.find( key ) == slot ) ...
//    engine.remove( slot, rule );
//
// The engine is a decision tree over the bytes of the key (LookupTree.h). Which bytes it asks
// first is planned from the rules that are there; records of the rules (masks and values over
// windows of the key) settle what is left in a leaf. An update touches the nodes of its rule
// alone.
//
// Slots are in no particular order: the winner is found by rank.
//
// Limits: key bytes 0 to 127.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ChipModel/Lookup/LookupKey.h"
#include "ChipModel/Lookup/LookupRule.h"
#include "ChipModel/Lookup/LookupTree.h"

namespace ChipModel {

class LookupEngine {
 public:
   LookupEngine();
   // Adds a rule and returns its slot, which is its handle until it is removed. The rule
   // with the highest priority wins, among equals the one with the lowest id (0 or above).
   int insert( const LookupRule& rule, int priority, int id );
   // Takes the rule that was inserted into the slot out again. The engine keeps no copy of it:
   // the caller knows the rule from its own records.
   void remove( int slot, const LookupRule& rule );
   // The slot of the best rule that the key matches, -1 if there is none.
   int find( const LookupKey& key ) const;
   int rules() const { return rules_; }

 private:
   static constexpr uint8_t noWindow = 0xff;

   LookupRecord recordOf( const LookupRule& rule );
   void addTerm( const ByteTerm& term, LookupRecord* record );
   uint8_t windowFor( uint8_t column );

   int rules_ = 0;
   // By key byte: where the window begins that holds it.
   std::array< uint8_t, std::tuple_size_v< decltype( LookupKey::bytes ) > > windowOf_;
   std::vector< LookupRecord > records_; // by slot
   std::vector< int > free_;             // slots
   LookupTree tree_;
};

} // namespace ChipModel
