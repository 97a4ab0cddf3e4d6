#pragma once

// The agent's ACL configuration: what is in force, and the input it is merged from.

#include "Platform/Acl/Types.h"
#include "Platform/Zol/Dir.h"

namespace Acl {

// The ACLs in force, by kind and name. `currCfg` counts the versions of an ACL's rules.
class AclConfig : public Zol::Entity {
   ZOL_ENTITY( Acl, AclConfig, Zol::Entity, ( CONST, Zol::String, name ),
         ( VAL, uint64_t, currCfg ) );

 public:
   explicit AclConfig( const Zol::String& name ) : name_( name ) {}
};

class AclTypeConfig : public Zol::Entity {
   ZOL_ENTITY( Acl, AclTypeConfig, Zol::Entity, ( CONST, AclType, type ),
         ( COLL, Zol::String, AclConfig, acl ) );

 public:
   explicit AclTypeConfig( AclType type ) : type_( type ) {}
};

class Config : public Zol::Entity {
   ZOL_ENTITY( Acl, Config, Zol::Entity, ( CONST, Zol::String, root ),
         ( COLL, AclType, AclTypeConfig, aclTypeConfig ) );

 public:
   explicit Config( const Zol::String& root ) : root_( root ) {}
};

namespace Input {

// What the agents that configure ACLs put in: one configuration of the same shape.
class Config : public Zol::Entity {
   ZOL_ENTITY( Acl::Input, Config, Zol::Entity,
         ( COLL, AclType, AclTypeConfig, aclTypeConfig ) );

 public:
   explicit Config( std::string_view = {} ) {}
};

} // namespace Input
} // namespace Acl
