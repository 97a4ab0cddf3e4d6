#pragma once

namespace ChipModel {

// Of whatever a chip has room for: entries, policers.
inline constexpr int mostCapacity = 1'000'000;

} // namespace ChipModel
