#include "Platform/Acl/ConfigAggregatorSm.h"

namespace Acl {

void ConfigAggregatorSm::doInit() {
   follow< &ConfigAggregatorSm::handleAclTypeConfig, Input::Config::Attr::aclTypeConfig >(
         inputConfig() );
}

void ConfigAggregatorSm::handleAclTypeConfig( AclType type ) {
   auto input = inputConfig()->aclTypeConfig( type );
   if ( !input ) {
      config()->aclTypeConfigDel( type );
      return;
   }
   react< &ConfigAggregatorSm::handleAcls, AclTypeConfig::Attr::acl >( input );
   mergeType( *input );
}

// The change does not tell the type of the ACL, so all types are merged; there are only a few.
void ConfigAggregatorSm::handleAcls() {
   for ( AclType type : inputConfig()->aclTypeConfig().keys() ) {
      mergeType( *inputConfig()->aclTypeConfig( type ) );
   }
}

void ConfigAggregatorSm::mergeType( const AclTypeConfig& input ) {
   auto merged = config()->aclTypeConfigIs( input.type() );
   for ( const Zol::String& name : merged->acl().keys() ) {
      if ( !input.aclHas( name ) ) {
         merged->aclDel( name );
         watched_.erase( { input.type(), name } );
      }
   }
   for ( const Zol::String& name : input.acl().keys() ) {
      Zol::Ptr< const AclConfig > acl = input.acl( name );
      if ( std::exchange( watched_[ { input.type(), name } ], acl ) != acl ) {
         react< &ConfigAggregatorSm::handleAcls, AclConfig::Attr::currCfg >( acl );
      }
      merged->aclIs( name )->currCfgIs( acl->currCfg() );
   }
}

ZOL_DEFINE_ENTITY( ConfigAggregatorSm );

} // namespace Acl
