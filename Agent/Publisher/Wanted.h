#pragma once

// What the chip and the slice are to know of one mirror destination, derived from the
// configuration.

#include <vector>

#include "Agent/Configuration/Configuration.h"
#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/Shim/Types.h"

namespace Agent {

// Who uses a destination.
struct MtpUse {
   std::string session;
   KarvelMirror::Direction direction{};
   auto operator<=>( const MtpUse& ) const = default;
};

struct WantedMtp {
   Shim::MirrorDestination target;
   Zol::Set< KarvelMirror::SourcePort > sources; // mirrored as a whole
   std::vector< SessionAcl > acls;               // ingress only, as what follows
   Zol::Set< KarvelMirror::IpMatch > matches;
   Zol::Set< Plix::IntfId > matchInterfaces;

   bool operator==( const WantedMtp& ) const = default;
   // Whether one of the ACLs says something else than it did before.
   bool editsAclOf( const WantedMtp& before ) const;
};

// Of a session that is not refused, for the chip with this unit.
WantedMtp wantedMtp( const Configuration& configuration, int unit, const MtpUse& use );

// The mirroring directions that a session needs a destination for.
std::vector< KarvelMirror::Direction > directionsOf( const SessionConfig& session );

} // namespace Agent
