#pragma once

#include "Platform/Zol/RangeChecked.h"

namespace KarvelCentral {

struct ModIdRange {
   static constexpr int64_t min = 0;
   static constexpr int64_t max = 256;
   static constexpr const char* text =
         "KarvelCentral::ModId::value < KarvelCentral::ModId::min "
         "or > KarvelCentral::ModId::null not allowed";
};
// A module of the system: 0 to 255, and 256 for none; else RangeError.
using ModId = Zol::RangeChecked< ModIdRange >;

} // namespace KarvelCentral
