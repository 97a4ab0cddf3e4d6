#pragma once

// The compiled lookup of one field group: which of its installed entries a frame matches
// best.
//
//    LookupEngine engine;
//    int slot = engine.insert( rule, priority, id );
//    if ( engine.find( key ) == slot ) ...
//    engine.remove( slot, rule );
//
// A bit vector scheme over the bytes of the key (Lakshman and Stiliadis, SIGCOMM 1998, with
// the aggregated vectors of Baboescu and Varghese, SIGCOMM 2001). Every rule has a slot.
// For each key byte that some rule cares about there is a column: per byte value one vector
// over the slots that accept it, and one vector of the slots that care at all. A rule that
// does not care about a byte leaves no trace in its column, so an update costs as much as
// the rule has terms, whatever the size of the table. A lookup ANDs one vector per column.
//
// Slots are in no particular order: the winner is found by rank, and words whose best rule
// cannot win any more are passed over. Filled in falling priority or rising id, which is
// the ordinary way, the first word that matches ends the search.
//
// Limits: key bytes 0 to 127; memory is 32 bytes per slot and byte column at the most.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ChipModel/LookupKey.h"

namespace ChipModel {

// A condition on one byte of the key: ( byte & mask ) == ( value & mask ).
struct ByteTerm {
   uint8_t column = 0; // offset in the key
   uint8_t value = 0;
   uint8_t mask = 0;
};

// A condition on one byte of the key: it is one of these values.
struct SetTerm {
   uint8_t column = 0;
   std::array< uint64_t, 4 > accepted{}; // bit n % 64 of word n / 64: value n
};

// Matches when all terms do; without any, always. A column appears in at most one term.
struct LookupRule {
   std::vector< ByteTerm > bytes;
   std::vector< SetTerm > sets;
};

class LookupEngine {
 public:
   // Adds a rule and returns its slot, which is its handle until it is removed. The rule
   // with the highest priority wins, among equals the one with the lowest id (0 or above).
   int insert( const LookupRule& rule, int priority, int id );
   // Takes the rule that was inserted into the slot out again. The engine keeps no copy of
   // it: who inserts a rule can tell it from its own records.
   void remove( int slot, const LookupRule& rule );
   // The slot of the best rule that the key matches, -1 if there is none.
   int find( const LookupKey& key ) const;
   int rules() const { return rules_; }

 private:
   // Vectors over the slots, in words of 64, and summaries with one bit per such word.
   using Words = std::vector< uint64_t >;

   struct Column {
      // The bits of the byte that some rule cares about. A byte is looked up by these bits
      // only: rows exist for its values under the mask, up to the highest.
      uint8_t mask = 0;
      int users = 0; // rules that care
      // Values accepted, summed over the users: the less, the more selective.
      uint64_t accepted = 0;
      Words cares;
      Words allCare; // summary: every slot of the word cares
      Words rows;    // slots that care and accept the value
      Words rowsAny; // summary of each row: some slot of the word accepts
   };

   // Where a slot's bit is in a vector, and its word's bit in a summary.
   struct Place {
      explicit Place( size_t slot )
            : word( slot / 64 ), bit( uint64_t{ 1 } << slot % 64 ), sum( word / 64 ),
              sumBit( uint64_t{ 1 } << word % 64 ) {}
      size_t word;
      uint64_t bit;
      size_t sum;
      uint64_t sumBit;
   };

   class Search;

   size_t takeSlot();
   void grow();
   template < typename Term >
   void addTerm( const Term& term, const Place& place );
   template < typename Term >
   void dropTerm( const Term& term, const Place& place );
   void widen( Column& column, uint8_t mask ) const;
   void sortColumns();
   void rankIs( size_t slot, uint64_t rank );

   size_t words_ = 0; // of a vector
   size_t sums_ = 0;  // words of a summary
   int rules_ = 0;
   int changesSinceSort_ = 0;
   std::vector< Column > columns_; // by key offset
   std::vector< uint8_t > order_;  // offsets of the columns in use, most selective first
   Words occupied_;
   Words inhabited_; // summary: some slot of the word is occupied
   Words room_;      // summary: some slot of the word is free
   Words wordBest_;  // best rank in the word
   Words ranks_;     // by slot; the higher, the better; 0: free
};

} // namespace ChipModel
