#pragma once

// The machines that the mounter builds beside port mirroring's own: each has its place in the
// mounter's order, and its factory here. A factory that is not set builds nothing, and the
// slice does without that machine.

#include <functional>

#include "Platform/Zol/Sm.h"

namespace KarvelMirror {

class SliceMounter;
class TcamHelperSmBase;

struct SliceMachineFactories {
   template < typename Machine >
   using Factory = std::function< Zol::Ptr< Machine >( SliceMounter& mounter ) >;

   Factory< TcamHelperSmBase > tcamHelperSmV2;    // request-based TCAM interface
};

// The process's one.
SliceMachineFactories& sliceMachineFactories();

} // namespace KarvelMirror
