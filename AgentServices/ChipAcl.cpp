#include "AgentServices/ChipAcl.h"

#include <algorithm>

#include "AgentServices/AclResources.h"
#include "Platform/Karvel/SdkCall.h"
#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Ixo::AclCreateError;
using Shim::Rc;
using Shim::Sdk;

namespace {

Duolog::Handle trace( "ChipAcl" );

} // namespace

AclCreateError aclError( Karvel::TcamStatus status ) {
   switch ( status ) {
   case Karvel::TcamStatus::success:
      return AclCreateError::aclCreateErrorNone;
   case Karvel::TcamStatus::exhausted:
      return AclCreateError::aclCreateErrorTcamFull;
   case Karvel::TcamStatus::failed:
      return AclCreateError::aclCreateErrorHardware;
   }
   ZOL_ASSERT( false && "no such status" );
}

ChipAcl::ChipAcl(
      AclResources& resources, const Ixo::AclKey& key, Karvel::KarvelAclFeature feature )
      : resources_( resources ), type_( key.aclType() ),
        group_( resources.group( key.aclType(), feature ) ),
        ports_( resources.unit(), resources.common(), resources.classes() ),
        checkers_( resources.checkers() ) {}

// --- Rules ---------------------------------------------------------------------------------

AclCreateError ChipAcl::ipRule( uint32_t ruleNum, uint32_t subRuleNum,
      const Karvel::IpAclRuleData& rule, const Zol::String& name, Karvel::AclEntryList& list ) {
   ZOL_ASSERT( rule.aclType == type_ );
   const Number number{ ruleNum, subRuleNum };
   const Mark before = start( number );
   const uint32_t scope = ports_.scopeOf( subRuleNum, rule.intf );
   const Layer4Plan plan( rule.filter, checkers_ );
   AclCreateError error = Ixo::aclCreateErrorNone();
   for ( const PortPrefix& source : plan.source().prefixes() ) {
      for ( const PortPrefix& destination : plan.destination().prefixes() ) {
         if ( error == Ixo::aclCreateErrorNone() ) {
            error = entryNew( scope, name, [ & ]( AclEntryWriter& entry ) {
               entry.rule( ruleNum, rule.action );
               entry.ip( rule, plan, source, destination );
            } );
         }
      }
   }
   return finish( before, number, error, list );
}

AclCreateError ChipAcl::macRule( uint32_t ruleNum, uint32_t subRuleNum,
      const Acl::RuleConfig& rule, const Zol::String& name, Karvel::AclEntryList& list ) {
   ZOL_ASSERT( type_ == Acl::mac() );
   const Number number{ ruleNum, subRuleNum };
   const Mark before = start( number );
   const uint32_t scope = ports_.scopeOf( subRuleNum, rule.intf() );
   const AclCreateError error = entryNew( scope, name, [ & ]( AclEntryWriter& entry ) {
      entry.rule( ruleNum, rule.action() );
      entry.mac( rule.mac() );
   } );
   return finish( before, number, error, list );
}

ChipAcl::Mark ChipAcl::start( const Number& number ) const {
   ZOL_ASSERT( number >= last_ && "rules come in order" );
   return { entries_.size(), checkers_.count() };
}

template < typename Write >
AclCreateError ChipAcl::entryNew( uint32_t scope, const Zol::String& name, Write write ) {
   const Karvel::TcamEntryResult result = group_->entryNew( name );
   if ( result.status != Karvel::TcamStatus::success ) {
      return aclError( result.status );
   }
   entries_.push_back( { .id = result.entryId, .scope = scope } );
   AclEntryWriter writer( resources_.unit(), result.entryId );
   write( writer );
   return aclError( writer.rc() );
}

AclCreateError ChipAcl::finish( const Mark& before, const Number& number, AclCreateError error,
      Karvel::AclEntryList& list ) {
   if ( error != Ixo::aclCreateErrorNone() ) {
      takeBack( before );
      return error;
   }
   for ( size_t i = before.entries; i < entries_.size(); ++i ) {
      list.add( { entries_[ i ].id, number.rule, number.subRule } );
   }
   last_ = number;
   return error;
}

// Entries that are taken back are not installed, so one that the chip keeps harms nobody.
void ChipAcl::takeBack( const Mark& before ) {
   while ( entries_.size() > before.entries ) {
      const TcamEntry entry{ .id = entries_.back().id };
      if ( group_->entryDel( entry ) != Sdk::QX_BCM_E_NONE() ) {
         group_->leftoverIs( entry );
      }
      entries_.pop_back();
   }
   checkers_.releaseDownTo( before.checkers );
}

// --- Ports ---------------------------------------------------------------------------------

AclCreateError ChipAcl::portsAre( const Karvel::KarvelAclUnitData& unitData ) {
   ports_.wantedIs( unitData );
   return aclError( qualify() );
}

