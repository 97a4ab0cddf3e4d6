#pragma once

// A value outside the bounds of a range-checked type. The text names the type and the
// bounds: "U10::value < 0 or > 0x03ff not allowed".

#include <stdexcept>

namespace Zol {

class RangeError : public std::range_error {
 public:
   using std::range_error::range_error;
};

} // namespace Zol
