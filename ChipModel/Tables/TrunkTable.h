#pragma once

// The trunks (link aggregation groups, IEEE 802.1AX) of a chip and their members, in order. A
// port is in one trunk at most.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ChipModel/Tables/PortMask.h"
#include "Platform/Shim/Sdk.h"

namespace ChipModel {

struct Profile;

class TrunkTable {
 public:
   explicit TrunkTable( const Profile& profile );

   // E_PARAM for ids outside 0 to the chip's trunks - 1.
   Shim::Rc create( int trunk );
   // Its members are free again.
   Shim::Rc destroy( int trunk );
   // Replaces the members. E_FULL: more than a trunk can have; E_EXISTS: a port is in
   // another trunk; E_PARAM: a port is named twice.
   Shim::Rc membersSet( int trunk, const int* ports, int count );

   bool has( int trunk ) const;
   // The trunk a port is in; -1: none.
   int trunkOf( int port ) const { return trunkOf_[ static_cast< size_t >( port ) ]; }
   // The trunk must exist.
   const std::vector< int >& members( int trunk ) const;
   // All ports that are in a trunk.
   const PortMask& memberPorts() const { return memberPorts_; }
   // Trunks that have members, by id.
   const std::vector< int >& populated() const { return populated_; }
   std::vector< int > trunks() const; // all, by id

   // The member that a frame with this hash leaves by, among those in `eligible`; -1: none.
   int pick( int trunk, const PortMask& eligible, uint32_t hash ) const;

 private:
   struct Trunk {
      bool exists = false;
      std::vector< int > members;
   };
   Shim::Rc check( int trunk ) const;
   void update();

   size_t maxMembers_;
   std::vector< Trunk > trunks_;
   std::array< int, Shim::maxPorts > trunkOf_;
   PortMask memberPorts_;
   std::vector< int > populated_;
};

} // namespace ChipModel
