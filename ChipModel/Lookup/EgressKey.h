#pragma once

// The key fields that only the egress stage looks at: how a frame is about to leave. They lie
// behind the fields that both stages have.

#include <cstdint>
#include <tuple>

#include "ChipModel/Lookup/LookupKey.h"

namespace ChipModel {

namespace Key {
inline constexpr KeyField outPort{ size, 1 };
inline constexpr KeyField mirrorCopy{ size + 1, 1 }; // 1: a mirror copy
inline constexpr uint16_t egressSize = size + 2;
} // namespace Key

static_assert( Key::egressSize <= std::tuple_size_v< decltype( LookupKey::bytes ) > );

// For a frame whose headers the key has already.
inline void setEgress( LookupKey& key, int unit, int port, bool isCopy ) {
   key.set( Key::outPort, static_cast< uint32_t >( port ) );
   key.set( Key::dstModId, static_cast< uint32_t >( unit ) );
   key.set( Key::dstPort, static_cast< uint32_t >( port ) );
   key.setValid( validDstPort );
   key.set( Key::mirrorCopy, isCopy ? 1 : 0 );
}
inline void setOuterVlan( LookupKey& key, uint16_t vid ) { // 0: none
   key.set( Key::outerVlanId, vid );
   if ( vid != 0 ) {
      key.setValid( validOuterVlan );
   } else {
      key.clearValid( validOuterVlan );
   }
}

} // namespace ChipModel