// Entries whose scope has no ports are left alone: they are not installed.
Rc ChipAcl::qualify() {
   Rc rc = ports_.prepare();
   const Shim::PortBitmap all = KarvelTcam::getPbmpAll( resources_.common() );
   for ( Entry& entry : entries_ ) {
      const PortScope& scope = ports_[ entry.scope ];
      if ( rc == Sdk::QX_BCM_E_NONE() && entry.version != scope.version && scope.ports.any() ) {
         rc = resources_.classes() ? qualifyClass( entry, scope.classBit )
                                   : qualifyPorts( entry, scope.ports, all );
         entry.version = rc == Sdk::QX_BCM_E_NONE() ? scope.version : 0;
      }
   }
   return rc;
}

Rc ChipAcl::qualifyClass( const Entry& entry, uint32_t bit ) {
   const int unit = resources_.sdkUnit();
   return KARVEL_SDK_CALL(
         trace, bcm_field_qualify_PortClass, ( unit, entry.sdkId(), bit, bit ) );
}

Rc ChipAcl::qualifyPorts(
      const Entry& entry, const Shim::PortBitmap& pbmp, const Shim::PortBitmap& mask ) {
   const int unit = resources_.sdkUnit();
   return KARVEL_SDK_CALL(
         trace, bcm_field_qualify_InPorts, ( unit, entry.sdkId(), pbmp, mask ) );
}

// --- On the chip ---------------------------------------------------------------------------

AclCreateError ChipAcl::commit() {
   Rc rc = qualify(); // completes what a refused update left
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      rc = install();
   }
   if ( rc != Sdk::QX_BCM_E_NONE() ) {
      uninstallAll();
   } else {
      ports_.installed();
   }
   return aclError( rc );
}

// From the first to the last, rules take up a port that the ACL gains; from the last to the
// first, they give up a port that it loses. So at any time the rules that match a port are the
// beginning of the ACL, and none matches without those before it that shield traffic from it.
Rc ChipAcl::install() {
   bool gains = false;
   size_t firstLosing = entries_.size();
   for ( size_t i = entries_.size(); i-- > 0; ) {
      const PortScope& scope = ports_[ entries_[ i ].scope ];
      gains = gains || ( entries_[ i ].isInstalled ? scope.gains() : scope.ports.any() );
      if ( entries_[ i ].isInstalled && scope.loses() ) {
         firstLosing = i;
      }
   }
   Rc rc = dropLostPorts( firstLosing, gains );
   for ( Entry& entry : entries_ ) {
      if ( rc == Sdk::QX_BCM_E_NONE() && ports_[ entry.scope ].ports.any() ) {
         rc = install( entry );
      }
   }
   return rc;
}

// An entry cannot give up ports in one order and take up others in the opposite one. So where
// both are to be done, it and all behind it leave the chip in between.
Rc ChipAcl::dropLostPorts( size_t first, bool gains ) {
   Rc rc = Sdk::QX_BCM_E_NONE();
   for ( size_t i = entries_.size(); i-- > first; ) {
      Entry& entry = entries_[ i ];
      const PortScope& scope = ports_[ entry.scope ];
      if ( rc != Sdk::QX_BCM_E_NONE() || !entry.isInstalled ) {
         continue;
      }
      if ( gains || scope.ports.none() ) {
         rc = uninstall( entry );
      } else if ( scope.loses() ) {
         rc = install( entry );
      }
   }
   return rc;
}

Rc ChipAcl::install( Entry& entry ) {
   const int unit = resources_.sdkUnit();
   entry.isInstalled = true; // also if the chip refuses: it may have done it all the same
   return KARVEL_SDK_CALL( trace, bcm_field_entry_install, ( unit, entry.sdkId() ) );
}

Rc ChipAcl::uninstall( Entry& entry ) {
   const int unit = resources_.sdkUnit();
   const Rc rc =
         KARVEL_SDK_CALL_AS( quiet, trace, bcm_field_entry_remove, ( unit, entry.sdkId() ) );
   if ( rc == Sdk::QX_BCM_E_NONE() || rc == Sdk::QX_BCM_E_NOT_FOUND() ) {
      entry.isInstalled = false;
      return Sdk::QX_BCM_E_NONE();
   }
   Karvel::reportSdkError( trace, "bcm_field_entry_remove( unit, entry.sdkId() )", rc );
   return rc;
}

void ChipAcl::uninstallAll() {
   bool isRefused = false;
   for ( size_t i = entries_.size(); i-- > 0 && !isRefused; ) {
      if ( entries_[ i ].isInstalled ) {
         isRefused = uninstall( entries_[ i ] ) != Sdk::QX_BCM_E_NONE();
      }
   }
   isRefused ? ports_.maybeInstalled() : ports_.notInstalled();
}

bool ChipAcl::withdraw() {
   while ( !entries_.empty() ) {
      if ( group_->entryDel( { .id = entries_.back().id } ) != Sdk::QX_BCM_E_NONE() ) {
         uninstallAll(); // entries that cannot go must match no more
         return false;
      }
      entries_.pop_back();
   }
   checkers_.releaseDownTo( 0 );
   ports_.release();
   return true;
}

} // namespace AgentServices
