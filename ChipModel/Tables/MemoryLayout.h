#pragma once

// Where the fields of each memory lie in its entries. The same on all chips; Memories knows
// which chip has which memory.

#include <cstdint>
#include <optional>
#include <span>

#include "Platform/Shim/Sdk.h"

namespace ChipModel {

struct FieldLayout {
   Shim::MemField field{};
   int offset = 0; // bits from the start of the entry
   int width = 0;  // 1 to 32 bits, in one word of the entry
};

// In the order of the fields in the entry.
std::span< const FieldLayout > fieldsOf( Shim::Memory memory );
// E_NOT_FOUND if the memory does not have the field, E_PARAM for a value that is too wide.
Shim::Rc fieldGet(
      Shim::Memory memory, const Shim::MemEntry& entry, Shim::MemField field, uint32_t* value );
Shim::Rc fieldSet(
      Shim::Memory memory, Shim::MemEntry& entry, Shim::MemField field, uint32_t value );

} // namespace ChipModel
