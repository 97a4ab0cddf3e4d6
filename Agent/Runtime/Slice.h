#pragma once

// One chip's side of the agent: the slice's host, and the publisher that decides what it mirrors.

#include "Agent/Publisher/CentralPublisher.h"
#include "Agent/Slices/SliceHost.h"

namespace Agent {

// Members in the order in which they are built.
struct Slice {
   Slice( int unit, const ChipModel::Profile& profile, Hubdb::Store& store,
         Zol::Ptr< KarvelCentral::ChipTable > chipTable,
         Zol::Ptr< AgentServices::TcamGroupManager > groupManager,
         Zol::Ptr< KarvelMirror::LogicalFapMtpProgramInfoColl > programInfo,
         Zol::Ptr< Acl::Input::Config > aclInput, MirroringSessions& sessions,
         ChipReconciler& chip )
         : host( unit, profile, store, chipTable, groupManager ),
           publisher( host, programInfo, aclInput, sessions, chip ) {}

   SliceHost host;
   CentralPublisher publisher;
};

} // namespace Agent
