#pragma once

// Merges the input ACL configuration into the one in force: every ACL of the input stands in
// the configuration with the same version, and leaves it with the input.

#include <map>
#include <utility>

#include "Platform/Acl/AclConfig.h"
#include "Platform/Zol/Sm.h"

namespace Acl {

class ConfigAggregatorSm : public Zol::EntitySm {
   ZOL_ENTITY( Acl, ConfigAggregatorSm, Zol::EntitySm,
         ( CONST, Zol::Ptr< const Zol::Dir >, inputDir ),
         ( CONST, Zol::Ptr< const Input::Config >, inputConfig ),
         ( CONST, Zol::Ptr< Config >, config ) );

 public:
   ConfigAggregatorSm( Zol::Ptr< const Zol::Dir > inputDir,
         Zol::Ptr< const Input::Config > inputConfig, Zol::Ptr< Config > config )
         : inputDir_( inputDir ), inputConfig_( inputConfig ), config_( config ) {}

 private:
   void doInit() override;
   void handleAclTypeConfig( AclType type );
   void handleAcls();
   void mergeType( const AclTypeConfig& input );

   std::map< std::pair< AclType, Zol::String >, Zol::Ptr< const AclConfig > > watched_;
};

} // namespace Acl
