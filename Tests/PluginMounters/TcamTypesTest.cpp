// The rule model: texts that are promised, keys, and what cannot be parsed.

#include <gtest/gtest.h>

#include <unordered_set>

#include "PluginMounters/Slice/KarvelMirrorTcamTypes.h"
#include "PluginMounters/Slice/TcamFeatures.h"
#include "PluginMounters/Slice/TcamProgramStatus.h"

namespace KarvelMirror {

TEST( ValueText, followsTheTemplates ) {
   CommonQuals common;
   common.dropIs( 1 );
   common.outerVlanIdMaskIs( 4095 );
   EXPECT_EQ( Zol::toString( common ),
         "Value('KarvelMirror::CommonQuals', ** {'drop': 1, 'dropMask': 0, 'outerVlanId': 0, "
         "'outerVlanIdMask': 4095})" );
   EXPECT_EQ( Zol::toString( TcamAclKey( "egress", TcamAclType::mac() ) ),
         "Value('KarvelMirror::TcamAclKey', ** {'aclName': egress, 'aclType': mac})" );
   EXPECT_EQ( Zol::toString( AclOp( true, false ) ),
         "Value('KarvelMirror::AclOp', ** {'ruleChange': true, 'portChange': false})" );
   EXPECT_EQ( Zol::toString( KarvelMirrorAclGroupMetaData( -1, false ) ),
         "Value('KarvelMirror::KarvelMirrorAclGroupMetaData', ** {'type': -1, 'egress': "
         "false})" );
   EXPECT_EQ( Zol::toString( UdfQual() ),
         "Value('KarvelMirror::UdfQual', ** {'base': packetStart, 'offset': 0, 'length': 0, "
         "'data': 0, 'mask': 0})" );
}

TEST( ValueText, ofARuleHoldsEveryGroupAndEmptySets ) {
   RuleData rule( 7 );
   EXPECT_EQ( Zol::toString( rule ),
         "Value('KarvelMirror::RuleData', ** {'entryId': 7, 'inPort': {}, 'outPort': {}, "
         "'outLag': {}, 'common': " +
               Zol::toString( CommonQuals() ) + ", 'mac': " + Zol::toString( MacQuals() ) +
               ", 'v4': " + Zol::toString( V4Quals() ) + ", 'v6': " +
               Zol::toString( V6Quals() ) + ", 'l4': " + Zol::toString( L4Quals() ) +
               ", 'udf': {}, 'rangeChecker': {}})" );
   EXPECT_EQ( Zol::toString( MacQuals() ),
         "Value('KarvelMirror::MacQuals', ** {'dstMac': 00:00:00:00:00:00, 'dstMacMask': "
         "00:00:00:00:00:00, 'srcMac': 00:00:00:00:00:00, 'srcMacMask': 00:00:00:00:00:00, "
         "'etherType': 0, 'etherTypeMask': 0})" );
   rule.outLagIs( 3 );
   rule.outLagIs( 1 );
   EXPECT_NE( Zol::toString( rule ).find( "'outLag': {1, 3}" ), std::string::npos );
}

TEST( ValueText, parsesBackUnlessThereIsACollection ) {
   V4Quals v4;
   v4.srcIpIs( Plix::IpAddr( 0x0a000001 ) );
   v4.ttlMaskIs( 255 );
   EXPECT_EQ( Zol::fromString< V4Quals >( Zol::toString( v4 ) ), v4 );
   TcamAclKey key( "a, 'b'", TcamAclType::ipv6() );
   EXPECT_EQ( Zol::fromString< TcamAclKey >( Zol::toString( key ) ), key );
   EXPECT_THROW( Zol::fromString< L4Quals >( "Value('KarvelMirror::L4Quals', ** {})" ),
         Zol::ParseError );
   EXPECT_DEATH( Zol::fromString< RuleData >( Zol::toString( RuleData( 1 ) ) ),
         "\"No String constructor for RuleData - has collection\" == nullptr" );
}

TEST( RuleData, isTrueWhenItDiffersFromTheDefaultInAnything ) {
   EXPECT_FALSE( RuleData() );
   EXPECT_FALSE( RuleData( 0 ) );
   EXPECT_TRUE( RuleData( 1 ) );
   RuleData rule;
   rule.udfIs( UdfQual() );
   EXPECT_TRUE( rule );
   EXPECT_FALSE( TcamAclData( TcamAclKey() ).rule( 9 ) ) << "an absent rule is the default one";
}

TEST( TcamAclKey, ofOneNameButTwoKindsIsTwoKeys ) {
   auto group = tcamGroupDataFactory();
   group->aclDataIs( { "x", TcamAclType::ip() } );
   group->aclDataIs( { "x", TcamAclType::mac() } );
   EXPECT_EQ( group->aclDatas(), 2U );
   std::unordered_set< TcamAclKey > hashed;
   hashed.insert( { "x", TcamAclType::ip() } );
   hashed.insert( { "x", TcamAclType::mac() } );
   EXPECT_EQ( hashed.size(), 2U );
}

TEST( TcamAclData, walksItsRulesByEntryId ) {
   TcamAclData data( TcamAclKey( "x", TcamAclType::ip() ) );
   for ( uint32_t id : { 5U, 1U, 3U } ) {
      data.ruleIs( RuleData( id ) );
   }
   RuleData replaced( 3 );
   replaced.outLagIs( 8 );
   data.ruleIs( replaced );
   std::vector< uint32_t > ids;
   for ( auto iter = data.rule().begin(); iter != data.rule().end(); ++iter ) {
      ids.push_back( iter.key() );
   }
   EXPECT_EQ( ids, ( std::vector< uint32_t >{ 1, 3, 5 } ) );
   EXPECT_EQ( data.rule( 3 ), replaced );
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
   EXPECT_TRUE( is( Op::noFeature(), -1, false ) );
   EXPECT_TRUE( is( static_cast< Op::TcamFeature >( 99 ), -1, false ) );
}

TEST( Enumerations, haveTheirNumbersAndNames ) {
   using Status = Slice::TcamProgramStatus::TcamProgramStatus;
   EXPECT_EQ( Zol::instanceByNumber< Status >( 3 ), Status::entryInstallFailure );
   EXPECT_EQ( Zol::fromString< Status >( "entryAllocationFailure" ),
         Status::entryAllocationFailure );
   EXPECT_EQ( Zol::toString( Slice::TcamFeature::efpPortRateLimit() ), "efpPortRateLimit" );
   EXPECT_EQ( static_cast< int >( MtpTcamHelperStatus::success() ), 1 );
   EXPECT_EQ( static_cast< int >( ProgrammingOp::macIngress() ), 5 );
   EXPECT_EQ( TcamAclType( TcamAclType::ipv6() ).number(), 4 );
   EXPECT_FALSE( Zol::instanceByName< ProgrammingOp::TcamFeature >( "Egress" ) );
   EXPECT_THROW( Zol::fromString< ProgrammingOp::TcamFeature >( "none" ), Zol::ParseError );
}

} // namespace KarvelMirror
