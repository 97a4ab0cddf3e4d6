#pragma once

// The L2 table: where the station with a MAC address is in a VLAN. Learned addresses move with
// their station; static ones stay. Learned addresses do not age: to get rid of them, delete
// them, disable the port or destroy the VLAN.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Platform/Plix/EthAddr.h"
#include "Platform/Shim/Sdk.h"

namespace ChipModel {

// Port numbers, or trunk ids, as one small number.
struct L2Destination {
   bool isTrunk = false;
   int16_t id = 0;
   bool operator==( const L2Destination& ) const = default;
};

class L2Table {
 public:
   // Room for `capacity` addresses.
   explicit L2Table( int capacity );

   // A learned address is replaced; a static one is E_EXISTS. E_FULL: no room.
   Shim::Rc add( const Shim::L2Addr& address );
   Shim::Rc remove( const Plix::EthAddr& mac, uint16_t vid );
   // Forgets the learned addresses of one destination, of one VLAN, or of both.
   void forget( L2Destination destination );
   void forget( uint16_t vid );
   void forget( uint16_t vid, L2Destination destination );

   size_t size() const { return size_; }
   std::vector< Shim::L2Addr > addresses() const; // by VLAN, then MAC

   // For the packet path.
   using Key = uint64_t; // the MAC address and below it 12 bits of VLAN; never 0
   // `mac` points at 6 bytes.
   static Key key( const uint8_t* mac, uint16_t vid ) {
      Key value = 0;
      for ( int i = 0; i < 6; ++i ) {
         value = value << 8 | mac[ i ];
      }
      return value << 12 | vid;
   }
   // Where it is; null: not known.
   const L2Destination* find( Key key ) const {
      const Slot& slot = slots_[ indexOf( key ) ];
      return slot.key == key ? &slot.destination : nullptr;
   }
   // A station was heard there. Nothing is learned when the table is full.
   void learn( Key key, L2Destination destination );

 private:
   // Open addressing with linear probing; at most half of the slots are used.
   struct Slot {
      Key key = 0; // 0: free
      L2Destination destination;
      bool isStatic = false;
   };
   size_t home( Key key ) const {
      return static_cast< size_t >( ( key * 0x9e3779b97f4a7c15ULL ) >> shift_ );
   }
   // The slot of the address, or the free one where it would be.
   size_t indexOf( Key key ) const {
      size_t index = home( key );
      while ( slots_[ index ].key != key && slots_[ index ].key != 0 ) {
         index = ( index + 1 ) & mask_;
      }
      return index;
   }
   void erase( size_t index );
   template < typename Condition >
   void forgetIf( Condition condition );

   size_t capacity_;
   size_t size_ = 0;
   size_t mask_;
   int shift_;
   std::vector< Slot > slots_;
};

} // namespace ChipModel
