#pragma once

// What an agent that has withdrawn everything left in a chip.

#include <string>
#include <vector>

#include "ChipModel/ReadBack.h"

namespace ChipModel {

// One line each: "chip 0: TCAM entry 3 'mirror0'". Empty when everything was given back. What is
// set once for the whole chip, whether anything is mirrored or not, may stay.
std::vector< std::string > leftIn( const ChipState& chip );

} // namespace ChipModel
