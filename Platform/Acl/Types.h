#pragma once

#include "Platform/Zol/Enum.h"

namespace Acl {

// Kinds of ACL.
ZOL_ENUM( AclType, uint8_t, ( none, 0 ), ( mac, 2 ), ( ip, 3 ), ( ipv6, 4 ) );

} // namespace Acl
