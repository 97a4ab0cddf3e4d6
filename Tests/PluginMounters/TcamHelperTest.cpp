// The direct TCAM helper on the chip model: operations in, entries and status out.

#include <gtest/gtest.h>

#include "AgentServices/TcamGroupManager.h"
#include "ChipModel/Switch.h"
#include "PluginMounters/Slice/KarvelMirrorTcamHelper.h"

namespace KarvelMirror {

using ChipModel::EntryView;
using KarvelTypes::KarvelPort;

class TcamHelperTest : public ::testing::Test {
 protected:
   TcamHelperTest() {
      box.addChip( 0, *ChipModel::chipProfile( "trident3" ) );
      ::Shim::sdk_ = &box.sdk();
      scsd = Zol::make< Karvel::KarvelCommonSmData >();
      for ( int port = 1; port <= 40; ++port ) {
         const Zol::String intf = "Ethernet" + std::to_string( port );
         scsd->karvelPortToIntfIs( { 0, port }, intf );
         scsd->intfToPortIs( intf, { 0, port } );
         scsd->chipPortIs( port );
      }
      groups = Zol::make< AgentServices::TcamGroupManager >();
      groups->unitIs( 0, { true, 32 } );
      config = tcamHelperConfigFactory();
      status = tcamHelperStatusFactory();
      helper = tcamHelperSmFactory( 0, config, status, scsd, groups );
      helper->zolStart();
   }

   static TcamAclKey key( const Zol::String& name ) { return { name, TcamAclType::port() }; }

   // An operation over ACLs of one rule each.
   Zol::Ptr< ProgrammingOp > op( ProgrammingOp::TcamFeature feature,
         std::vector< std::pair< Zol::String, RuleData > > acls ) {
      auto made = programmingOpFactory();
      made->featureIs( feature );
      made->groupDataIs();
      for ( auto& [ name, rule ] : acls ) {
         made->groupData()->aclDataIs( key( name ) )->ruleIs( rule );
      }
      return made;
   }
   Zol::Ptr< ProgrammingOp > full( ProgrammingOp::TcamFeature feature,
         std::vector< std::pair< Zol::String, RuleData > > acls ) {
      auto made = op( feature, std::move( acls ) );
      made->fullReprogramIs( true );
      return made;
   }
   ProgStatus program( Zol::Ptr< const ProgrammingOp > wanted ) {
      config->mtpHelperConfigIs( Mtp( 2 ) )->programmingOpIs( wanted );
      return status->mtpHelperStatus( Mtp( 2 ) )->programmingOp();
   }
   static RuleData rule( std::vector< int > in, std::vector< int > out = {},
         std::vector< int > lags = {} ) {
      RuleData made( 1 );
      for ( int port : in ) {
         made.inPortIs( { 0, port } );
      }
      for ( int port : out ) {
         made.outPortIs( { 0, port } );
      }
      for ( int lag : lags ) {
         made.outLagIs( lag );
      }
      return made;
   }
   std::vector< EntryView > entries() { return box.control().state( 0 ).entries; }
   std::vector< int > ids( const std::string& prefix = "" ) {
      std::vector< int > result;
      for ( const EntryView& entry : entries() ) {
         if ( entry.name.find( prefix ) != std::string::npos ) {
            result.push_back( entry.id );
         }
      }
      return result;
   }

