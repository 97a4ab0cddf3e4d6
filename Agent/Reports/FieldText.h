#pragma once

// Text for qualifiers, actions and the values that a frame offers to them.

#include "Agent/Runtime/Runtime.h"
#include "ChipModel/Lookup/LookupKey.h"

namespace Agent {

// "0x1f"
std::string hex( uint32_t value );

// Port names as people write them, in natural order, runs of neighbours put together:
// "Ethernet0, Ethernet8-Ethernet20".
std::string portList( const Runtime& runtime, int unit, const Shim::PortBitmap& ports );

// "PortChannel1"; "trunk 7" where no PORTCHANNEL names it.
std::string trunkName( const Runtime& runtime, int unit, int trunk );
// Where a mirror destination's copies go; "not set".
std::string mirrorTargetName(
      const Runtime& runtime, const ChipModel::ChipState& chip, uint32_t destination );

// "in Ethernet0, source 10.1.0.0/16, TCP"; "everything".
std::string matchText( const Runtime& runtime, const ChipModel::ChipState& chip,
      const ChipModel::EntryView& entry );
std::string qualifierText( const Runtime& runtime, const ChipModel::ChipState& chip,
      const ChipModel::QualifierValue& value );
// "copy as received to mirror 0 (Ethernet20)"; "nothing".
std::string actionsText( const Runtime& runtime, const ChipModel::ChipState& chip,
      const std::vector< ChipModel::ActionValue >& actions );

// What a frame has where a qualifier looks: "10.1.2.3"; "none".
std::string frameText( const Runtime& runtime, const ChipModel::ChipState& chip,
      Shim::Qualifier qualifier, const ChipModel::LookupKey& key );

// A frame's headers in one line: "02:...:01 > 02:...:02, IPv4 10.0.0.1 > 10.0.0.2, TCP 1000 > 80".
std::string headersText( const ChipModel::LookupKey& key );

} // namespace Agent
