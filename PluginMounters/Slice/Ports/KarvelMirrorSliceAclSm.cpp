#include "PluginMounters/Slice/Ports/KarvelMirrorSliceAclSm.h"

namespace KarvelMirror {

void AclConfigSm::doInit() {
   react< &AclConfigSm::handleCurrCfg, Acl::AclConfig::Attr::currCfg >( config() );
}

void AclTypeConfigSm::doInit() {
   react< &AclTypeConfigSm::handleAcl, Acl::AclTypeConfig::Attr::acl >( config() );
   if ( expectedAclConfig() ) {
      react< &AclTypeConfigSm::handleAcl, ExpectedAclConfig::Attr::acl >( expectedAclConfig() );
   }
}

ZOL_DEFINE_ENTITY( ExpectedAclConfig );
ZOL_DEFINE_ENTITY( AclConfigSm );
ZOL_DEFINE_ENTITY( AclTypeConfigSm );

} // namespace KarvelMirror
