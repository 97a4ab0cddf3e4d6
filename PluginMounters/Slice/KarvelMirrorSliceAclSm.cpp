#include "PluginMounters/Slice/KarvelMirrorSliceAclSm.h"

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

} // namespace KarvelMirror
