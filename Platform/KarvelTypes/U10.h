#pragma once

#include "Platform/Zol/RangeChecked.h"

// Ten bits: 0 to 1023, else RangeError.
ZOL_RANGE( U10Range, U10::value, 0, 0x03ff, 0x03ff );
using U10 = Zol::RangeChecked< U10Range >;
