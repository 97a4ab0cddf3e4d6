#pragma once

#include "Platform/Zol/Value.h"

namespace Karvel {

// A port of one chip: the unit and the chip's own port number (0 to 255).
class SysPort : public Zol::Value {
   ZOL_VALUE( Karvel, SysPort, ( VAL, int32_t, unit ), ( VAL, int32_t, port ) );

 public:
   SysPort() = default;
   SysPort( int32_t unit, int32_t port ) : unit_( unit ), port_( port ) {}
};

} // namespace Karvel
