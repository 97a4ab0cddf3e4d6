#pragma once

// The one gate that every SDK call passes: it numbers the calls, tells an observer, and
// refuses those that a fault names.
//
//    gate.faultAdd( { .call = SdkCall::bcm_field_entry_install, .first = 3, .last = 3,
//                     .rc = Shim::Sdk::QX_BCM_E_TIMEOUT() } );   // the third from now
//
// One agent thread makes the calls; the gate is not locked. While neither a fault nor an
// observer is set a call costs two increments here.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

#include "ChipModel/Sdk/SdkCalls.h"
#include "Platform/Shim/Sdk.h"

namespace ChipModel {

struct Fault {
   enum class Effect : uint8_t {
      notDone, // the chip is as before
      done,    // the write took place, but the caller is told that it failed
   };
   static constexpr uint64_t forever = std::numeric_limits< uint64_t >::max();

   std::optional< SdkCall > call = std::nullopt; // none: calls of every kind
   // Which of the calls of that kind, counted from when the fault is added: the first is 1.
   // A fault whose last call has passed removes itself.
   uint64_t first = 1;
   uint64_t last = 1;
   Shim::Rc rc = Shim::Sdk::QX_BCM_E_FAIL();
   Effect effect = Effect::notDone;
};

struct CallInfo {
   uint64_t number = 0; // of all calls since the switch was made; the first is 1
   SdkCall call{};
   int unit = 0;
};

class Gate {
 public:
   // Called before a call takes effect, refused or not. It may inject frames, sleep, end
   // the process, add and remove faults, and replace itself; SDK calls it makes are
   // numbered and can be refused, but are not told to it.
   using Observer = std::function< void( const CallInfo& ) >;
   void observerIs( Observer observer ); // an empty one: no observer

   // A number to remove the fault by. Of several faults on one call the oldest decides.
   int faultAdd( const Fault& fault );
   // False if there is no such fault (any more).
   bool faultRemove( int number );
   void faultsDelAll();
   size_t faults() const { return faults_.size(); }

   uint64_t calls() const { return calls_; }
   uint64_t calls( SdkCall call ) const { return callsOf_[ static_cast< size_t >( call ) ]; }
   // Calls that a fault refused, with either effect.
   uint64_t refused() const { return refused_; }

   // Passes one call: `operation()` does it and returns its code.
   template < typename Operation >
   Shim::Rc pass( SdkCall call, int unit, Operation&& operation ) {
      ++calls_;
      ++callsOf_[ static_cast< size_t >( call ) ];
      if ( !armed_ ) [[likely]] {
         return operation();
      }
      const std::optional< Verdict > refusal = ask( { calls_, call, unit } );
      if ( !refusal ) {
         return operation();
      }
      if ( refusal->effect == Fault::Effect::done ) {
         // A call that fails by itself returns its own error: it did not take place.
         const Shim::Rc rc = operation();
         return rc < 0 ? rc : refusal->rc;
      }
      return refusal->rc;
   }

 private:
   struct Verdict {
      Shim::Rc rc;
      Fault::Effect effect;
   };
   struct Pending {
      int number;
      Fault fault;
      uint64_t seen; // calls of its kind since it was added
   };
   std::optional< Verdict > ask( const CallInfo& info );
   void rearm() { armed_ = observer_ || !faults_.empty(); }

   bool armed_ = false;
   bool observing_ = false;
   uint64_t calls_ = 0;
   uint64_t refused_ = 0;
   std::array< uint64_t, sdkCallCount > callsOf_{};
   std::vector< Pending > faults_; // oldest first
   int nextFault_ = 1;
   Observer observer_;
};

} // namespace ChipModel
