#pragma once

// A chip of the model as the SDK's, with the TCAM groups' manager on it, for tests of whatever
// programs chips.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "AgentServices/TcamGroupManager.h"
#include "ChipModel/Chip.h"
#include "ChipModel/Switch.h"

class ChipBed : public ::testing::Test {
 protected:
   using Fault = ChipModel::Fault;
   using SdkCall = ChipModel::SdkCall;
   using Strings = std::vector< std::string >;

   explicit ChipBed( std::string_view profileName )
         : profile( *ChipModel::chipProfile( profileName ) ) {
      box.addChip( 0, profile );
      ::Shim::sdk_ = &box.sdk();
      groups->unitIs( 0, { profile.aclGroup, profile.portClassBits, profile.egressEntries } );
      emptyChip = chip();
   }

   ChipModel::ChipState chip() { return box.control().state( 0 ); }
   ChipModel::Gate& gate() { return box.control().gate(); }
   // What was written to it and is not as it was in the beginning.
   Strings remains() {
      return differences( emptyChip, chip(), ChipModel::ReadBackScope::programmed );
   }
   std::vector< ChipModel::EntryView > entries( bool installedOnly = true ) {
      std::vector< ChipModel::EntryView > result = chip().entries;
      std::erase_if(
            result, [ & ]( const auto& each ) { return installedOnly && !each.installed; } );
      return result;
   }
   void refuse(
         SdkCall call, uint64_t nth = 1, Fault::Effect effect = Fault::Effect::notDone ) {
      gate().faultAdd( { .call = call, .first = nth, .last = nth, .effect = effect } );
   }

   const ChipModel::Profile& profile;
   ChipModel::Switch box;
   Zol::Ptr< AgentServices::TcamGroupManager > groups =
         Zol::make< AgentServices::TcamGroupManager >();
   ChipModel::ChipState emptyChip;
};
