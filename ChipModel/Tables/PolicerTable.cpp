#include "ChipModel/Tables/PolicerTable.h"

#include "Platform/Zol/Assert.h"

namespace ChipModel {

using Shim::Rc;
using Shim::Sdk;

Policer::Policer( const Shim::bcm_policer_config_s& config )
      : depth_( config.ckbits_burst * tokensPerKilobit ), rate_( config.ckbits_sec ),
        fillNs_( depth_ / rate_ + 1 ), tokens_( depth_ ), config_( config ) {}

Rc PolicerTable::create( const Shim::bcm_policer_config_s& config, uint32_t* id ) {
   if ( id == nullptr || config.ckbits_sec == 0 ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   const bool hasPeak = config.pkbits_sec != 0 || config.pkbits_burst != 0;
   if ( config.flags != ( Shim::policerByBytes | Shim::policerColorBlind ) || hasPeak ||
         config.mode != Shim::PolicerMode::committed ) {
      return Sdk::QX_BCM_E_UNAVAIL();
   }
   if ( policers_.size() >= static_cast< size_t >( capacity_ ) ) {
      return Sdk::QX_BCM_E_RESOURCE();
   }
   ZOL_ASSERT( nextId_ != 0 && "all ids have been used" );
   *id = nextId_++;
   policers_.emplace( *id, config );
   return Sdk::QX_BCM_E_NONE();
}

void PolicerTable::destroy( uint32_t id ) {
   const size_t removed = policers_.erase( id );
   ZOL_ASSERT( removed == 1 );
}

} // namespace ChipModel
