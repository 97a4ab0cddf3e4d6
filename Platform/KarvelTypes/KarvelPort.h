#pragma once

// A port of the system as chips know it: module and logical port.

#include "Platform/Zol/RangeChecked.h"
#include "Platform/Zol/Value.h"

namespace KarvelTypes {

// The number that stands for "no port of its own"; the highest that a logical port can have.
inline constexpr int64_t defaultPort = 1023;
ZOL_RANGE( LogicalPortRange, KarvelTypes::KarvelPort::logicalPort, 0,
      KarvelTypes::KarvelPort::defaultPort, defaultPort );
using LogicalPort = Zol::RangeChecked< LogicalPortRange >; // 0 to 1023, else RangeError

class KarvelPort : public Zol::Value {
   ZOL_VALUE( KarvelTypes, KarvelPort, ( VAL, uint32_t, modId ), // 0 to 255
         ( VAL, LogicalPort, logicalPort ) );

 public:
   KarvelPort() = default;
   KarvelPort( uint32_t modId, int64_t logicalPort )
         : modId_( modId ), logicalPort_( logicalPort ) {}

   // As SDK calls take it.
   uint32_t port() const { return logicalPort(); }
   uint32_t sdkPort() const { return logicalPort(); }
};

} // namespace KarvelTypes
