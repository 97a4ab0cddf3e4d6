#pragma once

// The ports of a chip: which can receive and send, the VLAN of untagged frames, class bits.
// Port 0 is the CPU and starts enabled; front-panel ports start disabled.

#include <array>
#include <cstddef>
#include <cstdint>

#include "ChipModel/Tables/PortMask.h"
#include "Platform/Shim/Sdk.h"

namespace ChipModel {

struct Profile;

struct Port {
   uint16_t untaggedVlan = 0; // 0: none
   uint32_t classBits = 0;
};

class PortTable {
 public:
   explicit PortTable( const Profile& profile );

   Shim::Rc enableSet( int port, bool enable );
   Shim::Rc classSet( int port, uint32_t classBits );
   Shim::Rc untaggedVlanSet( int port, uint16_t vid ); // 0: none

   // Ports are 0 to last().
   bool has( int port ) const { return port >= 0 && port <= last_; }
   bool hasAll( const Shim::PortBitmap& ports ) const;
   int last() const { return last_; }

   bool enabled( int port ) const { return enabled_.test( port ); }
   const PortMask& enabledPorts() const { return enabled_; }
   const Port& port( int port ) const { return ports_[ static_cast< size_t >( port ) ]; }

 private:
   int last_;
   int classBits_; // width
   PortMask enabled_;
   std::array< Port, Shim::maxPorts > ports_{};
};

} // namespace ChipModel
