#pragma once

// Text for qualifiers, actions and the values that a frame offers to them.

#include "Agent/Reports/PortText.h"
#include "ChipModel/Lookup/LookupKey.h"

namespace Agent {

// "0x1f"
std::string hex( uint32_t value );

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

// The same for cells: the text for people; for programs a list of objects, one per qualifier or
// action, of what the SDK calls it and its values.
Cell matchCell( const Runtime& runtime, const ChipModel::ChipState& chip,
      const ChipModel::EntryView& entry );
Cell qualifierCell( const Runtime& runtime, const ChipModel::ChipState& chip,
      const ChipModel::QualifierValue& value );
Cell actionsCell( const Runtime& runtime, const ChipModel::ChipState& chip,
      const std::vector< ChipModel::ActionValue >& actions );
Cell frameCell( const Runtime& runtime, const ChipModel::ChipState& chip,
      Shim::Qualifier qualifier, const ChipModel::LookupKey& key );
// All that a frame offers to qualifiers, from its headers.
Value headersValue( const Runtime& runtime, const ChipModel::ChipState& chip,
      const ChipModel::LookupKey& key );

// A frame's headers in one line: "02:...:01 > 02:...:02, IPv4 10.0.0.1 > 10.0.0.2, TCP 1000 > 80".
std::string headersText( const ChipModel::LookupKey& key );

} // namespace Agent
