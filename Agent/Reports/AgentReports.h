#pragma once

// What the agent can tell of itself and its chips.

#include "Agent/Reports/Report.h"
#include "Agent/Runtime/Runtime.h"

namespace Agent {

// What --show and the script's `show` can name.
const std::vector< std::string >& reportNames();

// The reports of one of those names, at least one. `path` limits that of the store.
std::vector< Report > reportsOf(
      Runtime& runtime, const std::string& name, const std::string& path = "" );

// The chip profiles and their capacities.
Report chipsReport();

// Of all machines, the plug-in's among them while it is loaded: what each watches and which
// handler a change leads to, and who makes and owns it.
std::vector< Report > wiringReports();

// The chip's own reports: programmed entries and tables.
Report tcamReport( Runtime& runtime );
Report tcamCapacityReport( Runtime& runtime );
// The shared TCAM manager's requests, with their entries.
Report requestsReport( Runtime& runtime );
std::vector< Report > tableReports( Runtime& runtime );
// Of the whole chip: switch controls, memories, header-insertion profiles.
std::vector< Report > settingReports( Runtime& runtime );
// What left each port, by CoS queue.
Report queuesReport( Runtime& runtime );

// The ACLs of sessions, their rules, and the entries that each became.
std::vector< Report > aclReports( Runtime& runtime );

// What the agent and its plug-ins tell each other by the store, at this path and below; all of it
// without a path.
Report storeReport( Runtime& runtime, const std::string& path );

// What limits copies in rate, and the tunnels that copies are sent through.
Report policersReport( Runtime& runtime );
Report tunnelsReport( Runtime& runtime );
// What became of the copies of limited sessions over time.
Report rateHistoryReport( Runtime& runtime );

} // namespace Agent
