#pragma once

// The agent's ACL configuration: what is in force, and the input it is merged from.

#include "Platform/Acl/Rules.h"
#include "Platform/Zol/Dir.h"

namespace Acl {

// The ACLs in force, by kind and name.
class AclConfig : public Zol::Entity {
   ZOL_ENTITY( Acl, AclConfig, Zol::Entity, ( CONST, Zol::String, name ),
         ( VAL, Zol::Ptr< const RuleList >, currCfg ) ); // the rules in force; may be none

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
   ZOL_ENTITY(
         Acl::Input, Config, Zol::Entity, ( COLL, AclType, AclTypeConfig, aclTypeConfig ) );

 public:
   explicit Config( std::string_view = {} ) {}
};

} // namespace Input
} // namespace Acl
