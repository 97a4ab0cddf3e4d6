#pragma once

// What texts for people and values for programs both take from qualifiers.

#include "Agent/Runtime/Runtime.h"
#include "ChipModel/Fields/FieldCatalogue.h"

namespace Agent::FieldWords {

// The ports whose class has these bits.
Shim::PortBitmap portsOfClass( const ChipModel::ChipState& chip, uint32_t data, uint32_t mask );
// IPv4 of one word, MAC of two, IPv6 of four.
std::string address( const std::vector< uint32_t >& words );
// It asks for nothing.
bool isAny( const ChipModel::QualifierValue& value );
// What a frame offers to a qualifier: a value with no bit of it masked out.
ChipModel::QualifierValue frameValue(
      const ChipModel::FieldRow& row, const ChipModel::LookupKey& key );
// The frame has what the qualifier looks at.
bool isOffered( const ChipModel::FieldRow& row, const ChipModel::LookupKey& key );

} // namespace Agent::FieldWords
