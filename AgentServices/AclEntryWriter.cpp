#include "AgentServices/AclEntryWriter.h"

#include <optional>

#include "Platform/Karvel/SdkCall.h"
#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Shim::bcmFieldActionDrop;
using Shim::bcmFieldIpTypeIpv4Any;
using Shim::bcmFieldIpTypeIpv6;
using Shim::FieldIpFrag;
using Shim::Qualifier;

namespace {

Duolog::Handle trace( "AclEntryWriter" );

// Of rule 0; each rule ranks one below the rule before it.
constexpr uint32_t firstPriority = 1'000'000'000;
constexpr uint32_t dstClassBits = 0x3ff;
constexpr uint32_t ecnBits = 2;
constexpr uint32_t ecnMask = 0x3;

std::optional< FieldIpFrag > chipFragment( Acl::Fragments fragments ) {
   switch ( fragments ) {
   case Acl::Fragments::any:
      return {};
   case Acl::Fragments::whole:
      return FieldIpFrag::non;
   case Acl::Fragments::wholeOrFirst:
      return FieldIpFrag::nonOrFirst;
   case Acl::Fragments::first:
      return FieldIpFrag::first;
   case Acl::Fragments::later:
      return FieldIpFrag::notFirst;
   }
   ZOL_ASSERT( false && "no such fragments" );
}

} // namespace

Shim::QualifierSet aclQualifiers( Acl::AclType type ) {
   Shim::QualifierSet result =
         qualifierSet( { Qualifier::outerVlanId, Qualifier::dstClassL2 } );
   if ( type == Acl::mac() ) {
      return result |
            qualifierSet( { Qualifier::outerVlanPriority, Qualifier::srcMac, Qualifier::dstMac,
                  Qualifier::etherType, Qualifier::mplsLabel, Qualifier::mplsInnerLabel } );
   }
   ZOL_ASSERT( type == Acl::ip() || type == Acl::ipv6() );
   result |= type == Acl::ip() ? qualifierSet( { Qualifier::srcIp, Qualifier::dstIp } )
                               : qualifierSet( { Qualifier::srcIp6, Qualifier::dstIp6 } );
   return result |
         qualifierSet( { Qualifier::ipType, Qualifier::ipProtocol, Qualifier::dscp,
               Qualifier::ipFrag, Qualifier::l4SrcPort, Qualifier::l4DstPort,
               Qualifier::tcpControl, Qualifier::icmpTypeCode, Qualifier::rangeCheck } );
}

void AclEntryWriter::rule( uint32_t ruleNum, Acl::RuleAction action ) {
   ZOL_ASSERT( ruleNum <= firstPriority );
   const int priority = static_cast< int >( firstPriority - ruleNum );
   callIf( true, [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_entry_prio_set, ( unit_, entry_, priority ) );
   } );
   callIf( true, [ & ] {
      return KARVEL_SDK_CALL(
            trace, bcm_field_qualify_DstClassL2, ( unit_, entry_, 0, dstClassBits ) );
   } );
   callIf( action == Acl::RuleAction::deny, [ & ] {
      return KARVEL_SDK_CALL(
            trace, bcm_field_action_add, ( unit_, entry_, bcmFieldActionDrop, 0, 0 ) );
   } );
}

void AclEntryWriter::ip( const Karvel::IpAclRuleData& rule, const Layer4Plan& plan,
      const PortPrefix& source, const PortPrefix& destination ) {
   const bool isIpv6 = rule.aclType == Acl::ipv6();
   const Shim::FieldIpType ipType = isIpv6 ? bcmFieldIpTypeIpv6 : bcmFieldIpTypeIpv4Any;
   callIf( true, [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_IpType, ( unit_, entry_, ipType ) );
   } );
   outerVlan( rule.filter.vlanId(), rule.filter.vlanIdMask() );
   isIpv6 ? addresses6( rule.filter ) : addresses( rule.filter );
   header( rule );
   layer4( rule.filter );
   layer4Ports( plan, source, destination );
}

void AclEntryWriter::outerVlan( uint16_t vlanId, uint16_t mask ) {
   callIf( mask != 0, [ & ] {
      return KARVEL_SDK_CALL(
            trace, bcm_field_qualify_OuterVlanId, ( unit_, entry_, vlanId, mask ) );
   } );
}

