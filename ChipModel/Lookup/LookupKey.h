#pragma once

// What the field processors look at: one fixed block of bytes per frame, filled once by the
// parser and the forwarding stages. Every qualifier is a run of these bytes, so an entry is
// nothing but value and mask over the block, and a lookup touches only the bytes that some
// entry cares about.
//
// Multi-byte fields are big-endian, as on the wire.

#include <algorithm>
#include <array>
#include <cstdint>

namespace ChipModel {

struct KeyField {
   uint16_t offset;
   uint16_t length;
};

namespace Key {
inline constexpr KeyField valid{ 0, 2 }; // ValidBits: which of the fields below hold something
inline constexpr KeyField inPort{ 2, 1 };
inline constexpr KeyField portClass{ 3, 4 }; // class bits of the ingress port
inline constexpr KeyField dstModId{ 7, 1 };
inline constexpr KeyField dstPort{ 8, 1 };
inline constexpr KeyField dstTrunk{ 9, 1 };
inline constexpr KeyField drop{ 10, 1 }; // 1: the frame will not be forwarded
inline constexpr KeyField outerVlanId{ 11, 2 };
inline constexpr KeyField ipKind{ 13, 1 }; // IpKindBits
inline constexpr KeyField ipFrag{ 14, 1 }; // IpFragBits
inline constexpr KeyField ipProtocol{ 15, 1 };
inline constexpr KeyField dscp{ 16, 1 }; // with ECN: the whole byte
inline constexpr KeyField tcpControl{ 17, 1 };
inline constexpr KeyField l4SrcPort{ 18, 2 };
inline constexpr KeyField l4DstPort{ 20, 2 };
inline constexpr KeyField icmpTypeCode{ 22, 2 };
inline constexpr KeyField etherType{ 24, 2 };
inline constexpr KeyField srcIp{ 26, 4 };
inline constexpr KeyField dstIp{ 30, 4 };
inline constexpr KeyField srcIp6{ 34, 16 };
inline constexpr KeyField dstIp6{ 50, 16 };
inline constexpr KeyField srcMac{ 66, 6 };
inline constexpr KeyField dstMac{ 72, 6 };
inline constexpr KeyField mplsLabel{ 78, 3 };
inline constexpr KeyField mplsInnerLabel{ 81, 3 };
inline constexpr KeyField dstClassL2{ 84, 2 };
inline constexpr KeyField rangeCheck{ 86, 4 }; // a bit per range checker that finds its port
inline constexpr KeyField outerVlanPriority{ 90, 1 };
inline constexpr uint16_t size = 91;
} // namespace Key

enum ValidBit : uint16_t {
   validDstPort = 1,
   validDstTrunk = 2,
   validOuterVlan = 4,
   validL2 = 8, // addresses and EtherType
   validMpls = 0x10,
   validMplsInner = 0x20,
   validIp = 0x100,
   validIp4 = 0x200,
   validIp6 = 0x400,
   validPorts = 0x800, // layer 4, of TCP, UDP and SCTP
   validTcp = 0x1000,
   validIcmp = 0x2000,
};

enum IpKindBit : uint8_t {
   kindIp = 1,
   kindIp4 = 2,
   kindIp4Options = 4,
   kindIp6 = 8,
   kindArp = 0x10,
};

enum IpFragBit : uint8_t {
   fragPart = 1,  // one of several
   fragLater = 2, // without layer-4 header
};

struct LookupKey {
   alignas( 16 ) std::array< uint8_t, 128 > bytes{};

   void set( KeyField field, uint32_t value ) {
      for ( int i = field.length - 1; i >= 0; --i ) {
         bytes[ static_cast< size_t >( field.offset + i ) ] = static_cast< uint8_t >( value );
         value >>= 8;
      }
   }
   // As many bytes as the field has.
   void copy( KeyField field, const uint8_t* from ) {
      std::copy_n( from, field.length, bytes.begin() + field.offset );
   }
   uint32_t get( KeyField field ) const {
      uint32_t value = 0;
      for ( int i = 0; i < field.length && i < 4; ++i ) {
         value = value << 8 | bytes[ static_cast< size_t >( field.offset + i ) ];
      }
      return value;
   }
   void setValid( unsigned bits ) { set( Key::valid, get( Key::valid ) | bits ); }
   void clearValid( unsigned bits ) { set( Key::valid, get( Key::valid ) & ~bits ); }
};

} // namespace ChipModel
