#pragma once

// Reads the headers of an Ethernet frame once, so that nothing behind it walks bytes again:
// addresses, VLAN tags (IEEE 802.1Q and 802.1ad), EtherType.
//
// Any bytes of any length are parsed as far as they go. At most two tags are taken apart;
// the type of a third is reported as the EtherType. No allocation.

#include <array>
#include <cstddef>
#include <cstdint>

#include "ChipModel/Packets/Frame.h"

namespace ChipModel {

inline constexpr uint16_t customerTag = 0x8100; // IEEE 802.1Q
inline constexpr uint16_t serviceTag = 0x88a8;  // IEEE 802.1ad

struct VlanTag {
   uint16_t type = 0; // customerTag or serviceTag
   uint16_t tci = 0;  // priority (3 bits), drop eligible (1), VLAN id (12)
   uint16_t vid() const { return tci & 0xfff; }
   uint8_t priority() const { return static_cast< uint8_t >( tci >> 13 ); }
};

struct ParsedFrame {
   const uint8_t* data = nullptr; // the destination address is its first byte
   uint32_t length = 0;
   int tags = 0;                 // 0 to 2
   std::array< VlanTag, 2 > tag; // outermost first
   bool hasEtherType = false;    // false: the frame ends before it; nobody can forward it
   uint16_t etherType = 0;       // behind the tags; below 0x600 it is a length (IEEE 802.3)
   uint32_t payload = 0;         // offset of what follows the EtherType; at most `length`

   // Of frames that have an EtherType, 6 bytes each.
   const uint8_t* destination() const { return data; }
   const uint8_t* source() const { return data + 6; }
   bool isTagged() const { return tags > 0; }
   // A tag with VLAN id 0 carries a priority and no VLAN.
   bool isPriorityTagged() const { return tags > 0 && tag[ 0 ].vid() == 0; }
   // Whether it is known which VLAN, if any, the sender named.
   bool knowsVlan() const { return hasEtherType || tags > 0; }
};

// 16 bits in network byte order.
inline uint16_t load16( const uint8_t* bytes ) {
   return static_cast< uint16_t >( bytes[ 0 ] << 8 | bytes[ 1 ] );
}
inline uint32_t load32( const uint8_t* bytes ) {
   return static_cast< uint32_t >( load16( bytes ) ) << 16 | load16( bytes + 2 );
}

ParsedFrame parse( const FrameView& frame );

} // namespace ChipModel
