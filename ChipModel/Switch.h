#pragma once

// A switch in software: chips by unit, the SDK over all of them, and the control that tests
// and the agent's command channel hold.
//
//    Switch box;
//    box.addChip( 0, *chipProfile( "tomahawk3" ) );
//    Shim::sdk_ = &box.sdk();
//    box.control().sinkIs( &collector );
//    box.control().inject( 0, 1, frame );
//
// The switch outlives agents: what they wrote stays until they, or the next of them, take
// it back. A chip starts with the CPU port (0) enabled, all other ports disabled, and empty
// tables.

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ChipModel/Chip.h"
#include "ChipModel/Packets/Frame.h"
#include "ChipModel/ReadBack.h"
#include "ChipModel/Sdk/Gate.h"
#include "Platform/Shim/Sdk.h"

namespace ChipModel {

class SdkModel;
using Chips = std::map< int, std::unique_ptr< Chip > >; // by unit

// What no agent can do to its chips. Where a call takes outside input it returns nothing
// when done, else what is wrong in one line, with nothing changed.
class Control {
 public:
   explicit Control( Chips& chips ) : chips_( chips ) {}
   Control( const Control& ) = delete;
   Control& operator=( const Control& ) = delete;

   using Error = std::optional< std::string >;

   // Numbering, faults and observation of SDK calls.
   Gate& gate() { return gate_; }
   const Gate& gate() const { return gate_; }

   // `what` is "ingress-entries", "egress-entries" or "policers"; 0 to 1,000,000. What is
   // already there stays, also above the new capacity.
   [[nodiscard]] Error capacityIs( int unit, std::string_view what, int value );

   // One frame arrives from outside at a port. All that it causes has left through the sink
   // when this returns. For the fast way see Chip::pipeline().
   [[nodiscard]] Error inject( int unit, int port, const FrameView& frame );
   // Takes what leaves any chip, also chips that are added later; null: nobody looks. Not
   // owned.
   void sinkIs( FrameSink* sink );
   // Is told how each frame was decided, on all chips; null: nobody. Not owned.
   void observerIs( PipelineObserver* observer );

   // Says who writes to chips, and when it is.
   void writersAre( std::function< WriteStamp() > writers ) {
      context_.writers = std::move( writers );
   }
   // The SDK's version, 60527 for 6.5.27; before any chip is added.
   void sdkVersionIs( uint32_t version );
   const SwitchContext& context() const { return context_; }

   // The chip as it is; of a unit that exists.
   ChipState state( int unit ) const;

 private:
   friend class Switch;
   Error unitError( int unit ) const;

   Chips& chips_;
   Gate gate_;
   SwitchContext context_;
   FrameSink* sink_ = nullptr;
   PipelineObserver* observer_ = nullptr;
};

class Switch {
 public:
   Switch();
   ~Switch();
   Switch( const Switch& ) = delete;
   Switch& operator=( const Switch& ) = delete;

   // Units are 0 to 127, the chip's module id is its unit number. A unit is added once.
   Chip& addChip( int unit, const Profile& profile );
   // Null if there is no such unit.
   Chip* chip( int unit );
   std::vector< int > units() const;

   Shim::Sdk& sdk();
   Control& control() { return control_; }

 private:
   Chips chips_;
   Control control_;
   std::unique_ptr< SdkModel > sdk_;
};

} // namespace ChipModel
