#pragma once

// The central publisher: reduces the configured sessions of one chip to its mirror
// destinations, fills the chip's mirror destination table, and publishes the program
// information that the slice follows.
//
// A destination is used in one direction, so a session in both directions takes two. Sessions
// are served in the order of their names; one that finds no destination free is refused, and
// told who holds them. A session that stays keeps its numbers. A destination whose direction
// or user changes is withdrawn, and published anew in a later turn of the event loop; so is
// one whose programming failed.

#include <map>
#include <set>
#include <optional>
#include <string>
#include <vector>

#include "Agent/Configuration/Configuration.h"
#include "Agent/Slices/SliceHost.h"
#include "Platform/Zol/Clock.h"

namespace Agent {

class CentralPublisher {
 public:
   using Mtp = KarvelMirror::Mtp;
   using Direction = KarvelMirror::Direction;

   struct Use {
      std::string session;
      Direction direction{};
      auto operator<=>( const Use& ) const = default;
   };

   CentralPublisher( const SliceHost& slice,
         Zol::Ptr< KarvelMirror::LogicalFapMtpProgramInfoColl > programInfo );
   // Withdraws what it published.
   ~CentralPublisher();
   CentralPublisher( const CentralPublisher& ) = delete;
   CentralPublisher& operator=( const CentralPublisher& ) = delete;

   // Follows a configuration. What leaves is withdrawn at once; what comes or changes is
   // published in the next turn of the event loop.
   void configurationIs( const Configuration& configuration );
   // Starts the destinations afresh whose programming failed.
   void retryFailed();

   // Who uses which destination.
   const std::map< Mtp, Use >& uses() const { return uses_; }
   // Why a session of this chip has no destination; none if it has.
   std::optional< std::string > refusal( const std::string& session ) const;
   // Why a destination could not be set up in the chip; none if it was.
   std::optional< std::string > problem( Mtp mtp ) const;

 private:
   // What the chip and the slice are to know of one destination.
   struct Wanted {
      Shim::MirrorDestination target;
      Zol::Set< KarvelMirror::SourcePort > sources;
      bool operator==( const Wanted& ) const = default;
   };

   void choose( const Configuration& configuration );
   std::string holders( const std::vector< std::pair< std::string, int > >& granted ) const;
   Wanted wantedOf( const Configuration& configuration, const Use& use ) const;
   void withdraw( Mtp mtp );
   void publish();
   bool targetIs( Mtp mtp, const Wanted& wanted );
   void armRetry();

   const SliceHost& slice_;
   Zol::Ptr< KarvelMirror::LogicalFapMtpProgramInfoColl > programInfo_;
   std::map< Mtp, Use > uses_;
   std::map< Mtp, Wanted > wanted_;    // of every use
   std::map< Mtp, Wanted > published_; // as the slice knows it
   std::map< Mtp, Shim::MirrorDestination > targets_; // as the chip knows it
   std::map< std::string, std::string > refusals_;
   std::map< Mtp, std::string > problems_;
   Zol::Clock publishClock_;
   Zol::Clock retryClock_;
};

} // namespace Agent
