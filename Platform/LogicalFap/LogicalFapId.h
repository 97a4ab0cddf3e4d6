#pragma once

#include "Platform/Zol/Id.h"

namespace LogicalFap {

// A forwarding processor as the agents number them; one per slice.
using LogicalFapId = Zol::Id< struct LogicalFapTag, uint16_t >;

} // namespace LogicalFap
