#pragma once

// The one way by which the agent itself writes to a chip: ports, VLANs, link aggregations,
// addresses and mirror destinations. It holds what is wanted beside what has been written, and
// makes the difference.
//
//    ChipReconciler chip( unit );
//    chip.configurationIs( configuration, states );
//    if ( !chip.targetIs( mtp, target ) ) ... chip.destinationRefusal( mtp )->toString() ...
//
// What the chip refuses is kept with its cause, and tried again at every change, and by itself at
// growing intervals. When it is mended the cause is gone.

#include <functional>

#include "Agent/Slices/ForwardingWriter.h"
#include "Agent/Slices/MirrorTargets.h"
#include "Agent/Slices/RetryClock.h"

namespace Agent {

class ChipReconciler {
 public:
   using Mtp = KarvelMirror::Mtp;

   explicit ChipReconciler( int unit );
   ChipReconciler( const ChipReconciler& ) = delete;
   ChipReconciler& operator=( const ChipReconciler& ) = delete;

   // Forwarding follows.
   void configurationIs( const Configuration& configuration, const PortStates& states );
   // Takes everything back; all entries have gone. What is refused now stays in the chip.
   void withdraw();

   // --- Mirror destinations -----------------------------------------------------------------
   // Copies go there from now on. False if the chip refused it: they go where they went before.
   bool targetIs( Mtp mtp, const Shim::MirrorDestination& target );
   // Nobody wants it any more. It is taken back in later turns of the event loop, when no entry
   // names it any more.
   void targetDel( Mtp mtp );
   // No longer wanted, and still in the chip: nobody else may use it.
   bool isLeaving( Mtp mtp ) const { return targets_.isLeaving( mtp ); }
   // To be told when a destination was written, or taken back, later than it was asked for. An
   // empty one: nobody.
   void lateChangeHandlerIs( std::function< void() > handler ) {
      lateChange_ = std::move( handler );
   }

   // --- What the chip refuses now, by the chip's numbers ------------------------------------
   std::optional< Refusal > portRefusal( int chipPort ) const;
   std::optional< Refusal > trunkRefusal( int trunk ) const;
   std::optional< Refusal > vlanRefusal( uint16_t vid ) const;
   std::optional< Refusal > addressRefusal( uint16_t vid, const Plix::EthAddr& mac ) const;
   std::optional< Refusal > destinationRefusal( Mtp mtp ) const;
   // All but those of destinations that are wanted, which are their sessions' to tell, in one
   // line each: "chip 0: Ethernet4 could not be enabled: Operation failed".
   std::vector< std::string > problems() const;

 private:
   void forward();
   void settleTargets();
   void takeBack();
   void tryAgain();
   void awaitRetry();
   void changed();

   const int unit_;
   Refusals forwardingRefusals_;
   Refusals targetRefusals_;
   ForwardingWriter forwarding_;
   MirrorTargets targets_;
   ChipPlan plan_;
   std::function< void() > lateChange_;
   int turnsLeft_ = 0; // in which entries may still name a destination that leaves
   Zol::Clock takeBackClock_;
   RetryClock retry_;
};

} // namespace Agent
