#pragma once

// A chip of the model as the SDK's, with the TCAM groups' manager on it, for tests of whatever
// programs chips.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "AgentServices/TcamGroupManager.h"
#include "ChipModel/Chip.h"
#include "ChipModel/Switch.h"

class SwitchBed : public ::testing::Test {
 protected:
   using Fault = ChipModel::Fault;
   using SdkCall = ChipModel::SdkCall;
   using Strings = std::vector< std::string >;

   SwitchBed() { ::Shim::sdk_ = &box.sdk(); }

   ChipModel::ChipState chip( int unit = 0 ) { return box.control().state( unit ); }
   ChipModel::Gate& gate() { return box.control().gate(); }
   uint64_t calls( SdkCall call ) { return gate().calls( call ); }
   void refuse( SdkCall call, uint64_t nth = 1, Fault::Effect effect = Fault::Effect::notDone,
         Shim::Rc rc = Shim::Sdk::QX_BCM_E_FAIL() ) {
      gate().faultAdd(
            { .call = call, .first = nth, .last = nth, .rc = rc, .effect = effect } );
   }
   void refuseAll( SdkCall call ) {
      gate().faultAdd( { .call = call, .last = Fault::forever } );
   }
   // What was written to a chip since, and is not as it was.
   Strings changes( const ChipModel::ChipState& since ) {
      return differences( since, chip( since.unit ), ChipModel::ReadBackScope::programmed );
   }

   ChipModel::Switch box;
};

class ChipBed : public SwitchBed {
 protected:
   explicit ChipBed( std::string_view profileName, int number = 0 )
         : unit( number ), profile( *ChipModel::chipProfile( profileName ) ) {
      box.addChip( unit, profile );
      groups->unitIs( static_cast< uint32_t >( unit ),
            { profile.aclGroup, profile.portClassBits, profile.egressEntries } );
      emptyChip = chip();
   }

   ChipModel::ChipState chip() { return SwitchBed::chip( unit ); }
   // What is not as it was in the beginning.
   Strings remains() { return changes( emptyChip ); }
   std::vector< ChipModel::EntryView > entries( bool installedOnly = true ) {
      std::vector< ChipModel::EntryView > result = chip().entries;
      std::erase_if(
            result, [ & ]( const auto& each ) { return installedOnly && !each.installed; } );
      return result;
   }

   const int unit;
   const ChipModel::Profile& profile;
   Zol::Ptr< AgentServices::TcamGroupManager > groups =
         Zol::make< AgentServices::TcamGroupManager >();
   ChipModel::ChipState emptyChip;
};
