#pragma once

// What the chip gets for one entry request of the shared TCAM manager, and how it is written
// there. Equal contents are one entry: that is how an entry that did not change keeps its place
// while others come and go.

#include <optional>

#include "AgentServices/TcamEntryManager.h"
#include "Platform/KarvelTcam/RequestConfig.h"

namespace AgentServices {

struct TcamRequestEntry {
   Zol::Ptr< const KarvelTcam::IntfProfile > ports; // null: any
   std::optional< KarvelTcam::PortQualifier > dstPort;
   std::optional< KarvelTcam::QualifierData > dstTrunk;
   Shim::FieldAction action{};
   uint32_t unit = 0; // the action's parameters
   uint32_t destination = 0;

   bool operator==( const TcamRequestEntry& other ) const;
   bool operator<( const TcamRequestEntry& other ) const; // any order
};

// None if the request asks for something unknown, or its parts do not go together.
std::optional< TcamRequestEntry > requestEntry( const KarvelTcam::EntryRequest& request );

// Qualifies an entry of the manager's, gives it its action and installs it.
Shim::Rc writeEntry( const TcamRequestEntry& contents, uint32_t unit, TcamEntryManager& entries,
      Karvel::EntryId id );

// What entries of a feature group may match, on a chip with or without port classes.
GroupPurpose requestGroupPurpose( KarvelTcam::FeatureGroupType group, bool hasPortClasses );

} // namespace AgentServices
