#include "ChipModel/Tables/L2Table.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "Platform/Zol/Assert.h"

namespace ChipModel {

using Shim::Rc;
using Shim::Sdk;

L2Table::L2Table( int capacity ) : capacity_( static_cast< size_t >( capacity ) ) {
   ZOL_ASSERT( capacity >= 0 );
   const size_t slots = std::bit_ceil( std::max< size_t >( 2 * capacity_, 16 ) );
   slots_.resize( slots );
   mask_ = slots - 1;
   shift_ = 64 - std::countr_zero( slots );
}

Rc L2Table::add( const Shim::L2Addr& address ) {
   const Key wanted = key( address.mac.bytes().data(), address.vid );
   Slot& slot = slots_[ indexOf( wanted ) ];
   if ( slot.key == wanted && slot.isStatic ) {
      return Sdk::QX_BCM_E_EXISTS();
   }
   if ( slot.key == 0 ) {
      if ( size_ == capacity_ ) {
         return Sdk::QX_BCM_E_FULL();
      }
      ++size_;
   }
   slot.key = wanted;
   slot.destination = { address.isTrunk, static_cast< int16_t >( address.destination ) };
   slot.isStatic = address.isStatic;
   return Sdk::QX_BCM_E_NONE();
}

Rc L2Table::remove( const Plix::EthAddr& mac, uint16_t vid ) {
   const size_t index = indexOf( key( mac.bytes().data(), vid ) );
   if ( slots_[ index ].key == 0 ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   erase( index );
   return Sdk::QX_BCM_E_NONE();
}

void L2Table::learn( Key key, L2Destination destination ) {
   Slot& slot = slots_[ indexOf( key ) ];
   if ( slot.key == key ) {
      if ( !slot.isStatic ) {
         slot.destination = destination;
      }
   } else if ( size_ < capacity_ ) {
      slot = { key, destination, false };
      ++size_;
   }
}

void L2Table::erase( size_t index ) {
   --size_;
   // Closes the gap with later addresses of the same run, so that no probe stops short.
   size_t gap = index;
   for ( size_t next = ( gap + 1 ) & mask_; slots_[ next ].key != 0;
         next = ( next + 1 ) & mask_ ) {
      const size_t wanted = home( slots_[ next ].key );
      if ( ( ( next - wanted ) & mask_ ) >= ( ( next - gap ) & mask_ ) ) {
         slots_[ gap ] = slots_[ next ];
         gap = next;
      }
   }
   slots_[ gap ] = Slot{};
}

template < typename Condition >
void L2Table::forgetIf( Condition condition ) {
   // Erasing moves addresses about, so the keys are taken first.
   std::vector< Key > keys;
   for ( const Slot& slot : slots_ ) {
      if ( slot.key != 0 && !slot.isStatic && condition( slot ) ) {
         keys.push_back( slot.key );
      }
   }
   for ( Key gone : keys ) {
      erase( indexOf( gone ) );
   }
}

void L2Table::forget( L2Destination destination ) {
   forgetIf( [ = ]( const Slot& slot ) { return slot.destination == destination; } );
}

void L2Table::forget( uint16_t vid ) {
   forgetIf( [ = ]( const Slot& slot ) { return ( slot.key & 0xfff ) == vid; } );
}

void L2Table::forget( uint16_t vid, L2Destination destination ) {
   forgetIf( [ = ]( const Slot& slot ) {
      return ( slot.key & 0xfff ) == vid && slot.destination == destination;
   } );
}

std::vector< Shim::L2Addr > L2Table::addresses() const {
   std::vector< Shim::L2Addr > result;
   result.reserve( size_ );
   for ( const Slot& slot : slots_ ) {
      if ( slot.key == 0 ) {
         continue;
      }
      std::array< uint8_t, 6 > mac{};
      for ( size_t i = 0; i < mac.size(); ++i ) {
         mac[ i ] = static_cast< uint8_t >( slot.key >> ( 52 - 8 * i ) );
      }
      result.push_back( { Plix::EthAddr( mac ), static_cast< uint16_t >( slot.key & 0xfff ),
            slot.destination.isTrunk, slot.destination.id, slot.isStatic } );
   }
   std::ranges::sort( result, []( const Shim::L2Addr& a, const Shim::L2Addr& b ) {
      return std::pair( a.vid, a.mac ) < std::pair( b.vid, b.mac );
   } );
   return result;
}

} // namespace ChipModel
