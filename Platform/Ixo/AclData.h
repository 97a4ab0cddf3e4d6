#pragma once

// What the agent keeps of an ACL while it is built, whatever the chip.

#include "Platform/Acl/Rules.h"
#include "Platform/Ixo/AclTypes.h"
#include "Platform/Zol/Entity.h"

namespace Ixo {

// The matches on layer 3 whose later fragments some rule of the ACL has decided on.
// Fragments without a layer-4 header cannot be told apart any further, so one decision is
// enough.
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
