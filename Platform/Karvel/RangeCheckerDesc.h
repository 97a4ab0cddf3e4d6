#pragma once

#include "Platform/Zol/Enum.h"
#include "Platform/Zol/Value.h"

namespace Karvel {

// A layer-4 port range that the chip checks with a range checker.
class RangeCheckerDesc : public Zol::Value {
   ZOL_VALUE( Karvel, RangeCheckerDesc, ( VAL, uint32_t, rangeFlags ), // sourcePortRange...
         ( VAL, uint32_t, min ), ( VAL, uint32_t, max ) );             // both included

 public:
   static constexpr uint32_t sourcePortRange = 0x1;
   static constexpr uint32_t destinationPortRange = 0x2;

   RangeCheckerDesc() = default;
   RangeCheckerDesc( uint32_t rangeFlags, uint32_t min, uint32_t max )
         : rangeFlags_( rangeFlags ), min_( min ), max_( max ) {}
};

// The header from which the offset of a user-defined field counts.
ZOL_ENUM( UdfOffsetBase, uint8_t, ( packetStart, 0 ), ( l2Header, 1 ), ( l3Header, 2 ),
      ( l4Header, 3 ) );

// The hardware qualifiers that match one user-defined field.
using QualIdList = Zol::Set< uint32_t >;

} // namespace Karvel
