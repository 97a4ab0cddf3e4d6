#include "AgentServices/LiveAcl.h"

#include <utility>

namespace AgentServices {

LiveAcl::LiveAcl( const Ixo::AclKey& aclKey, Karvel::KarvelAclFeature feature,
      Zol::Ptr< LiveAcls > registry )
      : KarvelAclData( aclKey, feature ), registry_( std::move( registry ) ) {
   registry_->all.push_back( this );
}

ChipAcl* LiveAcl::onChip( uint32_t unit ) {
   const auto at = onChips_.find( unit );
   return at == onChips_.end() ? nullptr : at->second.acl.get();
}

ChipAcl& LiveAcl::onChipIs( const Zol::Ptr< AclResources >& resources ) {
   OnChip& place = onChips_[ resources->unit() ];
   if ( !place.acl ) {
      place.resources = resources;
      place.acl = std::make_unique< ChipAcl >( *resources, aclKey(), feature() );
   }
   return *place.acl;
}

void LiveAcl::withdraw() {
   std::map< uint32_t, OnChip > former = std::exchange( onChips_, {} );
   for ( auto& [ unit, onChip ] : former ) {
      onChip.resources->withdraw( std::move( onChip.acl ) );
   }
   for ( const uint32_t unit : unitData().keys() ) {
      if ( Zol::Ptr< Karvel::KarvelAclUnitData > data = unitData( unit ) ) {
         data->entries().clear();
         data->committedIs( false );
      }
   }
}

void LiveAcl::lastRelease() {
   std::erase( registry_->all, this );
   withdraw();
}

ZOL_DEFINE_ENTITY( LiveAcl );

} // namespace AgentServices
