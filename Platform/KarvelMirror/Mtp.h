#pragma once

#include "Platform/Zol/Id.h"

namespace KarvelMirror {

// A mirror destination of a chip: 0 to 3. The key of most per-destination collections.
using Mtp = Zol::Id< struct MtpTag, uint8_t >;

} // namespace KarvelMirror
