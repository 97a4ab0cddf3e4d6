#pragma once

#include "Platform/Zol/Entity.h"

namespace Karvel {

// The agent's ACL machinery, shared under "aclSmPluginEntity".
class AclSmPluginEntity : public Zol::Entity {
   ZOL_ENTITY( Karvel, AclSmPluginEntity, Zol::Entity );
};

} // namespace Karvel
