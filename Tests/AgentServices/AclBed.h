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
   explicit AclBed( std::string_view profileName = "trident3" );
   ~AclBed() override;

   // --- Building ---------------------------------------------------------------------------
   AclPtr acl( const Zol::String& name, Acl::AclType type = Acl::ip(), uint8_t feature = 1 ) {
      return helper->karvelAclDataNew( Ixo::AclKey( name, type ), KarvelAclFeature( feature ) );
   }
   AclCreateError add( const AclPtr& to, uint32_t ruleNum, const Acl::RuleConfig& rule,
         uint32_t subRule = 0 );
   // Lets the entries copy what they permit to a destination, and drop nothing.
   void mirror( const AclPtr& of, uint32_t destination );
   // On these interfaces, and on the chip.
   AclCreateError apply( const AclPtr& of, const Ixo::IxoPortList& ports );
   AclCreateError updatePorts( const AclPtr& of, const Ixo::IxoPortList& ports );
   // The same in one.
   AclPtr mirroringAcl( const Zol::String& name, const std::vector< Acl::RuleConfig >& rules,
         const Ixo::IxoPortList& ports, uint32_t destination = 0,
         Acl::AclType type = Acl::ip() );

   // --- Trying -----------------------------------------------------------------------------
   // The mirror destinations that get a copy, a bit each.
   uint32_t mirrored( int port, const Bytes& frame );
   void sent( const ChipModel::SentFrame& out ) override;

   // --- The chip ---------------------------------------------------------------------------
   // After what was refused has been tried again.
   Strings remainsInTheEnd();
   int rangeCheckersUsed() { return static_cast< int >( chip().ranges.size() ); }
   size_t installed() { return entries().size(); }

   Zol::Ptr< Karvel::KarvelCommonSmData > common = Zol::make< Karvel::KarvelCommonSmData >();
   Zol::Ptr< EmbeddedAclHelper > helper;

 private:
   uint32_t copies_ = 0;
   std::ostringstream errors_; // of refused calls, which the tests bring about by the hundred
};

class AclBedWithoutClasses : public AclBed {
 protected:
   AclBedWithoutClasses() : AclBed( "trident2" ) {}
};

} // namespace AgentServices::Test
