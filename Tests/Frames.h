#pragma once

// Frames from parts, for the tests of all folders:
//
//    ethernet( ip4Type, ip4( 6, tcp( 1000, 80 ) ), tag( 10 ) )

#include <cstdint>
#include <vector>

namespace Frames {

using Bytes = std::vector< uint8_t >;

inline Bytes operator+( Bytes left, const Bytes& right ) {
   left.insert( left.end(), right.begin(), right.end() );
   return left;
}
inline Bytes be16( uint32_t value ) {
   return { static_cast< uint8_t >( value >> 8 ), static_cast< uint8_t >( value ) };
}

inline Bytes be32( uint32_t value ) { return be16( value >> 16 ) + be16( value ); }

// Station n: 02:00:00:00:hh:ll.
inline Bytes mac( uint32_t n ) { return Bytes{ 2, 0, 0, 0 } + be16( n ); }
inline Bytes tag( uint32_t vid, uint32_t priority = 0, uint32_t type = 0x8100 ) {
   return be16( type ) + be16( priority << 13 | vid );
}
// From station 1 to station 2; what the type announces starts at byte 14.
inline Bytes ethernet( uint32_t type, const Bytes& payload, const Bytes& tags = {} ) {
   return mac( 2 ) + mac( 1 ) + tags + be16( type ) + payload;
}
// Options are 0 to 40 bytes, a multiple of 4.
inline Bytes ip4( uint8_t protocol, const Bytes& payload, uint32_t fragment = 0,
      const Bytes& options = {}, uint8_t tos = 0, uint32_t from = 0x0a000001,
      uint32_t to = 0x0a000002 ) {
   const auto words = static_cast< uint8_t >( 5 + options.size() / 4 );
   return Bytes{ static_cast< uint8_t >( 0x40 | words ), tos } +
         be16( static_cast< uint32_t >( words * 4U + payload.size() ) ) + Bytes{ 0, 1 } +
         be16( fragment ) + Bytes{ 64, protocol, 0, 0 } + be32( from ) + be32( to ) + options +
         payload;
}
inline Bytes address6( uint8_t last ) {
   return Bytes{ 0x20, 1, 0x0d, 0xb8 } + Bytes( 11, 0 ) + Bytes{ last };
}
inline Bytes ip6( uint8_t next, const Bytes& payload, uint8_t trafficClass = 0,
      const Bytes& from = address6( 1 ), const Bytes& to = address6( 2 ) ) {
   return be32( 0x60000000U | uint32_t{ trafficClass } << 20 ) +
         be16( static_cast< uint32_t >( payload.size() ) ) + Bytes{ next, 64 } + from + to +
         payload;
}
// In front of a part of what `next` announces; where it begins is in units of 8 bytes.
inline Bytes fragment6( uint8_t next, uint32_t begin, bool more ) {
   return Bytes{ next, 0 } + be16( begin << 3 | ( more ? 1 : 0 ) ) + be32( 9 );
}
// 20 bytes of a TCP header; its first 4 do for UDP and SCTP.
inline Bytes tcp( uint32_t src, uint32_t dst, uint8_t flags = 0 ) {
   return be16( src ) + be16( dst ) + Bytes( 8, 0 ) + Bytes{ 0x50, flags } + Bytes( 6, 0 );
}
inline Bytes label( uint32_t value, bool bottom ) {
   return be32( value << 12 | ( bottom ? 0x100U : 0U ) | 64U );
}

inline constexpr uint32_t ip4Type = 0x0800, ip6Type = 0x86dd, arpType = 0x0806;
inline constexpr uint32_t mplsType = 0x8847;

} // namespace Frames
