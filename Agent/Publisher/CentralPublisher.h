#pragma once

// The central publisher: reduces the configured sessions of one chip to its mirror
// destinations, fills the chip's mirror destination table, and publishes the program
// information that the slice follows.
//
// A destination is used in one direction, so a session in both directions takes two. Sessions
// are served in the order of their names; one that finds no destination free is refused, with
// the names of those that hold them. A session that stays keeps its numbers. A session without a
// route keeps its numbers and starts mirroring when a route appears. A destination is withdrawn
// and published again in a later turn of the event loop when its direction or user changes, when
// one of its ACLs is edited or one of their ports gets another number, or when its programming
// failed. Another user gets a number only when the chip has given it back.

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Agent/Publisher/MirroringSessions.h"
#include "Agent/Publisher/Wanted.h"
#include "Agent/Slices/ChipReconciler.h"
#include "Agent/Slices/RetryClock.h"
#include "Agent/Slices/SliceHost.h"
#include "Platform/Acl/AclConfig.h"
#include "Platform/Zol/Clock.h"

namespace Agent {

class CentralPublisher {
 public:
   using Mtp = KarvelMirror::Mtp;
   using Direction = KarvelMirror::Direction;

   using Use = MtpUse;

   CentralPublisher( const SliceHost& slice,
         Zol::Ptr< KarvelMirror::LogicalFapMtpProgramInfoColl > programInfo,
         Zol::Ptr< Acl::Input::Config > aclInput, MirroringSessions& sessions,
         ChipReconciler& chip );
   // Withdraws what it published.
   ~CentralPublisher();
   CentralPublisher( const CentralPublisher& ) = delete;
   CentralPublisher& operator=( const CentralPublisher& ) = delete;

   // Follows a configuration. What leaves is withdrawn at once; what comes or changes is
   // published in the next turn of the event loop.
   void configurationIs( const Configuration& configuration, const PortStates& states );
   // The chip has this many policers; counts from the next configuration on.
   void policersAre( int count ) { policers_ = count; }

   // Who uses which destination.
   const std::map< Mtp, Use >& uses() const { return uses_; }
   // Why a session of this chip has no destination; none if it has.
   std::optional< SessionOutcome > refusal( const std::string& session ) const;
   // Why a destination could not be set up in the chip; none if it was.
   std::optional< Refusal > targetRefusal( Mtp mtp ) const;
   // Why one of its ACLs could not be; none if all were.
   std::optional< SessionOutcome > aclProblem( Mtp mtp ) const;
   // Whether tunnels have their GRE keys; not with the toggle off.
   bool sendsKeys() const { return sendsKeys_; }
   // What is wanted of a destination in use.
   const WantedMtp& wanted( Mtp mtp ) const { return wanted_.at( mtp ); }

 private:
   void choose( const Configuration& configuration );
   void refuse( const std::string& session, SessionCause cause, const std::string& reason );
   Mtp freeNumber( const Use& use ) const;
   std::string holders( const std::vector< std::pair< std::string, int > >& granted ) const;
   void withdrawRules( Mtp mtp );
   void withdraw( Mtp mtp );
   void publish();
   void publishProgram( KarvelMirror::LogicalFapMtpProgramInfo& info, Mtp mtp, const Use& use,
         const WantedMtp& wanted );
   void publishTunnel(
         KarvelMirror::LogicalFapMtpProgramInfo& info, Mtp mtp, const WantedMtp& wanted );
   void publishFilters( KarvelMirror::MtpProgramInfo& program, const WantedMtp& wanted );
   void publishRules( const WantedMtp& wanted );
   void dropUnusedAcls();
   bool targetIs( Mtp mtp, const Use& use, const Shim::MirrorDestination& target );
   bool isHeldByAnother( Mtp mtp, const Use& use ) const;
   bool isFailed( Mtp mtp ) const;
   // Starts the destinations afresh whose programming failed; true if there were any.
   bool retryFailed();
   bool retryEgress( Mtp mtp );
   void armRetry();

   const SliceHost& slice_;
   ChipReconciler& chip_;
   Zol::Ptr< KarvelMirror::LogicalFapMtpProgramInfoColl > programInfo_;
   std::map< Mtp, Use > uses_;
   Zol::Ptr< Acl::Input::Config > aclInput_;
   std::set< Ixo::AclKey > inputAcls_; // that this publisher has put in
   MirroringSessions& sessions_;
   MirroringSessions::Keys keys_; // of the sessions that have destinations
   const bool insertsHeaders_;    // in front of copies in tunnels
   const bool sendsKeys_;
   std::map< Mtp, WantedMtp > wanted_;    // of every use
   std::map< Mtp, WantedMtp > published_; // as the slice knows it
   std::map< Mtp, Use > holders_;         // whose copies the chip may send to a destination
   std::map< std::string, SessionOutcome > refusals_;
   int policers_; // of the chip, for all sessions together
   Zol::Clock publishClock_;
   RetryClock retryClock_;
};

} // namespace Agent
