#pragma once

#include "Platform/Plix/IpGenAddr.h"
#include "Platform/Zol/Id.h"
#include "Platform/Zol/Value.h"

namespace KarvelMirror {

// A mirror tunnel of a slice: 0 to 13.
using TunnelId = Zol::Id< struct TunnelIdTag, uint8_t >;

// The outer header of a mirror tunnel: IPv4 or IPv6, and GRE (RFC 2784).
class TunnelParameters : public Zol::Value {
   ZOL_VALUE( KarvelMirror, TunnelParameters, ( VAL, Plix::IpGenAddr, srcIp ),
         ( VAL, Plix::IpGenAddr, dstIp ), ( VAL, uint32_t, greProtocol ),
         ( VAL, uint32_t, dscp ), ( VAL, uint32_t, ttl ) );
};

} // namespace KarvelMirror
