#pragma once

// What a chip's profile tells mirroring.

#include "Platform/KarvelMirror/TunnelParameters.h"
#include "Platform/Zol/Entity.h"

namespace KarvelMirror {

class KarvelChipAttributesMirror : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, KarvelChipAttributesMirror, Zol::Entity,
         // The first header-insertion profile that is mirroring's; never 0.
         ( VAL, uint8_t, mirrorEditIdBase ),
         // The logical table of these profiles; empty: the chip inserts headers without it.
         ( VAL, Zol::String, headerInsertionTable ) );
};

// The header-insertion profile of a tunnel, counted from mirrorEditIdBase: the first two are
// not for tunnels.
constexpr uint32_t insertProfileOf( TunnelId tunnel ) { return tunnel.value() + 2U; }

// The longest header that a chip can insert, in bytes: two insertions.
inline constexpr uint32_t longestInsertedHeader = 128;

} // namespace KarvelMirror
