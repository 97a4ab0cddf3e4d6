#pragma once

// The mirror destinations of one chip: brings each to its wanted target, and takes back those that
// nobody wants any more. The chip keeps a destination while an installed entry names it, so one
// that leaves is asked for again until the rules of its session have been withdrawn.

#include <map>
#include <optional>

#include "Agent/Slices/Refusals.h"
#include "Platform/KarvelMirror/Mtp.h"
#include "Platform/Shim/SdkTypes.h"

namespace Agent {

class MirrorTargets {
 public:
   using Mtp = KarvelMirror::Mtp;

   // The refusals outlive this.
   MirrorTargets( int unit, Refusals& refusals ) : unit_( unit ), refusals_( refusals ) {}

   // Copies go there from now on. False if the chip refused it: they go where they went before.
   bool targetIs( Mtp mtp, const Shim::MirrorDestination& target );
   // Nobody wants it any more; nothing is written yet.
   void targetDel( Mtp mtp );
   // No longer wanted, and perhaps still in the chip.
   bool isLeaving( Mtp mtp ) const;

   // An entry that names a destination keeps it: an answer like any other while rules are being
   // withdrawn, a refusal when they should have gone.
   enum class Busy : uint8_t { isExpected, isRefusal };
   // Takes back those that leave and were not refused; true if one has gone.
   bool takeBack( Busy busy );
   // Some leave, and were not refused.
   bool someMayGo() const;
   // Those that leave are tried again although they were refused.
   void forgetRefusedLeaving();
   // Writes those again that were refused; true if one was taken.
   bool setRefused();

 private:
   struct Target {
      std::optional< Shim::MirrorDestination > wanted;  // none: it leaves
      std::optional< Shim::MirrorDestination > written; // none: the last write was refused
   };
   bool mayGo( Mtp mtp, const Target& target ) const;
   bool write( Mtp mtp, Target& target );
   bool destroy( Mtp mtp, Target& target, Busy busy );

   const int unit_;
   Refusals& refusals_;
   std::map< Mtp, Target > targets_; // all that may be in the chip
};

} // namespace Agent