void AclEntryWriter::addresses( const Acl::IpFilter& filter ) {
   callIf( filter.srcIpMask() != Plix::IpAddr(), [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_SrcIp,
            ( unit_, entry_, filter.srcIp().value(), filter.srcIpMask().value() ) );
   } );
   callIf( filter.dstIpMask() != Plix::IpAddr(), [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_DstIp,
            ( unit_, entry_, filter.dstIp().value(), filter.dstIpMask().value() ) );
   } );
}

void AclEntryWriter::addresses6( const Acl::IpFilter& filter ) {
   callIf( filter.srcIp6Mask() != Plix::Ip6Addr(), [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_SrcIp6,
            ( unit_, entry_, filter.srcIp6(), filter.srcIp6Mask() ) );
   } );
   callIf( filter.dstIp6Mask() != Plix::Ip6Addr(), [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_DstIp6,
            ( unit_, entry_, filter.dstIp6(), filter.dstIp6Mask() ) );
   } );
}

void AclEntryWriter::header( const Karvel::IpAclRuleData& rule ) {
   const Acl::IpFilter& filter = rule.filter;
   callIf( filter.protoMask() != 0, [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_IpProtocol,
            ( unit_, entry_, filter.proto(), filter.protoMask() ) );
   } );
   const uint32_t tos = uint32_t{ filter.dscp() } << ecnBits | ( rule.ecnData & ecnMask );
   const uint32_t tosMask =
         uint32_t{ filter.dscpMask() } << ecnBits | ( rule.ecnMask & ecnMask );
   callIf( tosMask != 0, [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_DSCP, ( unit_, entry_, tos, tosMask ) );
   } );
   const std::optional< FieldIpFrag > fragment = chipFragment( filter.fragments() );
   callIf( fragment.has_value(), [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_IpFrag, ( unit_, entry_, *fragment ) );
   } );
}

void AclEntryWriter::layer4( const Acl::IpFilter& filter ) {
   callIf( filter.tcpFlagsMask() != 0, [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_TcpControl,
            ( unit_, entry_, filter.tcpFlags(), filter.tcpFlagsMask() ) );
   } );
   callIf( filter.icmpMask() != 0, [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_IcmpTypeCode,
            ( unit_, entry_, filter.icmp(), filter.icmpMask() ) );
   } );
}

void AclEntryWriter::layer4Ports(
      const Layer4Plan& plan, const PortPrefix& source, const PortPrefix& destination ) {
   callIf( source.mask != 0, [ & ] {
      return KARVEL_SDK_CALL(
            trace, bcm_field_qualify_L4SrcPort, ( unit_, entry_, source.value, source.mask ) );
   } );
   callIf( destination.mask != 0, [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_L4DstPort,
            ( unit_, entry_, destination.value, destination.mask ) );
   } );
   for ( const std::optional< int >& checker :
         { plan.source().checker, plan.destination().checker } ) {
      callIf( checker.has_value(), [ & ] {
         return KARVEL_SDK_CALL(
               trace, bcm_field_qualify_RangeCheck, ( unit_, entry_, *checker ) );
      } );
   }
}

void AclEntryWriter::mac( const Acl::MacFilter& filter ) {
   outerVlan( filter.vlanId(), filter.vlanIdMask() );
   callIf( filter.vlanPriorityMask() != 0, [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_OuterVlanPriority,
            ( unit_, entry_, filter.vlanPriority(), filter.vlanPriorityMask() ) );
   } );
   callIf( filter.srcMacMask() != Plix::EthAddr(), [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_SrcMac,
            ( unit_, entry_, filter.srcMac(), filter.srcMacMask() ) );
   } );
   callIf( filter.dstMacMask() != Plix::EthAddr(), [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_DstMac,
            ( unit_, entry_, filter.dstMac(), filter.dstMacMask() ) );
   } );
   callIf( filter.etherTypeMask() != 0, [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_EtherType,
            ( unit_, entry_, filter.etherType(), filter.etherTypeMask() ) );
   } );
   callIf( filter.mplsLabelMask() != 0, [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_MplsLabel,
            ( unit_, entry_, filter.mplsLabel(), filter.mplsLabelMask() ) );
   } );
   callIf( filter.mplsInnerLabelMask() != 0, [ & ] {
      return KARVEL_SDK_CALL( trace, bcm_field_qualify_MplsInnerLabel,
            ( unit_, entry_, filter.mplsInnerLabel(), filter.mplsInnerLabelMask() ) );
   } );
}

} // namespace AgentServices
