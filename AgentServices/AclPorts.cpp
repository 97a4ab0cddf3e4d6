#include "AgentServices/AclPorts.h"

#include <bit>

#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Plix::IntfId;
using Shim::PortBitmap;
using Shim::Rc;
using Shim::Sdk;

uint32_t AclPorts::scopeOf( uint32_t subRule, const Zol::Set< IntfId >& ruleIntf ) {
   const Zol::Set< IntfId >* kept = nullptr;
   if ( !ruleIntf.empty() ) {
      // Neighbouring rules mostly have the same interfaces.
      if ( !lastRuleIntf_ || !( *lastRuleIntf_ == ruleIntf ) ) {
         lastRuleIntf_ = &*ruleIntfs_.insert( ruleIntf ).first;
      }
      kept = lastRuleIntf_;
   }
   const auto [ at, isNew ] =
         numbers_.try_emplace( { subRule, kept }, static_cast< uint32_t >( scopes_.size() ) );
   if ( isNew ) {
      PortScope& scope = scopes_.emplace_back();
      scope.subRule = subRule;
      scope.ruleIntf = kept;
   }
   return at->second;
}

void AclPorts::addPort( const IntfId& intf, PortBitmap& ports ) const {
   if ( !KarvelTcam::intfToPortHas( common_, intf ) ) {
      return;
   }
   const Karvel::SysPort port = KarvelTcam::intfToPort( common_, intf );
   if ( port.unit() == unit_ ) {
      ports.set( static_cast< size_t >( port.port() ) );
   }
}

void AclPorts::wantedIs( const Karvel::KarvelAclUnitData& unitData ) {
   PortBitmap whole;
   for ( const IntfId& intf : unitData.sessionSrcIntfList().intf() ) {
      addPort( intf, whole );
   }
   VlanPorts byVlan;
   for ( const IntfId& intf : unitData.sessionSrcSubIntfList().intf() ) {
      addPort( intf, byVlan[ intf.vlanId() ] );
   }
   for ( PortScope& scope : scopes_ ) {
      scope.wanted = wantedPorts( scope, unitData, whole, byVlan );
   }
}

PortBitmap AclPorts::wantedPorts( const PortScope& scope,
      const Karvel::KarvelAclUnitData& unitData, const PortBitmap& whole,
      const VlanPorts& byVlan ) const {
   PortBitmap result;
   if ( scope.subRule == 0 ) {
      if ( !scope.ruleIntf ) {
         return whole;
      }
      for ( const IntfId& intf : *scope.ruleIntf ) {
         if ( unitData.sessionSrcIntfList().intfHas( intf ) ) {
            addPort( intf, result );
         }
      }
      return result;
   }
   if ( !unitData.sessionSrcSubIntfEntriesHas( scope.subRule ) ) {
      return result;
   }
   const uint16_t vlanId = unitData.sessionSrcSubIntfEntries( scope.subRule );
   if ( !scope.ruleIntf ) {
      const auto at = byVlan.find( vlanId );
      return at == byVlan.end() ? result : at->second;
   }
   for ( const IntfId& intf : *scope.ruleIntf ) {
      if ( intf.vlanId() == vlanId && unitData.sessionSrcSubIntfList().intfHas( intf ) ) {
         addPort( intf, result );
      }
   }
   return result;
}

Rc AclPorts::prepare() {
   for ( PortScope& scope : scopes_ ) {
      const Rc rc = prepare( scope );
      if ( rc != Sdk::QX_BCM_E_NONE() ) {
         return rc;
      }
   }
   return Sdk::QX_BCM_E_NONE();
}

Rc AclPorts::prepare( PortScope& scope ) {
   if ( scope.ports == scope.wanted ) {
      return Sdk::QX_BCM_E_NONE();
   }
   uint32_t bit = 0;
   if ( classes_ && scope.wanted.any() ) {
      const PortClass wanted = classes_->acquire( scope.wanted, Karvel::ClassSharing::shared );
      if ( wanted.rc != Sdk::QX_BCM_E_NONE() ) {
         return wanted.rc;
      }
      bit = wanted.bit;
      if ( ( scope.heldBits & bit ) != 0 ) {
         classes_->release( bit );
      }
      scope.heldBits |= bit;
   }
   scope.ports = scope.wanted;
   scope.classBit = bit;
   ++scope.version;
   if ( scope.installed.none() ) {
      releaseAllBut( bit, scope );
   }
   return Sdk::QX_BCM_E_NONE();
}

void AclPorts::installed() {
   for ( PortScope& scope : scopes_ ) {
      scope.installed = scope.ports;
      releaseAllBut( scope.classBit, scope );
   }
}

void AclPorts::maybeInstalled() {
   for ( PortScope& scope : scopes_ ) {
      scope.installed |= scope.ports;
   }
}

void AclPorts::notInstalled() {
   for ( PortScope& scope : scopes_ ) {
      scope.installed.reset();
      releaseAllBut( scope.classBit, scope );
   }
}

void AclPorts::release() {
   for ( PortScope& scope : scopes_ ) {
      releaseAllBut( 0, scope );
   }
}

void AclPorts::releaseAllBut( uint32_t bits, PortScope& scope ) {
   for ( uint32_t left = scope.heldBits & ~bits; left != 0; left &= left - 1 ) {
      classes_->release( 1U << std::countr_zero( left ) );
   }
   scope.heldBits &= bits;
}

} // namespace AgentServices
