#pragma once

// The VLANs of a chip (IEEE 802.1Q): which ports are members, and which of these send the
// VLAN's frames untagged. ForwardingTables refuses members that are not front-panel ports of
// the chip.

#include <cstdint>
#include <vector>

#include "ChipModel/Tables/PortMask.h"
#include "Platform/Shim/Sdk.h"

namespace ChipModel {

struct Vlan {
   bool exists = false;
   PortMask members;
   PortMask untagged; // among the members
};

class VlanTable {
 public:
   VlanTable() : vlans_( 4096 ) {}

   // 0 and 4095 are reserved.
   static constexpr bool isVid( uint32_t vid ) { return vid >= 1 && vid <= 4094; }

   Shim::Rc create( uint16_t vid );
   Shim::Rc destroy( uint16_t vid );
   // Members that are there already change their tagging. `untagged` must be among
   // `members`.
   Shim::Rc portAdd(
         uint16_t vid, const Shim::PortBitmap& members, const Shim::PortBitmap& untagged );
   Shim::Rc portRemove( uint16_t vid, const Shim::PortBitmap& members );

   // Any 12-bit number; look at `exists`.
   const Vlan& vlan( uint16_t vid ) const { return vlans_[ vid & 0xfff ]; }

 private:
   // E_NONE if the VLAN is there.
   Shim::Rc check( uint16_t vid ) const;
   std::vector< Vlan > vlans_;
};

} // namespace ChipModel
