#include "AgentServices/TcamGroupManager.h"

#include "AgentServices/TcamEntryManager.h"
#include "Platform/Zol/Assert.h"

namespace AgentServices {

void TcamGroupManager::unitIs( uint32_t unit, const UnitTraits& traits ) {
   const auto [ at, isNew ] = units_.try_emplace( unit );
   if ( isNew ) {
      at->second.traits = traits;
      if ( traits.aclGroup ) {
         at->second.classes = Zol::make< PortClassManager >( unit, traits.classBits );
      }
   }
   ZOL_ASSERT( at->second.traits == traits );
}

Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > TcamGroupManager::mirroringEntryManager(
      uint32_t unit, KarvelMirror::Mtp mtp ) {
   return Zol::make< TcamEntryManager >( &group( unit, mtp ) );
}

Karvel::TcamStatus TcamGroupManager::groupMirroringAclDataIs(
      uint32_t unit, const Karvel::MirroringAclGroup& contents ) {
   return group( unit, contents.mtp ).contentsIs( contents );
}

TcamGroup& TcamGroupManager::group( uint32_t unit, KarvelMirror::Mtp mtp ) {
   const auto known = units_.find( unit );
   ZOL_ASSERT( known != units_.end() );
   Zol::Ptr< TcamGroup >& place = known->second.groups[ mtp ];
   if ( !place ) {
      place = Zol::make< TcamGroup >( unit, mtp, known->second.classes );
   }
   return *place;
}

} // namespace AgentServices
