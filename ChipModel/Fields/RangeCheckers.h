#pragma once

// The range checkers of one chip: each finds out, once per frame, whether a layer-4 port lies
// in its range. Entries ask for the answers, a bit each, as for any other field of the key.

#include <cstdint>
#include <vector>

#include "ChipModel/Fields/FieldProcessor.h"
#include "ChipModel/Lookup/LookupKey.h"
#include "Platform/Shim/Sdk.h"

namespace ChipModel {

class RangeCheckers {
 public:
   // At most 32.
   explicit RangeCheckers( int count ) : free_( count ) {}

   // E_PARAM for a bad range, E_RESOURCE when all are in use.
   Shim::Rc create( Shim::FieldRange what, uint32_t min, uint32_t max, int* range ) {
      const bool known = what == Shim::FieldRange::srcPort || what == Shim::FieldRange::dstPort;
      if ( !known || range == nullptr || min > max || max > 0xffff ) {
         return Shim::Sdk::QX_BCM_E_PARAM();
      }
      if ( free_ == 0 ) {
         return Shim::Sdk::QX_BCM_E_RESOURCE();
      }
      uint32_t bit = 1;
      while ( inUse_ & bit ) {
         bit <<= 1;
      }
      inUse_ |= bit;
      --free_;
      *range = nextId_++;
      checkers_.push_back( { *range, bit, what, min, max } );
      return Shim::Sdk::QX_BCM_E_NONE();
   }
   // The bit by which entries ask for it; 0 if there is no such checker.
   uint32_t bitOf( int range ) const {
      for ( const RangeView& checker : checkers_ ) {
         if ( checker.id == range ) {
            return checker.bit;
         }
      }
      return 0;
   }
   // It must be there.
   void destroy( int range ) {
      inUse_ &= ~bitOf( range );
      ++free_;
      std::erase_if(
            checkers_, [ range ]( const RangeView& checker ) { return checker.id == range; } );
   }
   // Of a key that has its layer-4 ports.
   uint32_t answers( const LookupKey& key ) const {
      uint32_t bits = 0;
      for ( const RangeView& checker : checkers_ ) {
         const uint32_t port = key.get(
               checker.what == Shim::FieldRange::srcPort ? Key::l4SrcPort : Key::l4DstPort );
         bits |= checker.min <= port && port <= checker.max ? checker.bit : 0;
      }
      return bits;
   }
   const std::vector< RangeView >& views() const { return checkers_; } // by id

 private:
   std::vector< RangeView > checkers_;
   uint32_t inUse_ = 0; // bits
   int free_;
   int nextId_ = 1;
};

} // namespace ChipModel
