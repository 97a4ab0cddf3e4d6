#pragma once

#include "Platform/Zol/Value.h"

namespace KarvelCentral {

// A port by module and port number.
class KarvelModPort : public Zol::Value {
   ZOL_VALUE( KarvelCentral, KarvelModPort, ( VAL, uint32_t, modId ), ( VAL, uint32_t, port ) );

 public:
   KarvelModPort() = default;
   KarvelModPort( uint32_t modId, uint32_t port ) : modId_( modId ), port_( port ) {}
};

} // namespace KarvelCentral
