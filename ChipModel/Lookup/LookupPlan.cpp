#include "ChipModel/Lookup/LookupPlan.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <utility>

namespace ChipModel {

namespace {

constexpr size_t sampleSize = 96;

// What a search costs, in nanoseconds or so; only the proportions matter. They were measured
// on lists of addresses and ports.
constexpr double branchCost = 10;
constexpr double few = 20; // rules; so many are looked at one after the other just as well

double scanCost( double rules ) { return 5 + 0.3 * rules; }
// Many rules take more branches, which halve them at some cost.
double searchCost( double rules, double halving ) {
   return rules <= few ? scanCost( rules )
                       : scanCost( few ) + halving * std::log2( rules / few );
}
// Records below a branch by their value fall apart more easily than those in its rest, which
// mostly are there because they say little of the key.
double bucketCost( double rules ) { return searchCost( rules, 10 ); }
double restCost( double rules ) { return searchCost( rules, 20 ); }

// A byte of a window under a mask.
struct Atom {
   uint8_t offset;
   uint64_t mask;
};

struct Candidate {
   const LookupRecord* record;
   uint64_t hash = 0; // of what the plan looks at
};

class Planner {
 public:
   Planner( const std::vector< LookupRecord >& records, const std::vector< int >& slots )
         : total_( static_cast< double >( slots.size() ) ) {
      size_t count = std::min( slots.size(), sampleSize );
      for ( size_t i = 0; i < count; ++i ) {
         int slot = slots[ i * slots.size() / count ];
         covered_.push_back( { &records[ static_cast< size_t >( slot ) ] } );
      }
      sampled_ = static_cast< double >( count );
      cost_ = scanCost( total_ );
      listAtoms();
   }

   LookupPlan run() {
      while ( extend() ) {
      }
      complete();
      return plan_;
   }

 private:
   void listAtoms() {
      for ( const Candidate& candidate : covered_ ) {
         for ( const LookupWindow& window : candidate.record->windows ) {
            for ( int byte = 0; byte < 8; ++byte ) {
               uint64_t mask = window.mask & uint64_t{ 0xff } << byte * 8;
               if ( mask != 0 ) {
                  addAtom( { window.offset, mask } );
               }
            }
         }
      }
   }
   void addAtom( const Atom& atom ) {
      for ( const Atom& known : atoms_ ) {
         if ( known.offset == atom.offset && known.mask == atom.mask ) {
            return;
         }
      }
      atoms_.push_back( atom );
   }
   static bool covers( const LookupRecord& record, const Atom& atom, uint64_t* value ) {
      const LookupWindow* window = record.windowAt( atom.offset );
      if ( window == nullptr || ( atom.mask & ~window->mask ) != 0 ) {
         return false;
      }
      *value = window->value & atom.mask;
      return true;
   }
   // The number of pairs of equal hashes.
   double collisions() {
      table_.fill( {} );
      double pairs = 0;
      for ( uint64_t hash : hashes_ ) {
         size_t at = hash >> 56;
         while ( table_[ at ].count != 0 && table_[ at ].hash != hash ) {
            at = ( at + 1 ) % table_.size();
         }
         table_[ at ].hash = hash;
         pairs += table_[ at ].count++;
      }
      return pairs;
   }
   static uint64_t mixed( uint64_t hash, uint64_t value ) {
      hash = ( hash ^ value ) * LookupPlan::factors[ 0 ];
      return hash ^ hash >> 29;
   }
   double costWith( const Atom& atom ) {
      hashes_.clear();
      for ( const Candidate& candidate : covered_ ) {
         uint64_t value;
         if ( covers( *candidate.record, atom, &value ) ) {
            hashes_.push_back( mixed( candidate.hash, value + atom.offset ) );
         }
      }
      double covered = static_cast< double >( hashes_.size() );
      if ( covered < 2 ) {
         return cost_;
      }
      double share = covered / sampled_;
      double alike = collisions() * 2 / ( covered * ( covered - 1 ) );
      // The size of a rule's own bucket: the rule, and those that share it.
      double bucket = 1 + ( total_ * share - 1 ) * alike;
      if ( bucket > total_ * 0.9 ) {
         return cost_;
      }
      return branchCost + bucketCost( bucket ) +
            ( share < 1 ? restCost( total_ * ( 1 - share ) ) : 0 );
   }
   bool extend() {
      double best = cost_ - 0.01;
      const Atom* choice = nullptr;
      for ( const Atom& atom : atoms_ ) {
         if ( !partFor( atom.offset ) && plan_.parts.size() == LookupPlan::maxParts ) {
            continue;
         }
         double cost = costWith( atom );
         if ( cost < best ) {
            best = cost;
            choice = &atom;
         }
      }
      if ( choice == nullptr ) {
         return false;
      }
      cost_ = best;
      take( *choice );
      return true;
   }
   LookupPlan::Part* partFor( uint8_t offset ) {
      for ( LookupPlan::Part& part : plan_.parts ) {
         if ( part.offset == offset ) {
            return &part;
         }
      }
      return nullptr;
   }
   void take( Atom atom ) {
      if ( LookupPlan::Part* part = partFor( atom.offset ) ) {
         part->mask |= atom.mask;
      } else {
         plan_.parts.push_back( { atom.mask, atom.offset } );
      }
      std::vector< Candidate > left;
      for ( Candidate candidate : covered_ ) {
         uint64_t value;
         if ( covers( *candidate.record, atom, &value ) ) {
            candidate.hash = mixed( candidate.hash, value + atom.offset );
            left.push_back( candidate );
         }
      }
      covered_ = std::move( left );
      std::erase_if( atoms_, [ & ]( const Atom& other ) {
         return other.offset == atom.offset && ( other.mask & ~atom.mask ) == 0;
      } );
   }
   // Other bits of the same windows cost nothing, where every rule cares about them.
   void complete() {
      for ( LookupPlan::Part& part : plan_.parts ) {
         uint64_t common = ~uint64_t{ 0 };
         for ( const Candidate& candidate : covered_ ) {
            common &= candidate.record->windowAt( part.offset )->mask;
         }
         part.mask |= common;
      }
   }

   struct Cell {
      uint64_t hash;
      int count;
   };

   double total_;
   double sampled_;
   double cost_; // of the plan so far
   LookupPlan plan_;
   std::vector< Candidate > covered_; // of the sample
   std::vector< Atom > atoms_;
   std::vector< uint64_t > hashes_;
   std::array< Cell, 256 > table_;
};

} // namespace

LookupExcerpt LookupRecord::excerpt( uint8_t offset ) const {
   LookupExcerpt result;
   for ( const LookupWindow& window : windows ) {
      int bits = ( offset - window.offset ) * 8;
      if ( bits <= -32 || bits >= 64 ) {
         continue;
      }
      auto shifted = [ bits ]( uint64_t whole ) { // the first byte is the lowest
         if constexpr ( std::endian::native == std::endian::big ) {
            return static_cast< uint32_t >(
                  ( bits < 0 ? whole >> -bits : whole << bits ) >> 32 );
         }
         return static_cast< uint32_t >( bits < 0 ? whole << -bits : whole >> bits );
      };
      result.mask |= shifted( window.mask );
      result.value |= shifted( window.value );
   }
   return result;
}

LookupPlan planFor(
      const std::vector< LookupRecord >& records, const std::vector< int >& slots ) {
   return Planner( records, slots ).run();
}

} // namespace ChipModel
