#pragma once

// The port classes of one chip: how an entry matches a set of ingress ports by a single
// bit.
//
// Each ingress port carries class bits. A set of ports that some entry matches has one bit
// of its own, every port carries the bits of all sets it is in, and an entry looks at its
// set's bit only: ( bit, bit ) as data and mask. Bits are counted by the entries that use
// them.
//
//    PortClass ports = classes->acquire( { ... }, Karvel::ClassSharing::shared );
//    if ( ports.rc == Shim::Sdk::QX_BCM_E_NONE() ) { ...qualify( ports.bit, ports.bit )... }
//
// For traffic the order matters: acquire() before the entry is qualified, release() after
// the entry is gone, or no longer installed with that bit. The ports of a set never change:
// a set that grows is another set.
//
// Assumes that ports have no classes at its start, and that nobody else writes them.

#include <array>
#include <cstdint>
#include <vector>

#include "Platform/Karvel/TcamServices.h"
#include "Platform/Shim/Sdk.h"
#include "Platform/Zol/Clock.h"
#include "Platform/Zol/Ptr.h"

namespace AgentServices {

// What the last refusal names when all classes are taken: no call fails then.
constexpr const char* portClassShortage = "port classes";

// A set's bit; 0 unless rc is E_NONE.
struct PortClass {
   Shim::Rc rc = Shim::Sdk::QX_BCM_E_FAIL();
   uint32_t bit = 0;
};

class PortClassManager : public Zol::RefCounted {
 public:
   // The chip's number of class bits, 0 to 32.
   static constexpr int maxBits = 32;
   PortClassManager( uint32_t unit, int bits );

   // Gives a bit that exactly these ports carry, and counts it once more. E_RESOURCE when all
   // bits are in use, or the chip's answer when a port could not be written; no port carries a
   // new bit then.
   PortClass acquire( const Shim::PortBitmap& ports, Karvel::ClassSharing sharing );
   // Gives back one count of a bit in use. With the last one the bit is free; its ports keep
   // it until the next turn of the event loop, so that a set that follows at once, and differs
   // in a port or two, costs a write or two. A port that the chip refuses to write is written
   // a second later, or along with the next change.
   void release( uint32_t bit );

 private:
   struct Class {
      Shim::PortBitmap ports; // that carry the bit
      Karvel::ClassSharing sharing{};
      uint32_t users = 0; // 0: the bit is free
   };

   void lastRelease() override { tidy(); }
   // Takes the free bits off their ports.
   void tidy();
   Shim::Rc spread( uint32_t bit, const Shim::PortBitmap& ports );
   bool clear( uint32_t bit );
   Shim::Rc portBitsIs( size_t at, uint32_t bits );

   int unit_;
   Zol::Clock tidyClock_;
   std::vector< Class > classes_; // by bit number
   std::array< uint32_t, Shim::maxPorts > portBits_{};
   Shim::PortBitmap unsure_; // the last write was refused: the chip may or may not have done it
};

} // namespace AgentServices
