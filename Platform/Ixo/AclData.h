#pragma once

// The agent's data of an ACL while it is built, the same for all chips.

#include "Platform/Acl/Rules.h"
#include "Platform/Ixo/AclTypes.h"
#include "Platform/Zol/Entity.h"

namespace Ixo {

// The layer-3 matches for which some rule of the ACL has decided on later fragments. Fragments
// without a layer-4 header cannot be told apart any further, so one decision is enough.
class AclFragMap : public Zol::Entity {
   ZOL_ENTITY( Ixo, AclFragMap, Zol::Entity,
         ( MAP, Acl::IpFilter, uint32_t, info ) ); // to the number of the rule that decided
};

class AclData : public Zol::Entity {
   ZOL_ENTITY(
         Ixo, AclData, Zol::Entity, ( CONST, AclKey, aclKey ), ( OWN, AclFragMap, fragMap ) );

 public:
   explicit AclData( const AclKey& aclKey ) : aclKey_( aclKey ) {}
};

} // namespace Ixo
