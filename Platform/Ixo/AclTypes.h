#pragma once

// The common terms of the agent's ACL layer: which ACL, where, and what went wrong with it.

#include "Platform/Acl/AclType.h"
#include "Platform/Plix/IntfId.h"
#include "Platform/Zol/Value.h"

namespace Ixo {

// An ACL by name and kind; the empty key names no ACL.
class AclKey : public Zol::Value {
   ZOL_VALUE( Ixo, AclKey, ( VAL, Zol::String, aclName ), ( VAL, Acl::AclType, aclType ) );

 public:
   AclKey() = default;
   AclKey( const Zol::String& aclName, Acl::AclType aclType )
         : aclName_( aclName ), aclType_( aclType ) {}
};

// The interfaces that an ACL is applied to.
class IxoPortList : public Zol::Value {
   ZOL_VALUE( Ixo, IxoPortList, ( SET, Plix::IntfId, intf ) );
};

ZOL_ENUM( AclCreateError, uint8_t, ( aclCreateErrorNone, 0 ),
      ( aclCreateErrorTcamFull, 1 ),     // no entry, group or port class is free
      ( aclCreateErrorHardware, 2 ),     // the chip refused for another reason
      ( aclCreateErrorIncomplete, 3 ) ); // it is applied, but the chip refused a part of it

constexpr AclCreateError aclCreateErrorNone() { return AclCreateError::aclCreateErrorNone; }

} // namespace Ixo
