#pragma once

#include "Platform/Zol/Enum.h"

namespace Acl {

// Kinds of ACL.
ZOL_ENUM( AclType, uint8_t, ( none, 0 ), ( mac, 2 ), ( ip, 3 ), ( ipv6, 4 ) );

constexpr AclType mac() { return AclType::mac; }
constexpr AclType ip() { return AclType::ip; }
constexpr AclType ipv6() { return AclType::ipv6; }

// The direction of the traffic that an ACL is applied to.
ZOL_ENUM( AclDirection, uint8_t, ( in, 0 ), ( out, 1 ) );

} // namespace Acl
