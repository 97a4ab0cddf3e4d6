#pragma once

// What the chip and the slice are to know of one mirror destination, derived from the
// configuration and the routes of tunnels.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Agent/Configuration/Configuration.h"
#include "Agent/Publisher/Resolver.h"
#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/Shim/SdkTypes.h"

namespace Agent {

// Who uses a destination.
struct MtpUse {
   std::string session;
   KarvelMirror::Direction direction{};
   auto operator<=>( const MtpUse& ) const = default;
};

struct WantedMtp {
   std::optional< Shim::MirrorDestination > target; // none: its tunnel has no route
   std::optional< KarvelMirror::TunnelParameters > tunnel;
   uint32_t headerSize = 0;                      // of the tunnel, in bytes; 0 without a route
   std::string route;                            // of the tunnel, or why it has none
   std::optional< NextHop > hop;                 // of the tunnel's route
   Zol::Set< KarvelMirror::DstPort > dstPorts;   // that copies may leave by
   bool isTagged = false;                        // one of the ports writes a source tag
   Zol::Set< KarvelMirror::SourcePort > sources; // mirrored as a whole
   std::vector< SessionAcl > acls;               // ingress only, as what follows
   Zol::Set< KarvelMirror::IpMatch > matches;
   Zol::Set< Plix::IntfId > matchInterfaces;
   std::map< Zol::String, int > filteredPorts; // chip ports of what ACLs and matches name

   bool operator==( const WantedMtp& ) const = default;
   // Whether what the slice has of it cannot follow: one of the ACLs says something else than it
   // did, or a port that filters name has another number.
   bool startsAfresh( const WantedMtp& before ) const;
   bool isLimited() const { return !dstPorts.empty() && dstPorts.begin()->rate() != 0; }
   // Which rules of the egress stage its copies need; none if they need none.
   std::optional< KarvelMirror::RateLimitKind > egressRules() const;
};

// Whether the chip is made to send GRE keys. Where it is not, headers are made without them.
enum class GreKeyUse : uint8_t { sent, leftOut };

// Of a session that is not refused, for its chip. A tunnel has the number of its destination, and
// keeps to its next hop where it can.
WantedMtp wantedMtp( const Configuration& configuration, const Resolver& resolver,
      KarvelMirror::Mtp mtp, const MtpUse& use, GreKeyUse keys,
      const std::optional< NextHop >& keptHop );

// The tunnel of a destination that has one.
KarvelMirror::TunnelId tunnelOf( KarvelMirror::Mtp mtp );

// The mirroring directions that a session needs a destination for.
std::vector< KarvelMirror::Direction > directionsOf( const SessionConfig& session );

} // namespace Agent
