#pragma once

#include "Platform/Zol/Value.h"

namespace KarvelMirror::Slice {

// The TCAM entries that one configured rule was expanded into.
class EntryIdSet : public Zol::Value {
   ZOL_VALUE( KarvelMirror::Slice, EntryIdSet, ( MAP, uint32_t, bool, entry ) );
};

} // namespace KarvelMirror::Slice
