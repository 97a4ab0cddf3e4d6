#pragma once

// What a LookupEngine keeps of a rule, and the choice of the key's bits that tell many rules
// apart. Internal to it.

#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

#include "ChipModel/Lookup/LookupRule.h"

namespace ChipModel {

// A condition on eight bytes of the key from an offset on: ( window & mask ) == value. The
// bytes are taken as they lie in memory; nobody looks at their numeric value.
struct LookupWindow {
   uint64_t mask = 0;
   uint64_t value = 0;
   uint8_t offset = 0;

   static uint64_t of( const uint8_t* key, uint8_t offset ) {
      uint64_t window;
      std::memcpy( &window, key + offset, sizeof window );
      return window;
   }
   bool operator==( const LookupWindow& ) const = default;
};

// The same on four bytes.
struct LookupExcerpt {
   uint32_t mask = 0;
   uint32_t value = 0;

   // How likely a key that this one accepts is accepted by the other, too: 0 to 1.
   float passes( const LookupExcerpt& other ) const {
      if ( ( ( value ^ other.value ) & mask & other.mask ) != 0 ) {
         return 0;
      }
      return 1.0F /
            static_cast< float >( uint64_t{ 1 } << std::popcount( other.mask & ~mask ) );
   }
};

struct LookupRecord {
   uint64_t rank = 0;                   // the higher, the better; 0: free
   std::vector< LookupWindow > windows; // each offset once, none with an empty mask
   std::vector< SetTerm > sets;         // what the windows leave open

   const LookupWindow* windowAt( uint8_t offset ) const {
      for ( const LookupWindow& window : windows ) {
         if ( window.offset == offset ) {
            return &window;
         }
      }
      return nullptr;
   }
   // The rule's condition on the four bytes from an offset on.
   LookupExcerpt excerpt( uint8_t offset ) const;
};

// The bits that a branch of the search tree looks at.
struct LookupPlan {
   struct Part {
      uint64_t mask;
      uint8_t offset;
   };
   std::vector< Part > parts; // empty: a branch gains nothing

   // The sum of the windows times an odd number each, so that it depends on every bit.
   static constexpr uint64_t factors[] = { 0x9e3779b97f4a7c15, 0xc2b2ae3d27d4eb4f,
      0xd6e8feb86659fd93, 0xa0761d6478bd642f };
   static constexpr size_t maxParts = 4;
};

// The best plan for these records (by slot), going by a sample of them.
LookupPlan planFor(
      const std::vector< LookupRecord >& records, const std::vector< int >& slots );

} // namespace ChipModel
