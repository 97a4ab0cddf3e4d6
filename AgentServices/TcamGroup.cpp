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

// Of destination 0. The higher destinations follow: each group answers for itself, so this
// decides in which order copies are listed, not which are made.
constexpr int firstPriority = 100;

// Destroying what is not there (any more) has come to the right end.
Rc destroyed( Rc rc ) {
   return rc == Sdk::QX_BCM_E_NOT_FOUND() ? Sdk::QX_BCM_E_NONE() : rc;
}

Shim::QualifierSet groupQualifiers( bool aclGroup ) {
   using Shim::Qualifier;
   Shim::QualifierSet result;
   for ( const Qualifier qualifier :
         { aclGroup ? Qualifier::portClass : Qualifier::inPorts, Qualifier::dstPort,
               Qualifier::dstTrunk, Qualifier::drop, Qualifier::outerVlanId } ) {
      result.set( static_cast< size_t >( qualifier ) );
   }
   return result;
}

} // namespace

TcamStatus tcamStatus( Rc rc ) {
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      return TcamStatus::success;
   }
   const bool full = rc == Sdk::QX_BCM_E_RESOURCE() || rc == Sdk::QX_BCM_E_FULL();
   return full ? TcamStatus::exhausted : TcamStatus::failed;
}

TcamGroup::TcamGroup(
      uint32_t unit, KarvelMirror::Mtp mtp, Zol::Ptr< PortClassManager > classes )
      : unit_( unit ), mtp_( mtp ), classes_( std::move( classes ) ) {}

TcamStatus TcamGroup::contentsIs( const Karvel::MirroringAclGroup& wanted ) {
   ZOL_ASSERT( wanted.mtp == mtp_ );
   const bool isWanted = wanted.type >= 0;
   if ( isWanted && contents_ == wanted ) {
      return TcamStatus::success;
   }
   ZOL_ASSERT( entries_ == 0 );
   Rc rc = groupDestroy();
   if ( rc == Sdk::QX_BCM_E_NONE() && isWanted ) {
      rc = groupCreate();
   } else if ( rc == Sdk::QX_BCM_E_BUSY() && isWanted && leftovers_.empty() ) {
      // A create that the chip did but reported as failed left an entry that nobody can
      // name. It is not installed, and all our groups are alike: this one serves on.
      rc = Sdk::QX_BCM_E_NONE();
   }
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      contents_ = wanted;
   }
   return tcamStatus( rc );
}

Rc TcamGroup::groupCreate() {
   const int priority = firstPriority - mtp_.value();
   const Shim::QualifierSet qualifiers = groupQualifiers( classes_.get() != nullptr );
   int group = 0;
   const Rc rc = KARVEL_SDK_CALL( trace, bcm_field_group_create,
         ( sdkUnit(), Shim::FieldStage::ingress, qualifiers, priority, &group ) );
   hardwareGroup_ = group;
   return rc;
}

Rc TcamGroup::groupDestroy() {
   contents_ = {};
   std::erase_if( leftovers_, [ this ]( const TcamEntry& entry ) {
      return destroy( entry ) == Sdk::QX_BCM_E_NONE();
   } );
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
   if ( hardwareGroup_ == 0 ) {
      return { TcamStatus::failed, 0 };
   }
   int id = 0;
   Rc rc = KARVEL_SDK_CALL(
         trace, bcm_field_entry_create, ( sdkUnit(), hardwareGroup_, &id ) );
   if ( rc != Sdk::QX_BCM_E_NONE() ) {
      return { tcamStatus( rc ), 0 };
   }
   const TcamEntry created{ .id = static_cast< Karvel::EntryId >( id ) };
   ++entries_;
   rc = KARVEL_SDK_CALL( trace, bcm_field_entry_name_set, ( sdkUnit(), id, name.c_str() ) );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      return { TcamStatus::success, created.id };
   }
   if ( entryDel( created ) != Sdk::QX_BCM_E_NONE() ) {
      leftoverIs( created );
   }
   return { tcamStatus( rc ), 0 };
}

Rc TcamGroup::entryDel( const TcamEntry& entry ) {
   const Rc rc = destroy( entry );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      --entries_;
   }
   return rc;
}

void TcamGroup::leftoverIs( const TcamEntry& entry ) {
   --entries_;
   leftovers_.push_back( entry );
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

void TcamGroup::managerArrived() {
   ZOL_ASSERT( !hasManager_ );
   hasManager_ = true;
}

void TcamGroup::managerGone() {
   hasManager_ = false;
   ZOL_ASSERT( entries_ == 0 );
   groupDestroy();
}

void TcamGroup::lastRelease() { groupDestroy(); }

} // namespace AgentServices
