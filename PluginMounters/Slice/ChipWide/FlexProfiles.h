#pragma once

// The flexible editor's profiles: where in a frame the copy that goes into a tunnel begins. After
// reset that is behind the Ethernet header, as for routed tunnels; mirroring wants all of it.

#include "Platform/KarvelCentral/ChipInfo.h"
#include "Platform/Shim/Memory.h"

namespace KarvelMirror::Slice {

// Of copies as received, and as sent. An SDK version whose layout is not known here is a broken
// invariant.
void setupFlexProfileIngress( int unit, const KarvelCentral::ChipAttributes& attributes );
void setupFlexProfileEgress( int unit, const KarvelCentral::ChipAttributes& attributes );

// Writes the offset of one entry. What the SDK refuses is traced.
void setFlexProfileOffsetEntry( int unit, Shim::Memory table, int idx, uint32_t value );

} // namespace KarvelMirror::Slice
