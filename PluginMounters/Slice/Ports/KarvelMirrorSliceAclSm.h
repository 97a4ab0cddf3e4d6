#pragma once

// Watchers of the ACLs that filter a destination. They are passive: they keep their inputs and
// the destination's review request at hand, and their handlers do nothing. A change of an ACL
// reaches the hardware when the destination's program information changes.

#include "Platform/Acl/AclConfig.h"
#include "PluginMounters/Slice/Ports/MtpAclCodef.h"

namespace KarvelMirror {

// The names of the ACLs that a destination expects.
class ExpectedAclConfig : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, ExpectedAclConfig, Zol::Entity, ( SET, Zol::String, acl ) );
};

// Watches one ACL.
class AclConfigSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror, AclConfigSm, Zol::EntitySm, ( CONST, Zol::String, name ),
         ( CONST, Acl::AclType, type ), ( CONST, Zol::Ptr< const Acl::AclConfig >, config ),
         ( CONST, Zol::Ptr< MtpAclCodefConfig >, codefConfig ) );

 public:
   AclConfigSm( const Zol::String& name, Acl::AclType type,
         Zol::Ptr< const Acl::AclConfig > config, Zol::Ptr< MtpAclCodefConfig > codefConfig )
         : name_( name ), type_( type ), config_( config ), codefConfig_( codefConfig ) {}

 private:
   void doInit() override;
   void handleCurrCfg() {}
};

// Watches the ACLs of one kind.
class AclTypeConfigSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror, AclTypeConfigSm, Zol::EntitySm, ( CONST, Acl::AclType, type ),
         ( CONST, Zol::Ptr< const Acl::AclTypeConfig >, config ),
         ( CONST, Zol::Ptr< const ExpectedAclConfig >, expectedAclConfig ), // may be none
         ( CONST, Zol::Ptr< MtpAclCodefConfig >, codefConfig ),
         ( COLL, Zol::String, AclConfigSm, aclConfigSm ) );

 public:
   AclTypeConfigSm( Acl::AclType type, Zol::Ptr< const Acl::AclTypeConfig > config,
         Zol::Ptr< const ExpectedAclConfig > expectedAclConfig,
         Zol::Ptr< MtpAclCodefConfig > codefConfig )
         : type_( type ), config_( config ), expectedAclConfig_( expectedAclConfig ),
           codefConfig_( codefConfig ) {}

   // The watcher of one ACL; it shares this one's reviews.
   Zol::Ptr< AclConfigSm > aclConfigSmIs(
         const Zol::String& name, Acl::AclType type, Zol::Ptr< const Acl::AclConfig > config ) {
      return aclConfigSmIs( name, type, config, codefConfig() );
   }

 private:
   void doInit() override;
   void handleAcl( const Zol::String& ) {}
};

} // namespace KarvelMirror
