#pragma once

// What a LookupEngine matches frames with: conditions on single bytes of the lookup key.

#include <array>
#include <cstdint>
#include <vector>

namespace ChipModel {

// A condition on one byte of the key: ( byte & mask ) == ( value & mask ).
struct ByteTerm {
   uint8_t column = 0; // offset in the key
   uint8_t value = 0;
   uint8_t mask = 0;
};

// A condition on one byte of the key: it is one of these values.
struct SetTerm {
   uint8_t column = 0;
   std::array< uint64_t, 4 > accepted{}; // bit n % 64 of word n / 64: value n
};

// Matches when all terms do; without any, always. A column appears in at most one term.
struct LookupRule {
   std::vector< ByteTerm > bytes;
   std::vector< SetTerm > sets;
};

} // namespace ChipModel
