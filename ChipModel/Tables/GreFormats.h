#pragma once

// How each chip family builds the GRE header (RFC 2784) of a mirror tunnel with a key
// (RFC 2890): which entries of which memories its egress editor looks at. After reset they make
// the same header as for a tunnel without a key, so the key is in the encapsulation data and
// nowhere else until somebody programs them. Tunnels without a key do not depend on them.

#include <cstdint>
#include <span>

#include "ChipModel/Profile.h"
#include "Platform/Shim/Memory.h"

namespace ChipModel {

// A field of one entry of a memory.
struct FieldPlace {
   Shim::Memory memory{};
   int index = 0;
   Shim::MemField field{};
};

// The places from which the editor makes the header behind one kind of IP header.
struct GreEditorPlaces {
   FieldPlace headerBytes;
   FieldPlace keySelect;
   FieldPlace flags;
   FieldPlace lengthAdjust;
   uint32_t ipBytes; // of the IP header that its length field counts: 20, or 0 for IPv6
};
struct GreEditor {
   GreEditorPlaces ip4;
   GreEditorPlaces ip6;
};

// Null for chips without keys, and for those that do not build headers field by field.
const GreEditor* greEditor( GreKeys family );
// What a field holds after reset.
uint32_t resetValue( const Profile& profile, const FieldPlace& place );

// A GRE header as the editor makes it.
struct GreFormat {
   uint32_t headerBytes = 4;
   bool hasKey = false; // behind the protocol; else zeros
   uint16_t flags = 0;
   uint32_t lengthAdjust = 0; // IP length field minus the bytes of the mirrored frame
};
inline constexpr uint32_t plainGreBytes = 4;

} // namespace ChipModel
