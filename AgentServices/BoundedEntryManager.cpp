#include "AgentServices/BoundedEntryManager.h"

#include <utility>

#include "Platform/Karvel/SdkCall.h"
#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Karvel::EntryId;
using Karvel::TcamStatus;
using Shim::Rc;
using Shim::Sdk;

namespace {

Duolog::Handle trace( "BoundedEntryManager" );

constexpr int policerLevel = 0;

} // namespace

void BoundedEntryManager::unitIs( uint32_t unit, const GroupPurpose& purpose, size_t bound,
      Zol::Ptr< PolicerManager > policers ) {
   const auto [ at, isNew ] = units_.try_emplace( unit );
   if ( isNew ) {
      at->second.group =
            Zol::make< TcamGroup >( unit, purpose, GroupLife::withEntries, nullptr );
      at->second.group->renew();
      at->second.bound = bound;
      at->second.policers = std::move( policers );
   }
}

BoundedEntryManager::Unit& BoundedEntryManager::unitOf( uint32_t unit ) {
   const auto known = units_.find( unit );
   ZOL_ASSERT( known != units_.end() );
   return known->second;
}

const LastRefusal& BoundedEntryManager::lastRefusal( uint32_t unit ) {
   return unitOf( unit ).group->lastRefusal();
}

BoundedEntryManager::Held* BoundedEntryManager::find( Unit& of, EntryId entryId ) {
   const auto at = of.entries.find( entryId );
   return at == of.entries.end() ? nullptr : &at->second;
}

EntryId BoundedEntryManager::getEntryWithStats(
      uint32_t unit, const Zol::String& name, Shim::FieldStat counters ) {
   Unit& of = unitOf( unit );
   const RefusalNote note( of.group->lastRefusal() );
   if ( of.entries.size() >= of.bound ) {
      of.group->lastRefusal().reset(); // it is not the chip that has no room
      return 0;
   }
   const Karvel::TcamEntryResult created = of.group->entryNew( name );
   if ( created.status != TcamStatus::success ) {
      return 0;
   }
   const Held held{ .entry = { .id = created.entryId } };
   const Rc rc = KARVEL_SDK_CALL( trace, bcm_field_entry_stat_set,
         ( of.group->sdkUnit(), held.entry.sdkId(), counters ) );
   if ( rc != Sdk::QX_BCM_E_NONE() ) {
      destroy( of, held );
      return 0;
   }
   of.entries.emplace( created.entryId, held );
   return created.entryId;
}

Rc BoundedEntryManager::attachPolicer(
      uint32_t unit, EntryId entryId, uint32_t policerId, Karvel::PolicerAttach ) {
   Unit& of = unitOf( unit );
   const RefusalNote note( of.group->lastRefusal() );
   Held* const held = find( of, entryId );
   if ( !held ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   if ( held->policer == policerId ) {
      return Sdk::QX_BCM_E_NONE();
   }
   const Rc rc = detach( of, *held );
   return rc == Sdk::QX_BCM_E_NONE() ? attach( of, *held, policerId ) : rc;
}

Rc BoundedEntryManager::attach( Unit& of, Held& held, uint32_t policerId ) {
   uint32_t policer = 0;
   Rc rc = of.policers->acquire( policerId, &policer );
   if ( rc != Sdk::QX_BCM_E_NONE() ) {
      return rc;
   }
   rc = KARVEL_SDK_CALL( trace, bcm_field_entry_policer_attach,
         ( of.group->sdkUnit(), held.entry.sdkId(), policerLevel, policer ) );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      held.policer = policerId;
   }
   // The entry counts once for each policer that it has or is installed with.
   if ( rc != Sdk::QX_BCM_E_NONE() || policerId == held.installedPolicer ) {
      of.policers->release( policerId );
   }
   return rc;
}

Rc BoundedEntryManager::detachPolicer( uint32_t unit, EntryId entryId ) {
   Unit& of = unitOf( unit );
   const RefusalNote note( of.group->lastRefusal() );
   Held* const held = find( of, entryId );
   return held ? detach( of, *held ) : Sdk::QX_BCM_E_NOT_FOUND();
}

Rc BoundedEntryManager::detach( Unit& of, Held& held ) {
   if ( held.policer == 0 ) {
      return Sdk::QX_BCM_E_NONE();
   }
   const Rc rc = KARVEL_SDK_CALL( trace, bcm_field_entry_policer_detach,
         ( of.group->sdkUnit(), held.entry.sdkId(), policerLevel ) );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      const uint32_t before = std::exchange( held.policer, 0 );
      if ( before != held.installedPolicer ) {
         of.policers->release( before );
      }
   }
   return rc;
}

Rc BoundedEntryManager::installEntry( uint32_t unit, EntryId entryId ) {
   Unit& of = unitOf( unit );
   const RefusalNote note( of.group->lastRefusal() );
   Held* const held = find( of, entryId );
   if ( !held ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   const Rc rc = KARVEL_SDK_CALL(
         trace, bcm_field_entry_install, ( of.group->sdkUnit(), held->entry.sdkId() ) );
   if ( rc == Sdk::QX_BCM_E_NONE() && held->installedPolicer != held->policer ) {
      const uint32_t before = std::exchange( held->installedPolicer, held->policer );
      if ( before != 0 ) {
         of.policers->release( before );
      }
   }
   return rc;
}

Rc BoundedEntryManager::releaseEntry( uint32_t unit, EntryId entryId ) {
   Unit& of = unitOf( unit );
   const RefusalNote note( of.group->lastRefusal() );
   const auto at = of.entries.find( entryId );
   if ( at == of.entries.end() ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   const Held released = at->second;
   of.entries.erase( at );
   destroy( of, released );
   return Sdk::QX_BCM_E_NONE();
}

void BoundedEntryManager::destroy( Unit& of, const Held& held ) {
   if ( of.group->entryDel( held.entry ) != Sdk::QX_BCM_E_NONE() ) {
      of.group->leftoverIs( held.entry );
   }
   if ( held.policer != 0 ) {
      of.policers->release( held.policer );
   }
   if ( held.installedPolicer != 0 && held.installedPolicer != held.policer ) {
      of.policers->release( held.installedPolicer );
   }
}

void BoundedEntryManager::lastRelease() {
   for ( auto& [ unit, of ] : units_ ) {
      for ( const auto& [ id, held ] : std::exchange( of.entries, {} ) ) {
         destroy( of, held );
      }
   }
   units_.clear();
}

ZOL_DEFINE_ENTITY( BoundedEntryManager );

} // namespace AgentServices
