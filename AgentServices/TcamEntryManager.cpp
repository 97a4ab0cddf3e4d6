#include "AgentServices/TcamEntryManager.h"

#include <utility>

#include "Platform/Karvel/SdkCall.h"
#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Karvel::EntryId;
using Karvel::TcamStatus;
using Shim::Rc;
using Shim::Sdk;

namespace {

Duolog::Handle trace( "TcamEntryManager" );

// The chip's ids are positive as its SDK's integers; numbers that stand for no entry follow.
constexpr EntryId firstNumber = 1U << 31;

bool isNumber( EntryId id ) { return id >= firstNumber; }

} // namespace

TcamEntryManager::TcamEntryManager( Zol::Ptr< TcamGroup > group, EntriesOfAcls ofAcls )
      : group_( std::move( group ) ), ofAcls_( ofAcls ), nextNumber_( firstNumber ) {
   group_->managerArrived( *this );
}

Karvel::TcamEntryResult TcamEntryManager::getEntry(
      uint32_t unit, const Zol::String& name, const Karvel::TcamRequestKey& key ) {
   ZOL_ASSERT( unit == group_->unit() );
   const RefusalNote note( group_->lastRefusal() );
   TcamEntryTable::Key kept = entries_.keep( key );
   if ( const TcamEntry* held = entries_.find( kept ) ) {
      return { TcamStatus::success, held->id };
   }
   const bool isOfAcl = !key.aclName().empty() && ofAcls_ == EntriesOfAcls::numbers;
   const Karvel::TcamEntryResult result = isOfAcl
         ? Karvel::TcamEntryResult{ TcamStatus::success, nextNumber_++ }
         : group_->entryNew( name );
   if ( result.status == TcamStatus::success ) {
      entries_.insert( std::move( kept ), { .id = result.entryId } );
   }
   return result;
}

// Null if there is no such entry in the chip.
TcamEntry* TcamEntryManager::find( EntryId entryId ) {
   return isNumber( entryId ) ? nullptr : entries_.find( entryId );
}

bool TcamEntryManager::supportsAclGroup() const { return group_->classes() != nullptr; }

Rc TcamEntryManager::qualifyPortsClassId( uint32_t unit, EntryId entryId,
      const Shim::PortBitmap& ports, Karvel::ClassSharing sharing ) {
   ZOL_ASSERT( unit == group_->unit() );
   const RefusalNote note( group_->lastRefusal() );
   TcamEntry* const found = find( entryId );
   if ( !found ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   if ( !supportsAclGroup() ) {
      return Sdk::QX_BCM_E_UNAVAIL();
   }
   const PortClass wanted = group_->classes()->acquire( ports, sharing );
   if ( wanted.rc != Sdk::QX_BCM_E_NONE() ) {
      return wanted.rc;
   }
   const Rc rc = KARVEL_SDK_CALL( trace, bcm_field_qualify_PortClass,
         ( group_->sdkUnit(), found->sdkId(), wanted.bit, wanted.bit ) );
   if ( rc != Sdk::QX_BCM_E_NONE() ) {
      group_->classes()->release( wanted.bit );
      return rc;
   }
   // The entry counts once for each bit that it is qualified or installed with.
   const uint32_t before = std::exchange( found->classBit, wanted.bit );
   if ( before != 0 && before != found->installedClassBit ) {
      group_->classes()->release( before );
   }
   if ( wanted.bit == found->installedClassBit ) {
      group_->classes()->release( wanted.bit );
   }
   return rc;
}

Rc TcamEntryManager::addInPortsForEntry( uint32_t ofUnit, EntryId id,
      const Shim::PortBitmap& pbmp, const Shim::PortBitmap& mask ) {
   ZOL_ASSERT( ofUnit == group_->unit() );
   const RefusalNote note( group_->lastRefusal() );
   const TcamEntry* const found = find( id );
   if ( !found ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   const int entryId = found->sdkId();
   return KARVEL_SDK_CALL( trace, bcm_field_qualify_InPorts, ( unit(), entryId, pbmp, mask ) );
}

Rc TcamEntryManager::installEntry( uint32_t unit, EntryId entryId ) {
   ZOL_ASSERT( unit == group_->unit() );
   const RefusalNote note( group_->lastRefusal() );
   TcamEntry* const found = find( entryId );
   if ( !found ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   const Rc rc = KARVEL_SDK_CALL(
         trace, bcm_field_entry_install, ( group_->sdkUnit(), found->sdkId() ) );
   if ( rc == Sdk::QX_BCM_E_NONE() && found->installedClassBit != found->classBit ) {
      const uint32_t before = std::exchange( found->installedClassBit, found->classBit );
      if ( before != 0 ) {
         group_->classes()->release( before );
      }
   }
   return rc;
}

Rc TcamEntryManager::uninstallEntry( uint32_t unit, EntryId entryId ) {
   ZOL_ASSERT( unit == group_->unit() );
   const RefusalNote note( group_->lastRefusal() );
   TcamEntry* const found = find( entryId );
   if ( !found ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   const Rc rc = KARVEL_SDK_CALL_AS(
         quiet, trace, bcm_field_entry_remove, ( group_->sdkUnit(), found->sdkId() ) );
   if ( rc != Sdk::QX_BCM_E_NONE() && rc != Sdk::QX_BCM_E_NOT_FOUND() ) {
      Karvel::reportSdkError( trace, "bcm_field_entry_remove", rc );
      return rc;
   }
   const uint32_t before = std::exchange( found->installedClassBit, 0 );
   if ( before != 0 && before != found->classBit ) {
      group_->classes()->release( before );
   }
   return Sdk::QX_BCM_E_NONE();
}

Rc TcamEntryManager::releaseEntry( uint32_t unit, EntryId entryId ) {
   ZOL_ASSERT( unit == group_->unit() );
   const RefusalNote note( group_->lastRefusal() );
   const TcamEntry* const found = entries_.find( entryId );
   if ( !found ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   const TcamEntry released = *found;
   entries_.erase( entryId );
   if ( isNumber( entryId ) ) {
      return Sdk::QX_BCM_E_NONE();
   }
   const Rc rc = group_->entryDel( released );
   if ( rc != Sdk::QX_BCM_E_NONE() ) {
      group_->leftoverIs( released );
   }
   return rc;
}

void TcamEntryManager::lastRelease() {
   entries_.forEach( [ this ]( const TcamEntry& held ) {
      if ( !isNumber( held.id ) && group_->entryDel( held ) != Sdk::QX_BCM_E_NONE() ) {
         group_->leftoverIs( held );
      }
   } );
   entries_ = {};
   group_->managerGone();
}

ZOL_DEFINE_ENTITY( TcamEntryManager );

} // namespace AgentServices
