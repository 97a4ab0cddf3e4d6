#pragma once

// The hash by which a trunk spreads flows over its members. All frames of a flow have the
// same hash, on every run and machine.
//
// The hash folds in, as 64-bit numbers in this order: VLAN << 16 | EtherType; destination and
// source MAC; for IPv4 source << 32 | destination, for IPv6 both addresses by halves, and for
// either the protocol; for TCP, UDP and SCTP source port << 16 | destination port. A fragment's
// ports are left out, since only the first one has them, and so are ports behind IPv6 extension
// headers. Folding is state = mix( state ^ number ) from state 0, with the step of SplitMix64
// as mix (Steele, Lea, Flood: "Fast Splittable Pseudorandom Number Generators", OOPSLA 2014);
// the hash is the upper half of the last state.

#include <cstdint>

#include "ChipModel/Packets/Parser.h"

namespace ChipModel {

// For any frame, as far as it goes. `vid` is the VLAN it is classified in, 0 for none.
uint32_t flowHash( const ParsedFrame& frame, uint16_t vid );

// The same, worked out when it is first needed: most frames go nowhere near a trunk.
class LazyFlowHash {
 public:
   // `frame` must outlive this.
   LazyFlowHash( const ParsedFrame& frame, uint16_t vid ) : frame_( frame ), vid_( vid ) {}
   uint32_t value() {
      if ( !known_ ) {
         hash_ = flowHash( frame_, vid_ );
         known_ = true;
      }
      return hash_;
   }

 private:
   const ParsedFrame& frame_;
   uint16_t vid_;
   bool known_ = false;
   uint32_t hash_ = 0;
};

} // namespace ChipModel
