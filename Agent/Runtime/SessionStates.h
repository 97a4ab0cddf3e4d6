#pragma once

// What a slice says of the sessions that it serves.

#include "Agent/Runtime/Runtime.h"
#include "Agent/Runtime/Slice.h"

namespace Agent {

// What became of a session in its slice; null: its chip has none. What goes beyond the slice, such
// as links, is left to the caller. The chips are read for what the plug-in does not report.
SessionState sessionState(
      const SessionConfig& session, const Slice* slice, ChipModel::Switch& chips );

} // namespace Agent
