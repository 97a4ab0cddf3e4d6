#pragma once

// One chip's side of the agent, and what it says of the sessions that it serves.

#include "Agent/Publisher/CentralPublisher.h"
#include "Agent/Runtime/Runtime.h"
#include "Agent/Slices/SliceHost.h"

namespace Agent {

// The plug-in's side of a chip, in the order in which it is built.
struct Slice {
   Slice( int unit, const ChipModel::ChipProfile& profile, Hubdb::Store& store,
         Zol::Ptr< KarvelCentral::ChipTable > chipTable,
         Zol::Ptr< AgentServices::TcamGroupManager > groupManager,
         Zol::Ptr< KarvelMirror::LogicalFapMtpProgramInfoColl > programInfo,
         Zol::Ptr< Acl::Input::Config > aclInput, MirroringSessions& sessions )
         : host( unit, profile, store, chipTable, groupManager ),
           publisher( host, programInfo, aclInput, sessions ) {}

   SliceHost host;
   CentralPublisher publisher;
};

// What became of a session in its slice; null: its chip has none. What goes beyond the slice, such
// as links, is left to the caller. The chips are read for what the plug-in does not report.
SessionState sessionState(
      const SessionConfig& session, const Slice* slice, ChipModel::Switch& chips );

} // namespace Agent
