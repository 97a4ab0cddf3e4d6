#pragma once

#include "Platform/Plix/IpAddr.h"
#include "Platform/Zol/Value.h"

namespace KarvelMirror {

// The outer header of a mirror tunnel: IPv4 and GRE (RFC 2784).
class TunnelParameters : public Zol::Value {
   ZOL_VALUE( KarvelMirror, TunnelParameters, ( VAL, Plix::IpAddr, srcIp ),
         ( VAL, Plix::IpAddr, dstIp ), ( VAL, uint32_t, greProtocol ),
         ( VAL, uint32_t, dscp ), ( VAL, uint32_t, ttl ) );
};

} // namespace KarvelMirror
