#include "Platform/Acl/ConfigAggregatorSm.h"

namespace Acl {

void ConfigAggregatorSm::doInit() {
   react< &ConfigAggregatorSm::handleAclTypeConfig, Input::Config::Attr::aclTypeConfig >(
         inputConfig() );
   for ( AclType type : inputConfig()->aclTypeConfig().keys() ) {
      handleAclTypeConfig( type );
   }
}

void ConfigAggregatorSm::handleAclTypeConfig( AclType type ) {
   if ( auto input = inputConfig()->aclTypeConfig( type ) ) {
      react< &ConfigAggregatorSm::handleAcls, AclTypeConfig::Attr::acl >( input );
   }
   mergeType( type );
}

void ConfigAggregatorSm::handleAcls() {
   for ( AclType type : inputConfig()->aclTypeConfig().keys() ) {
      mergeType( type );
   }
}

void ConfigAggregatorSm::mergeType( AclType type ) {
   auto input = inputConfig()->aclTypeConfig( type );
   if ( !input ) {
      config()->aclTypeConfigDel( type );
      return;
   }
   auto merged = config()->aclTypeConfigIs( type );
   for ( const Zol::String& name : merged->acl().keys() ) {
      if ( !input->aclHas( name ) ) {
         merged->aclDel( name );
      }
   }
   for ( auto iter = input->acl().begin(); iter != input->acl().end(); ++iter ) {
      merged->aclIs( iter.key() )->currCfgIs( iter.value()->currCfg() );
   }
}

} // namespace Acl
