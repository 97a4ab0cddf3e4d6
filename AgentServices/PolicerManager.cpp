#include "AgentServices/PolicerManager.h"

#include <utility>

#include "Platform/Karvel/SdkCall.h"
#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Shim::Rc;
using Shim::Sdk;

namespace {

Duolog::Handle trace( "PolicerManager" );

constexpr Zol::Seconds tidyInterval = 1; // until a refused call is tried again

} // namespace

PolicerManager::PolicerManager( uint32_t unit )
      : unit_( static_cast< int >( unit ) ), tidyClock_( *this, [ this ] { tidy(); } ) {}

bool PolicerManager::create( const Shim::bcm_policer_config_s& config, uint32_t* id ) {
   Policer policer{ .config = config };
   const Rc rc = createInChip( policer );
   if ( rc == Sdk::QX_BCM_E_PARAM() || rc == Sdk::QX_BCM_E_UNAVAIL() ) {
      return false;
   }
   *id = nextId_++;
   policers_.emplace( *id, policer );
   return true;
}

Rc PolicerManager::remove( uint32_t id ) {
   const auto at = policers_.find( id );
   if ( at == policers_.end() || at->second.removed ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   at->second.removed = true;
   destroyIfUnused( at );
   return Sdk::QX_BCM_E_NONE();
}

Rc PolicerManager::acquire( uint32_t id, uint32_t* sdkPolicer ) {
   const auto at = policers_.find( id );
   if ( at == policers_.end() || at->second.removed ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   Policer& policer = at->second;
   const Rc rc = policer.sdkPolicer == 0 ? createInChip( policer ) : Sdk::QX_BCM_E_NONE();
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      ++policer.users;
      *sdkPolicer = policer.sdkPolicer;
   }
   return rc;
}

void PolicerManager::release( uint32_t id ) {
   const auto at = policers_.find( id );
   ZOL_ASSERT( at != policers_.end() && at->second.users > 0 );
   --at->second.users;
   destroyIfUnused( at );
}

Rc PolicerManager::createInChip( Policer& policer ) {
   const Shim::bcm_policer_config_s config = policer.config;
   uint32_t id = 0;
   const Rc rc = KARVEL_SDK_CALL( trace, bcm_policer_create, ( unit_, config, &id ) );
   policer.sdkPolicer = id;
   return rc;
}

void PolicerManager::destroyIfUnused( std::map< uint32_t, Policer >::iterator at ) {
   if ( at->second.removed && at->second.users == 0 ) {
      const uint32_t sdkPolicer = at->second.sdkPolicer;
      policers_.erase( at );
      destroyInChip( sdkPolicer );
   }
}

void PolicerManager::destroyInChip( uint32_t sdkPolicer ) {
   if ( sdkPolicer == 0 ) {
      return;
   }
   const Rc rc = KARVEL_SDK_CALL( trace, bcm_policer_destroy, ( unit_, sdkPolicer ) );
   if ( rc != Sdk::QX_BCM_E_NONE() && rc != Sdk::QX_BCM_E_NOT_FOUND() ) {
      leftovers_.push_back( sdkPolicer );
      tidyClock_.timeMinIs( Zol::activityManager().now() + tidyInterval );
   }
}

void PolicerManager::tidy() {
   tidyClock_.timeMinIs( Zol::never );
   for ( uint32_t sdkPolicer : std::exchange( leftovers_, {} ) ) {
      destroyInChip( sdkPolicer );
   }
}

void PolicerManager::lastRelease() {
   tidy();
   for ( const auto& [ id, policer ] : std::exchange( policers_, {} ) ) {
      destroyInChip( policer.sdkPolicer );
   }
}

} // namespace AgentServices
