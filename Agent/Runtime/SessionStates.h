#pragma once

// What a slice says of the sessions that it serves.

#include "Agent/Runtime/Runtime.h"
#include "Agent/Runtime/Slice.h"

namespace Agent {

// The ports, port channels and VLANs that a session's traffic and copies pass.
struct Forwarding {
   const Configuration& configuration;
   const PortStates& states;
   const ChipReconciler& chip;
};

// Why a session whose rules are in the chip copies nothing, or not all: what it needs of forwarding
// was refused by the chip, or is down. None if nothing is wrong.
std::optional< SessionOutcome > forwardingTrouble(
      const SessionConfig& session, const SessionState& state, const Forwarding& forwarding );

// What became of a session in its slice; null: its chip has none. What goes beyond the slice, such
// as links, is left to the caller. The chips are read for what the plug-in does not report.
SessionState sessionState(
      const SessionConfig& session, const Slice* slice, ChipModel::Switch& chips );

// Whether copies of a session lack the key that they are to have, and a chip that takes the settings
// for keys would mend it.
bool lacksKey( const SessionConfig& session, const Slice& slice, ChipModel::Switch& chips );

} // namespace Agent
