#pragma once

// What the field processors look at: one fixed block of bytes per frame, filled once by the
// parser and the forwarding stages. Every qualifier is a run of these bytes, so an entry is
// nothing but value and mask over the block, and a lookup touches only the bytes that some
// entry cares about.
//
// Multi-byte fields are big-endian, as on the wire.

#include <array>
#include <cstdint>

namespace ChipModel {

struct KeyField {
   uint16_t offset;
   uint16_t length;
};

namespace Key {
inline constexpr KeyField valid{ 0, 1 };       // ValidBit: which of the fields below hold something
inline constexpr KeyField inPort{ 1, 1 };
inline constexpr KeyField portClass{ 2, 4 };   // class bits of the ingress port
inline constexpr KeyField dstModId{ 6, 1 };
inline constexpr KeyField dstPort{ 7, 1 };
inline constexpr KeyField dstTrunk{ 8, 1 };
inline constexpr KeyField drop{ 9, 1 };        // 1: the frame will not be forwarded
inline constexpr KeyField outerVlanId{ 10, 2 };
inline constexpr uint16_t size = 12;
} // namespace Key

enum ValidBit : uint8_t {
   validDstPort = 1,
   validDstTrunk = 2,
   validOuterVlan = 4,
};

struct LookupKey {
   alignas( 16 ) std::array< uint8_t, 128 > bytes{};

   void set( KeyField field, uint32_t value ) {
      for ( int i = field.length - 1; i >= 0; --i ) {
         bytes[ static_cast< size_t >( field.offset + i ) ] = static_cast< uint8_t >( value );
         value >>= 8;
      }
   }
   uint32_t get( KeyField field ) const {
      uint32_t value = 0;
      for ( int i = 0; i < field.length && i < 4; ++i ) {
         value = value << 8 | bytes[ static_cast< size_t >( field.offset + i ) ];
      }
      return value;
   }
   void setValid( ValidBit bit ) { bytes[ 0 ] = static_cast< uint8_t >( bytes[ 0 ] | bit ); }
   void clearValid( ValidBit bit ) { bytes[ 0 ] = static_cast< uint8_t >( bytes[ 0 ] & ~bit ); }
};

} // namespace ChipModel
