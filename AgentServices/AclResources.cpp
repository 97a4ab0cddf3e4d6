#include "AgentServices/AclResources.h"

#include <utility>

namespace AgentServices {

using Shim::Rc;
using Shim::Sdk;

namespace {

constexpr Zol::Seconds tidyInterval = 1; // until a refused call is tried again

// The priority of feature 0's groups; higher features follow.
constexpr int aclPriority = 80;

} // namespace

AclResources::AclResources(
      uint32_t unit, KarvelTcam::CommonData common, Zol::Ptr< PortClassManager > classes )
      : unit_( unit ), common_( std::move( common ) ), classes_( std::move( classes ) ),
        checkers_( Zol::make< RangeCheckerPool >( unit ) ),
        tidyClock_( *this, [ this ] { tidy(); } ) {}

Zol::Ptr< TcamGroup > AclResources::group(
      Acl::AclType type, Karvel::KarvelAclFeature feature ) {
   GroupPurpose purpose{ aclQualifiers( type ), aclPriority - feature.value() };
   purpose.qualifiers |=
         qualifierSet( { classes_ ? Shim::Qualifier::portClass : Shim::Qualifier::inPorts } );
   for ( auto left = leftGroups_.begin(); left != leftGroups_.end(); ++left ) {
      const Zol::Ptr< TcamGroup > found = *left;
      if ( found->purpose() == purpose && found->renew() == Karvel::TcamStatus::success ) {
         leftGroups_.erase( left );
         return found;
      }
   }
   auto made = Zol::make< TcamGroup >( unit_, purpose, GroupLife::withEntries, classes_ );
   made->renew();
   return made;
}

void AclResources::withdraw( std::unique_ptr< ChipAcl > acl ) {
   leftAcls_.push_back( std::move( acl ) );
   tidy();
}

void AclResources::tidy() {
   bool isRefused = false;
   std::erase_if( leftAcls_, [ & ]( const std::unique_ptr< ChipAcl >& acl ) {
      const bool isGone = acl->withdraw();
      isRefused = isRefused || !isGone;
      if ( isGone ) {
         leftGroups_.push_back( acl->group() );
      }
      return isGone;
   } );
   std::erase_if( leftGroups_, [ & ]( const Zol::Ptr< TcamGroup >& group ) {
      const Rc rc = group->takeAway();
      isRefused = isRefused || ( rc != Sdk::QX_BCM_E_NONE() && rc != Sdk::QX_BCM_E_BUSY() );
      return rc == Sdk::QX_BCM_E_NONE();
   } );
   tidyClock_.timeMinIs( isRefused ? Zol::activityManager().now() + tidyInterval : Zol::never );
}

} // namespace AgentServices
