#include "AgentServices/TcamGroup.h"

#include <algorithm>
#include <utility>

#include "Platform/Karvel/SdkCall.h"
#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Karvel::TcamStatus;
using Shim::Rc;
using Shim::Sdk;

namespace {

Duolog::Handle trace( "TcamGroup" );

constexpr Zol::Seconds tidyInterval = 1; // until a refused call is tried again

// E_NOT_FOUND from a destroy counts as success.
Rc destroyed( Rc rc ) { return rc == Sdk::QX_BCM_E_NOT_FOUND() ? Sdk::QX_BCM_E_NONE() : rc; }

} // namespace

TcamStatus tcamStatus( Rc rc ) {
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      return TcamStatus::success;
   }
   const bool full = rc == Sdk::QX_BCM_E_RESOURCE() || rc == Sdk::QX_BCM_E_FULL();
   return full ? TcamStatus::exhausted : TcamStatus::failed;
}

Shim::QualifierSet qualifierSet( std::initializer_list< Shim::Qualifier > qualifiers ) {
   Shim::QualifierSet result;
   for ( const Shim::Qualifier qualifier : qualifiers ) {
      result.set( static_cast< size_t >( qualifier ) );
   }
   return result;
}

TcamGroup::TcamGroup( uint32_t unit, const GroupPurpose& purpose, GroupLife life,
      Zol::Ptr< PortClassManager > classes )
      : unit_( unit ), purpose_( purpose ), life_( life ), classes_( std::move( classes ) ),
        tidyClock_( *this, [ this ] { tidy(); } ) {}

TcamStatus TcamGroup::renew() {
   Rc rc = takeAway();
   if ( rc == Sdk::QX_BCM_E_BUSY() ) {
      // An entry that nobody can name is not installed: the hardware group can serve on.
      rc = Sdk::QX_BCM_E_NONE();
   } else if ( rc == Sdk::QX_BCM_E_NONE() && life_ == GroupLife::asTold ) {
      rc = groupCreate();
   }
   isWanted_ = rc == Sdk::QX_BCM_E_NONE();
   return tcamStatus( rc );
}

Rc TcamGroup::takeAway() {
   ZOL_ASSERT( entries_ == 0 );
   isWanted_ = false;
   return groupDestroy();
}

Rc TcamGroup::groupCreate() {
   const Shim::QualifierSet qualifiers = purpose_.qualifiers;
   const int priority = purpose_.priority;
   const Shim::FieldStage stage = purpose_.stage;
   int group = 0;
   const Rc rc = KARVEL_SDK_CALL(
         trace, bcm_field_group_create, ( sdkUnit(), stage, qualifiers, priority, &group ) );
   hardwareGroup_ = group;
   return rc;
}

Rc TcamGroup::groupDestroy() {
   destroyLeftovers();
   return leftovers_.empty() ? hardwareGroupDestroy() : Sdk::QX_BCM_E_FAIL();
}

Rc TcamGroup::hardwareGroupDestroy() {
   if ( hardwareGroup_ == 0 ) {
      return Sdk::QX_BCM_E_NONE();
   }
   const Rc rc = destroyed(
         KARVEL_SDK_CALL( trace, bcm_field_group_destroy, ( sdkUnit(), hardwareGroup_ ) ) );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      hardwareGroup_ = 0;
   }
   return rc;
}

Karvel::TcamEntryResult TcamGroup::entryNew( const Zol::String& name ) {
   if ( !isWanted_ ) {
      return { TcamStatus::failed, 0 };
   }
   Rc rc = hardwareGroup_ == 0 ? groupCreate() : Sdk::QX_BCM_E_NONE();
   if ( rc != Sdk::QX_BCM_E_NONE() ) {
      return { tcamStatus( rc ), 0 };
   }
   int id = 0;
   rc = KARVEL_SDK_CALL( trace, bcm_field_entry_create, ( sdkUnit(), hardwareGroup_, &id ) );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      const TcamEntry created{ .id = static_cast< Karvel::EntryId >( id ) };
      if ( entries_++ == 0 ) {
         lastRefusal_.reset();
      }
      rc = KARVEL_SDK_CALL( trace, bcm_field_entry_name_set, ( sdkUnit(), id, name.c_str() ) );
      if ( rc == Sdk::QX_BCM_E_NONE() ) {
         return { TcamStatus::success, created.id };
      }
      if ( entryDel( created ) != Sdk::QX_BCM_E_NONE() ) {
         leftoverIs( created );
      }
   } else if ( entries_ == 0 && life_ == GroupLife::withEntries ) {
      groupDestroy();
   }
   return { tcamStatus( rc ), 0 };
}

Rc TcamGroup::entryDel( const TcamEntry& entry ) {
   const Rc rc = destroy( entry );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      --entries_;
      if ( entries_ == 0 && life_ == GroupLife::withEntries ) {
         groupDestroy();
      }
   }
   return rc;
}

void TcamGroup::leftoverIs( const TcamEntry& entry ) {
   --entries_;
   leftovers_.push_back( entry );
   // The entry may not be installed; removing it then does no harm.
   KARVEL_SDK_CALL_AS( quiet, trace, bcm_field_entry_remove, ( sdkUnit(), entry.sdkId() ) );
   tidyClock_.timeMinIs( Zol::activityManager().now() + tidyInterval );
}

void TcamGroup::destroyLeftovers() {
   std::erase_if( leftovers_, [ this ]( const TcamEntry& entry ) {
      return destroy( entry ) == Sdk::QX_BCM_E_NONE();
   } );
   tidyClock_.timeMinIs(
         leftovers_.empty() ? Zol::never : Zol::activityManager().now() + tidyInterval );
}

void TcamGroup::tidy() {
   destroyLeftovers();
   if ( leftovers_.empty() && entries_ == 0 && life_ == GroupLife::withEntries ) {
      hardwareGroupDestroy();
   }
}

Rc TcamGroup::destroy( const TcamEntry& entry ) {
   const Rc rc = destroyed(
         KARVEL_SDK_CALL( trace, bcm_field_entry_destroy, ( sdkUnit(), entry.sdkId() ) ) );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      if ( entry.classBit != 0 ) {
         classes_->release( entry.classBit );
      }
      if ( entry.installedClassBit != 0 && entry.installedClassBit != entry.classBit ) {
         classes_->release( entry.installedClassBit );
      }
   }
   return rc;
}

void TcamGroup::managerArrived( TcamEntryManager& manager ) {
   ZOL_ASSERT( !manager_ );
   manager_ = &manager;
}

void TcamGroup::managerGone() {
   manager_ = nullptr;
   takeAway();
}

void TcamGroup::lastRelease() { groupDestroy(); }

} // namespace AgentServices
