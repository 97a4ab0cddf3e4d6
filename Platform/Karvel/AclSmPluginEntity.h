#pragma once

// The agent's ACL machinery, shared under "aclSmPluginEntity".

#include "Platform/Karvel/AclHelper.h"

namespace Ixo {

// The agent's ACL machine.
class AclSm : public Zol::Entity {
   ZOL_ENTITY( Ixo, AclSm, Zol::Entity, ( VAL, Zol::Ptr< Karvel::AclHelper >, aclHelper ) );
};

} // namespace Ixo

namespace Karvel {

class AclSmPluginEntity : public Zol::Entity {
   ZOL_ENTITY( Karvel, AclSmPluginEntity, Zol::Entity, ( VAL, Zol::Ptr< Ixo::AclSm >, aclSm ),
         ( VAL, bool,
               mirrorAclSupported ) ); // whether ACLs can filter mirroring on this chip
};

} // namespace Karvel
