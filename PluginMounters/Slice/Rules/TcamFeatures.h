#pragma once

#include "Platform/Zol/Enum.h"

namespace KarvelMirror::Slice {

// The features that put entries into the field processors.
struct TcamFeature {
   // Ingress field processor.
   ZOL_NESTED_ENUM( IfpFeature, uint8_t, ( ifpAcl, 0 ), ( ifpVlan, 1 ) );
   // Egress field processor: rate limits of GRE-encapsulated and of per-port mirroring.
   ZOL_NESTED_ENUM( EfpFeature, uint8_t, ( efpGreRateLimit, 0 ), ( efpPortRateLimit, 1 ) );
};

} // namespace KarvelMirror::Slice
