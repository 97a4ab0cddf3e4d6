#pragma once

// The whole state of a chip, field by field, as plain data: to print, to keep while the
// agent restarts, and to compare.
//
//    const ChipState before = control.state( 0 );
//    ...
//    EXPECT_EQ( differences( before, control.state( 0 ) ), std::vector< std::string >{} );

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ChipModel/Fields/FieldProcessor.h"
#include "ChipModel/Tables/Counters.h"
#include "ChipModel/Tables/LogicalTables.h"
#include "ChipModel/Tables/Memories.h"
#include "ChipModel/Tables/SwitchControls.h"
#include "Platform/Shim/SdkTypes.h"

namespace ChipModel {

struct PortState {
   int port = 0;
   bool enabled = false;
   uint16_t untaggedVlan = 0; // 0: none
   uint32_t classBits = 0;
   int trunk = -1; // the trunk it is a member of; -1: none
   PortCounters counters;
};

struct VlanState {
   uint16_t vid = 0;
   Shim::PortBitmap members;
   Shim::PortBitmap untagged;
};

struct TrunkState {
   int trunk = 0;
   std::vector< int > members; // in the order in which they were set
};

struct MirrorDestinationState {
   int destination = 0;
   std::optional< Shim::MirrorDestination > value; // none: not set
   MirrorCounters counters;
};

struct ChipState {
   int unit = 0;
   std::string profile;
   int ingressEntries = 0; // capacities of the stages, in entries
   int egressEntries = 0;
   std::vector< PortState > ports; // by number, the CPU (0) first
   std::vector< VlanState > vlans; // by id
   std::vector< TrunkState > trunks;
   std::vector< Shim::L2Addr > l2Addresses; // by VLAN, then MAC
   std::vector< MirrorDestinationState > mirrorDestinations;
   // By Shim::SwitchControl; empty on a chip that has none.
   std::vector< SwitchControls::Setting > switchControls;
   std::vector< MemoryEntryView > memories;        // that were written or are looked at
   std::vector< LogicalEntryView > insertProfiles; // that were written
   uint64_t strayCopies = 0;                       // see Pipeline::strayCopies
   uint64_t cpuCopies = 0;                         // see Pipeline::cpuCopies
   int policerCapacity = 0;
   std::vector< PolicerView > policers; // by id
   std::vector< RangeView > ranges;     // by id
   std::vector< GroupView > groups;     // by id
   std::vector< EntryView > entries;    // in the order of lookup
};

enum class ReadBackScope : uint8_t {
   everything,
   // What was written to the chip: no counters, no learned addresses, no hardware ids. Two
   // agents that want the same leave chips that are equal in this scope.
   programmed,
};

// Every field as a pair of its place and its value: { "port 3 enabled", "yes" }.
std::vector< std::pair< std::string, std::string > > describe(
      const ChipState& state, ReadBackScope scope = ReadBackScope::everything );

// The first `limit` differences in words: "port 3 enabled: yes before, no after". Empty
// when the two are equal.
std::vector< std::string > differences( const ChipState& before, const ChipState& after,
      ReadBackScope scope = ReadBackScope::everything, size_t limit = 10 );

} // namespace ChipModel
