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
         "'outLag': {1, 3}, 'common': " +
               Zol::toString( CommonQuals() ) + ", 'mac': " + Zol::toString( MacQuals() ) +
               ", 'v4': " + Zol::toString( V4Quals() ) +
               ", 'v6': " + Zol::toString( V6Quals() ) +
               ", 'l4': " + Zol::toString( L4Quals() ) + ", 'udf': {}, 'rangeChecker': {}})" );
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
