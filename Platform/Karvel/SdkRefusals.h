#pragma once

// The last thing that a chip refused, so that whoever owns the failed work can tell people of it.
//
// A failed call is reported where it is made, but its code is often lost on the way up: to the
// machine that asked, an entry is there or is not. Whoever gives an answer for a piece of work
// takes the refusal when that work has ended.
//
// Calls that take something back, and those that have a substitute, are not kept: no session
// fails for them.

#include <optional>
#include <string>

#include "Platform/Shim/SdkTypes.h"

namespace Karvel {

struct SdkRefusal {
   std::string what; // "bcm_field_entry_create"; or what ran out without a call: "port classes"
   Shim::Rc rc = 0;

   bool operator==( const SdkRefusal& ) const = default;
};

void sdkRefusalIs( const SdkRefusal& refusal );
// The last one since it was last taken; none if there was none.
std::optional< SdkRefusal > takeSdkRefusal();

} // namespace Karvel
