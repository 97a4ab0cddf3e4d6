// The rule model: the texts that are promised, what is taken for empty, and the groups' kinds.

#include <gtest/gtest.h>

#include "PluginMounters/Slice/Rules/KarvelMirrorTcamTypes.h"
#include "PluginMounters/Slice/Rules/TcamFeatures.h"
#include "PluginMounters/Slice/Rules/TcamProgramStatus.h"
#include "Tests/Platform/ValueLaws.h"

namespace KarvelMirror {

using Values = ::testing::Types< V4Quals, L4Quals, RuleData, AclOp >;
INSTANTIATE_TYPED_TEST_SUITE_P( TcamTypes, ValueLaws, Values );

TEST( RuleData, showsEveryGroupAndEmptySetsAndIsTrueWhenItDiffersFromTheDefault ) {
   RuleData rule( 7 );
   rule.outLagIs( 3 );
   rule.outLagIs( 1 );
   EXPECT_EQ( Zol::toString( rule ),
         "Value('KarvelMirror::RuleData', ** {'entryId': 7, 'inPort': {}, 'outPort': {}, "
         "'outLag': {1, 3}, 'common': Value('KarvelMirror::CommonQuals', ** {'drop': 0, "
         "'dropMask': 0, 'outerVlanId': 0, 'outerVlanIdMask': 0}), 'mac': "
         "Value('KarvelMirror::MacQuals', ** {'dstMac': 00:00:00:00:00:00, 'dstMacMask': "
         "00:00:00:00:00:00, 'srcMac': 00:00:00:00:00:00, 'srcMacMask': 00:00:00:00:00:00, "
         "'etherType': 0, 'etherTypeMask': 0}), 'v4': Value('KarvelMirror::V4Quals', ** "
         "{'srcIp': 0.0.0.0, 'srcIpMask': 0.0.0.0, 'dstIp': 0.0.0.0, 'dstIpMask': 0.0.0.0, "
         "'ipType': 0, 'ipTypeMask': 0, 'dscp': 0, 'dscpMask': 0, 'ipFrag': 0, 'ipProtocol': "
         "0, "
         "'ipProtocolMask': 0, 'tcpControl': 0, 'tcpControlMask': 0, 'ttl': 0, 'ttlMask': 0}), "
         "'v6': Value('KarvelMirror::V6Quals', ** {'srcIp': ::, 'srcIpMask': ::, 'dstIp': ::, "
         "'dstIpMask': ::, 'ipType': 0, 'ipTypeMask': 0, 'trafficClass': 0, "
         "'trafficClassMask': 0, 'tcpControl': 0, 'tcpControlMask': 0, 'hopLimit': 0, "
         "'hopLimitMask': 0}), 'l4': Value('KarvelMirror::L4Quals', ** {'srcPort': 0, "
         "'srcPortMask': 0, 'dstPort': 0, 'dstPortMask': 0}), 'udf': {}, 'rangeChecker': "
         "{}})" );
   EXPECT_EQ( Zol::toString( TcamAclKey( "egress", TcamAclType::mac() ) ),
         "Value('KarvelMirror::TcamAclKey', ** {'aclName': egress, 'aclType': mac})" );
   const TcamAclKey key( "a, 'b'", TcamAclType::ipv6() );
   EXPECT_EQ( Zol::fromString< TcamAclKey >( Zol::toString( key ) ), key );
   EXPECT_FALSE( RuleData( 0 ) );
   EXPECT_TRUE( RuleData( 1 ) );
   RuleData other;
   other.udfIs( UdfQual() );
   EXPECT_TRUE( other );
   EXPECT_FALSE( TcamAclData( TcamAclKey() ).rule( 9 ) ) << "an absent rule is the default one";
}

TEST( GroupMetaData, isFixedByTheFeature ) {
   using Op = ProgrammingOp;
   auto is = []( Op::TcamFeature feature, int32_t type, bool egress ) {
      return getMirroringAclData( feature ) == KarvelMirrorAclGroupMetaData( type, egress );
   };
   EXPECT_TRUE( is( Op::egress(), 2, true ) );
   EXPECT_TRUE( is( Op::ingress(), 2, false ) );
   EXPECT_TRUE( is( Op::ipIngress(), 0, false ) );
   EXPECT_TRUE( is( Op::ipv6Ingress(), 1, false ) );
   EXPECT_TRUE( is( Op::macIngress(), 2, false ) );
   EXPECT_TRUE( is( static_cast< Op::TcamFeature >( 99 ), -1, false ) );
}

} // namespace KarvelMirror
