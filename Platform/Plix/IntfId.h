#pragma once

#include "Platform/Zol/Value.h"

namespace Plix {

// An interface that traffic arrives at: a port, or a sub-interface of it, which is the
// port's traffic with one outer VLAN.
class IntfId : public Zol::Value {
   ZOL_VALUE( Plix, IntfId, ( VAL, Zol::String, port ), // its name, "Ethernet0"
         ( VAL, uint16_t, vlanId ) );                   // 1 to 4094; 0: the port as a whole

 public:
   IntfId() = default;
   explicit IntfId( const Zol::String& port, uint16_t vlanId = 0 )
         : port_( port ), vlanId_( vlanId ) {}
   bool isSubIntf() const { return vlanId() != 0; }
   // "Ethernet0", "Ethernet0.10".
   Zol::String name() const {
      return isSubIntf() ? port() + "." + std::to_string( vlanId() ) : port();
   }
};

} // namespace Plix
