#pragma once

// For tests of the ACL helper: a chip of the model with the agent's services on it, ACLs that
// mirror what they permit, and frames to try them with.

#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "AgentServices/EmbeddedAclHelper.h"
#include "Platform/Karvel/SdkCall.h"
#include "Tests/ChipBed.h"
#include "Tests/Packet.h"

namespace AgentServices::Test {

using ChipModel::Fault;
using ChipModel::SdkCall;
using Ixo::AclCreateError;
using Karvel::KarvelAclFeature;
using Shim::Sdk;
using AclPtr = Zol::Ptr< Karvel::KarvelAclData >;

inline constexpr AclCreateError ok = AclCreateError::aclCreateErrorNone;
inline constexpr AclCreateError full = AclCreateError::aclCreateErrorTcamFull;
inline constexpr AclCreateError hardware = AclCreateError::aclCreateErrorHardware;

inline Plix::IntfId intf( int port, uint16_t vlanId = 0 ) {
   return Plix::IntfId( "Ethernet" + std::to_string( port ), vlanId );
}
inline Ixo::IxoPortList intfs( std::initializer_list< Plix::IntfId > members ) {
   Ixo::IxoPortList list;
   for ( const Plix::IntfId& member : members ) {
      list.intfIs( member );
   }
   return list;
}
template < typename Fill >
Acl::RuleConfig ipRule( Acl::RuleAction action, Fill fill ) {
   Acl::IpFilter filter;
   fill( filter );
   Acl::RuleConfig rule;
   rule.actionIs( action );
   rule.ipIs( filter );
   return rule;
}
inline Zol::String ruleName( uint32_t rule ) { return "session acl|" + std::to_string( rule ); }

using Frames::Bytes;
using Frames::operator+;

class AclBed : public ChipBed, public ChipModel::FrameSink {
 protected:
   explicit AclBed( std::string_view profileName = "trident3" ) : ChipBed( profileName ) {
      Karvel::sdkErrorStreamIs( &errors_ );
      box.control().sinkIs( this );
      for ( int port = 1; port <= profile.ports; ++port ) {
         common->chipPortIs( port );
         common->intfToPortIs( intf( port ).port(), Karvel::SysPort( 0, port ) );
         box.sdk().bcm_port_enable_set( 0, port, true );
      }
      for ( int destination = 0; destination < 4; ++destination ) {
         box.sdk().bcm_mirror_destination_set(
               0, destination, { Shim::MirrorDestination::Kind::port, 50 + destination } );
      }
      helper = Zol::make< EmbeddedAclHelper >( groups );
      helper->unitIs( 0, common );
      emptyChip = chip();
   }
   ~AclBed() override {
      gate().observerIs( {} );
      gate().faultsDelAll();
      helper = nullptr;
      Karvel::sdkErrorStreamIs( nullptr );
   }

   // --- Building ---------------------------------------------------------------------------
   AclPtr acl( const Zol::String& name, Acl::AclType type = Acl::ip(), uint8_t feature = 1 ) {
      return helper->karvelAclDataNew( Ixo::AclKey( name, type ), KarvelAclFeature( feature ) );
   }
   AclCreateError add( const AclPtr& to, uint32_t ruleNum, const Acl::RuleConfig& rule,
         uint32_t subRule = 0 ) {
      const Acl::AclType type = to->aclKey().aclType();
      const Zol::String name = ruleName( ruleNum );
      if ( type == Acl::mac() ) {
         return helper->createMacAclRule( *to, 0, ruleNum, subRule, rule, name );
      }
      return helper->createIpAclRule( *to, 0, ruleNum, subRule,
            helper->createIpAclRuleData( type, rule, rule.ip().ecn(), rule.ip().ecnMask() ),
            name );
   }
   // Lets the entries copy what they permit to destination 0, and drop nothing.
   void mirror( const AclPtr& of ) {
      uint32_t ignored = 0;
      for ( const Karvel::AclEntry& entry : of->unitDataIs( 0U )->entries().all() ) {
         const int id = static_cast< int >( entry.key() );
         Sdk& sdk = box.sdk();
         const bool drops = sdk.bcm_field_action_get(
                                  0, id, Shim::FieldAction::drop, &ignored, &ignored ) == 0;
         EXPECT_EQ( sdk.bcm_field_action_remove_all( 0, id ), 0 );
         EXPECT_EQ( sdk.bcm_field_qualifier_delete( 0, id, Shim::Qualifier::dstClassL2 ), 0 );
         if ( !drops ) {
            EXPECT_EQ(
                  sdk.bcm_field_action_add( 0, id, Shim::FieldAction::mirrorIngressTo, 0, 0 ),
                  0 );
         }
      }
   }
   AclCreateError updatePorts( const AclPtr& of, const Ixo::IxoPortList& ports ) {
      of->unitDataIs( 0U )->sessionSrcIntfListIs( ports );
      return helper->updateAclPortsInUnits( *of );
   }
   // On these interfaces, and on the chip.
   AclCreateError apply( const AclPtr& of, const Ixo::IxoPortList& ports ) {
      const AclCreateError error = updatePorts( of, ports );
      return error == ok ? helper->commitAcl( *of, 0 ) : error;
   }
   // The same in one.
   AclPtr mirroringAcl( const Zol::String& name, const std::vector< Acl::RuleConfig >& rules,
         const Ixo::IxoPortList& ports, Acl::AclType type = Acl::ip() ) {
      const AclPtr made = acl( name, type );
      for ( uint32_t i = 0; i < rules.size(); ++i ) {
         EXPECT_EQ( add( made, i, rules[ i ] ), ok );
      }
      mirror( made );
      EXPECT_EQ( apply( made, ports ), ok );
      return made;
   }

   // --- Trying -----------------------------------------------------------------------------
   bool isMirrored( int port, const Bytes& frame ) {
      isCopied_ = false;
      const auto error = box.control().inject(
            0, port, { 0, frame.data(), static_cast< uint32_t >( frame.size() ), 0 } );
      EXPECT_EQ( error, std::nullopt );
      return isCopied_;
   }
   void sent( const ChipModel::SentFrame& out ) override {
      isCopied_ = isCopied_ || out.kind == ChipModel::CopyKind::ingressMirror;
   }

   // --- The chip ---------------------------------------------------------------------------
   // After what was refused has been tried again.
   Strings remainsInTheEnd() {
      Zol::activityManager().advance( 3 );
      return remains();
   }
   int rangeCheckersUsed() { return static_cast< int >( chip().ranges.size() ); }
   size_t installed() { return entries().size(); }

   Zol::Ptr< Karvel::KarvelCommonSmData > common = Zol::make< Karvel::KarvelCommonSmData >();
   Zol::Ptr< EmbeddedAclHelper > helper;

 private:
   bool isCopied_ = false;
   std::ostringstream errors_; // of refused calls, which the tests bring about by the hundred
};

} // namespace AgentServices::Test
