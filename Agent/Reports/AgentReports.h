#pragma once

// What the agent can tell of itself and its chips.

#include "Agent/Reports/Report.h"
#include "Agent/Runtime/Runtime.h"

namespace Agent {

// The reports of one name ("sessions", "tcam", ...; see reportNames()), at least one.
std::vector< Report > reportsOf( Runtime& runtime, const std::string& name );

// The chip profiles and their capacities.
Report chipsReport();

// Port names as people write them, in natural order, runs of neighbours put together:
// "Ethernet0, Ethernet8-Ethernet20".
std::string portList( const Runtime& runtime, int unit, const Shim::PortBitmap& ports );

// The chip's own reports: programmed entries and tables.
Report tcamReport( Runtime& runtime );
Report tcamCapacityReport( Runtime& runtime );
std::vector< Report > tableReports( Runtime& runtime );

} // namespace Agent
