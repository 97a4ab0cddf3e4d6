#pragma once

// A set of chip ports as four machine words: what Shim::PortBitmap says, in the form in
// which the packet path walks it.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "Platform/Shim/SdkTypes.h"

namespace ChipModel {

class PortMask {
 public:
   constexpr PortMask() = default;
   explicit PortMask( const Shim::PortBitmap& bitmap ) {
      for ( int port = 0; port < Shim::maxPorts; ++port ) {
         if ( bitmap[ static_cast< size_t >( port ) ] ) {
            set( port );
         }
      }
   }
   Shim::PortBitmap bitmap() const {
      Shim::PortBitmap bits;
      forEach( [ &bits ]( int port ) { bits.set( static_cast< size_t >( port ) ); } );
      return bits;
   }

   bool test( int port ) const { return ( words_[ word( port ) ] & bit( port ) ) != 0; }
   void set( int port ) { words_[ word( port ) ] |= bit( port ); }
   void reset( int port ) { words_[ word( port ) ] &= ~bit( port ); }
   bool any() const { return ( words_[ 0 ] | words_[ 1 ] | words_[ 2 ] | words_[ 3 ] ) != 0; }
   // Without the ports of `other`.
   PortMask minus( const PortMask& other ) const {
      PortMask result;
      for ( size_t i = 0; i < words_.size(); ++i ) {
         result.words_[ i ] = words_[ i ] & ~other.words_[ i ];
      }
      return result;
   }
   PortMask operator&( const PortMask& other ) const {
      PortMask result;
      for ( size_t i = 0; i < words_.size(); ++i ) {
         result.words_[ i ] = words_[ i ] & other.words_[ i ];
      }
      return result;
   }
   PortMask operator|( const PortMask& other ) const {
      PortMask result;
      for ( size_t i = 0; i < words_.size(); ++i ) {
         result.words_[ i ] = words_[ i ] | other.words_[ i ];
      }
      return result;
   }
   bool operator==( const PortMask& ) const = default;

   // Calls `visit( port )` in ascending order.
   template < typename Visit >
   void forEach( Visit&& visit ) const {
      for ( size_t i = 0; i < words_.size(); ++i ) {
         for ( uint64_t rest = words_[ i ]; rest != 0; rest &= rest - 1 ) {
            visit( static_cast< int >( i ) * 64 + std::countr_zero( rest ) );
         }
      }
   }

 private:
   static constexpr size_t word( int port ) { return static_cast< size_t >( port ) / 64; }
   static constexpr uint64_t bit( int port ) {
      return uint64_t{ 1 } << ( static_cast< unsigned >( port ) % 64 );
   }
   std::array< uint64_t, Shim::maxPorts / 64 > words_{};
};

} // namespace ChipModel