   ChipModel::Switch box;
   Zol::Ptr< Karvel::KarvelCommonSmData > scsd;
   Zol::Ptr< AgentServices::TcamGroupManager > groups;
   Zol::Ptr< TcamHelperConfig > config;
   Zol::Ptr< TcamHelperStatus > status;
   Zol::Ptr< TcamHelperSmBase > helper;
};

using Op = ProgrammingOp;
using Shim::Qualifier;

TEST_F( TcamHelperTest, splitsARuleIntoEntriesOfOneDestinationEach ) {
   EXPECT_EQ( program( full( Op::egress(), { { "egress", rule( {}, { 3, 4 }, { 9 } ) } } ) ),
         ProgStatus::success );
   int ports = 0;
   int trunks = 0;
   for ( const EntryView& entry : entries() ) {
      EXPECT_TRUE( entry.installed );
      ASSERT_EQ( entry.qualifiers.size(), 1U ) << "one destination and nothing else";
      ports += entry.qualifiers[ 0 ].qualifier == Qualifier::dstPort;
      trunks += entry.qualifiers[ 0 ].qualifier == Qualifier::dstTrunk;
      ASSERT_EQ( entry.actions.size(), 1U );
      EXPECT_EQ( entry.actions[ 0 ].action, Shim::FieldAction::mirrorEgress );
      EXPECT_EQ( entry.actions[ 0 ].param0, 0U );
      EXPECT_EQ( entry.actions[ 0 ].param1, 2U );
   }
   EXPECT_EQ( ports, 2 );
   EXPECT_EQ( trunks, 1 );
}

TEST_F( TcamHelperTest, programsARuleWithoutDestinationAsOneEntry ) {
   RuleData wanted = rule( { 1, 2 } );
   CommonQuals common;
   common.outerVlanIdIs( 20 );
   common.outerVlanIdMaskIs( 0xfff );
   wanted.commonIs( common );
   EXPECT_EQ( program( full( Op::ingress(), { { "ingress", wanted } } ) ), ProgStatus::success );
   ASSERT_EQ( entries().size(), 1U );
   const EntryView entry = entries()[ 0 ];
   std::vector< Qualifier > kinds;
   for ( const auto& value : entry.qualifiers ) {
      kinds.push_back( value.qualifier );
   }
   EXPECT_EQ( kinds, ( std::vector< Qualifier >{ Qualifier::portClass, Qualifier::drop,
                           Qualifier::outerVlanId } ) );
   EXPECT_EQ( entry.actions[ 0 ].action, Shim::FieldAction::mirrorIngress );
}

TEST_F( TcamHelperTest, touchesOnlyNamedAclsWhenTheOperationIsIncremental ) {
   program( full( Op::ingress(),
         { { "a", rule( { 1 } ) }, { "b", rule( { 2 } ) }, { "c", rule( { 3 } ) } } ) );
   const auto untouched = ids( "-b-" );
   const auto changed = ids( "-a-" );
   auto next = op( Op::ingress(), { { "a", rule( { 5 } ) }, { "b", rule( { 2 } ) } } );
   next->changeIs( key( "a" ), { true, true } );
   next->delIs( key( "c" ) );
   EXPECT_EQ( program( next ), ProgStatus::success );
   EXPECT_EQ( ids( "-b-" ), untouched );
   EXPECT_NE( ids( "-a-" ), changed );
   EXPECT_EQ( ids( "-c-" ), std::vector< int >{} );
   EXPECT_EQ( entries().size(), 2U );
}

TEST_F( TcamHelperTest, leavesNothingOfADestinationWhenARuleFails ) {
   program( full( Op::egress(), { { "egress", rule( {}, { 1, 2 } ) } } ) );
   ASSERT_FALSE( box.control().capacityIs( 0, "ingress-entries", 4 ) );
   auto next = op( Op::egress(), { { "egress", rule( {}, { 1, 2, 3, 4, 5 } ) } } );
   next->changeIs( key( "egress" ), { true, true } );
   EXPECT_EQ( program( next ), ProgStatus::resourceExhaustion );
   EXPECT_TRUE( entries().empty() );
   // Refused for another reason is another status; and a later operation starts from nothing.
   box.control().gate().faultAdd( { .call = ChipModel::SdkCall::bcm_field_entry_create } );
   EXPECT_EQ( program( full( Op::egress(), { { "egress", rule( {}, { 1 } ) } } ) ),
         ProgStatus::failed );
   EXPECT_EQ( program( full( Op::egress(), { { "egress", rule( {}, { 1 } ) } } ) ),
         ProgStatus::success );
   EXPECT_EQ( entries().size(), 1U );
}

TEST_F( TcamHelperTest, takesAwayEverythingWithTheDestination ) {
   program( full( Op::ingress(), { { "ingress", rule( { 1 } ) } } ) );
   config->mtpHelperConfigDel( Mtp( 2 ) );
   EXPECT_TRUE( entries().empty() );
   EXPECT_TRUE( box.control().state( 0 ).groups.empty() );
   EXPECT_FALSE( status->mtpHelperStatusHas( Mtp( 2 ) ) );
   // Gone and back within one burst: a fresh machine, nothing of the old one left.
   program( full( Op::ingress(), { { "ingress", rule( { 1 } ) } } ) );
   {
      Zol::Batch batch;
      config->mtpHelperConfigDel( Mtp( 2 ) );
      config->mtpHelperConfigIs( Mtp( 2 ) );
   }
   EXPECT_TRUE( entries().empty() );
   EXPECT_EQ( status->mtpHelperStatus( Mtp( 2 ) )->programmingOp(), ProgStatus::unknown );
   helper = nullptr;
   EXPECT_TRUE( box.control().state( 0 ).groups.empty() );
}

TEST_F( TcamHelperTest, changesTheGroupWithTheFeature ) {
   program( full( Op::ingress(), { { "ingress", rule( { 1 } ) } } ) );
   const int before = box.control().state( 0 ).groups.at( 0 ).id;
   EXPECT_EQ( program( full( Op::egress(), { { "egress", rule( {}, { 1 } ) } } ) ),
         ProgStatus::success );
   ASSERT_EQ( box.control().state( 0 ).groups.size(), 1U );
   EXPECT_NE( box.control().state( 0 ).groups[ 0 ].id, before );
}

TEST_F( TcamHelperTest, stopsOnWhatABrokenAgentAsks ) {
   program( full( Op::ingress(), { { "ingress", rule( { 1 } ) } } ) );
   EXPECT_DEATH( program( op( Op::egress(), {} ) ), "op->fullReprogram\\(\\)" );

   auto missing = op( Op::ingress(), {} );
   missing->changeIs( key( "gone" ), { true, true } );
   EXPECT_DEATH( program( missing ), "op->groupData\\(\\)->aclDataHas\\( aclIter.key\\(\\) \\)" );

   RuleData ranges = rule( { 1 } );
   ranges.rangeCheckerIs( { 1, 10, 20 } );
   EXPECT_DEATH( program( full( Op::ingress(), { { "ingress", ranges } } ) ),
         "rangeIter.key\\(\\).rangeFlags\\(\\) & 0x00000002" );
   ranges.rangeCheckerIs( { 2, 10, 20 } );
   EXPECT_DEATH( program( full( Op::ingress(), { { "ingress", ranges } } ) ),
         "rule.rangeCheckers\\(\\) < 2" );

   EXPECT_DEATH( program( full( Op::ingress(), { { "ingress", rule( { 99 } ) } } ) ),
         "scsd\\(\\)->karvelPortToIntfHas\\( iter.key\\(\\) \\)" );
   scsd->intfToPortDel( "Ethernet1" );
   EXPECT_DEATH( program( full( Op::ingress(), { { "ingress", rule( { 1 } ) } } ) ),
         "KarvelTcam::intfToPortHas\\( scsd\\(\\), intf \\)" );
}

TEST_F( TcamHelperTest, stopsWhenTheSdkRefusesAndSaysWhichCall ) {
   using ChipModel::SdkCall;
   auto refuse = [ this ]( SdkCall call, const RuleData& wanted ) {
      box.control().gate().faultAdd( { .call = call } );
      program( full( Op::egress(), { { "egress", wanted } } ) );
   };
   EXPECT_DEATH( refuse( SdkCall::bcm_field_entry_install, rule( {}, { 1 } ) ),
         "rc == ::Shim::sdk_->QX_BCM_E_NONE\\(\\) && \"installEntry failed\"" );
   EXPECT_DEATH( refuse( SdkCall::bcm_field_qualify_DstPort, rule( {}, { 1 } ) ),
         "bcm_field_qualify_DstPort\\( unit\\(\\), entryId, portId.modId\\(\\), 0xFF, "
         "portId.logicalPort\\(\\), 0xFF \\) API ERROR:Operation failed \\(rc:-11\\)" );
   EXPECT_DEATH( refuse( SdkCall::bcm_field_qualify_DstTrunk, rule( {}, {}, { 1 } ) ),
         "bcm_field_qualify_DstTrunk\\( unit\\(\\), entryId, tgid, 0xFF \\) API ERROR" );
   EXPECT_DEATH( refuse( SdkCall::bcm_field_action_add, rule( {}, { 1 } ) ),
         "bcm_field_action_add\\( unit\\(\\), entryId, action, param0, param1 \\) API ERROR" );
}

// The environment is looked at once per process.
TEST_F( TcamHelperTest, keepsPortsAsTheyAreInASimulation ) {
   GTEST_FLAG_SET( death_test_style, "threadsafe" ); // starts the program afresh
   EXPECT_EXIT(
         {
            setenv( "SIMULATION_VMID", "1", 1 );
            scsd->intfToPortDel( "Ethernet7" );
            const bool good =
                  program( full( Op::ingress(), { { "ingress", rule( { 7 } ) } } ) ) ==
                        ProgStatus::success &&
                  box.control().state( 0 ).ports.at( 7 ).classBits != 0;
            exit( good ? 0 : 1 );
         },
         ::testing::ExitedWithCode( 0 ), "" );
}

} // namespace KarvelMirror
