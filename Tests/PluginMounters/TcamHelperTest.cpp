// The direct TCAM helper on the chip model: operations in, entries and status out.

#include "Tests/PluginMounters/TcamBed.h"

namespace KarvelMirror {

using ChipModel::EntryView;

class TcamHelperTest : public TcamBed {
 protected:
   TcamHelperTest() : TcamBed( "trident3" ) {
      helper = tcamHelperSmFactory( 0, config, status, scsd, groups );
      helper->zolStart();
   }
};

using Shim::Qualifier;

TEST_F( TcamHelperTest, splitsARuleIntoEntriesOfOneDestinationEach ) {
   EXPECT_EQ( hand( egress( rule( {}, { 3, 4 }, { 9 } ) ) ), ProgStatus::success );
   std::multiset< Qualifier > destinations;
   for ( const EntryView& entry : entries() ) {
      EXPECT_TRUE( entry.installed );
      ASSERT_EQ( entry.qualifiers.size(), 1U ) << "one destination and nothing else";
      destinations.insert( entry.qualifiers[ 0 ].qualifier );
      ASSERT_EQ( entry.actions.size(), 1U );
      EXPECT_EQ( entry.actions[ 0 ].action, Shim::FieldAction::mirrorEgress );
      EXPECT_EQ( entry.actions[ 0 ].param1, 2U );
   }
   EXPECT_EQ( destinations,
         ( std::multiset{ Qualifier::dstPort, Qualifier::dstPort, Qualifier::dstTrunk } ) );
}

TEST_F( TcamHelperTest, programsARuleWithoutDestinationAsOneEntry ) {
   RuleData wanted = rule( { 1, 2 } );
   CommonQuals common;
   common.outerVlanIdIs( 20 );
   common.outerVlanIdMaskIs( 0xfff );
   wanted.commonIs( common );
   EXPECT_EQ( hand( ingress( wanted ) ), ProgStatus::success );
   ASSERT_EQ( entries().size(), 1U );
   const EntryView entry = entries()[ 0 ];
   std::vector< Qualifier > kinds;
   for ( const auto& value : entry.qualifiers ) {
      kinds.push_back( value.qualifier );
   }
   EXPECT_EQ( kinds,
         ( std::vector< Qualifier >{
               Qualifier::portClass, Qualifier::drop, Qualifier::outerVlanId } ) );
   EXPECT_EQ( entry.actions[ 0 ].action, Shim::FieldAction::mirrorIngress );
}

TEST_F( TcamHelperTest, touchesOnlyNamedAclsWhenTheOperationIsIncremental ) {
   hand( full( Op::ingress(),
         { { "a", rule( { 1 } ) }, { "b", rule( { 2 } ) }, { "c", rule( { 3 } ) } } ) );
   const auto untouched = ids( "-b-" );
   const auto changed = ids( "-a-" );
   auto next = op( Op::ingress(), { { "a", rule( { 5 } ) }, { "b", rule( { 2 } ) } } );
   next->changeIs( key( "a" ), { true, true } );
   next->delIs( key( "c" ) );
   EXPECT_EQ( hand( next ), ProgStatus::success );
   EXPECT_EQ( ids( "-b-" ), untouched );
   EXPECT_NE( ids( "-a-" ), changed );
   EXPECT_EQ( ids( "-c-" ), std::vector< int >{} );
   EXPECT_EQ( entries().size(), 2U );
}

TEST_F( TcamHelperTest, leavesNothingOfADestinationWhenARuleFails ) {
   hand( egress( rule( {}, { 1, 2 } ) ) );
   ASSERT_FALSE( box.control().capacityIs( 0, "ingress-entries", 4 ) );
   auto next = op( Op::egress(), { { "egress", rule( {}, { 1, 2, 3, 4, 5 } ) } } );
   next->changeIs( key( "egress" ), { true, true } );
   EXPECT_EQ( hand( next ), ProgStatus::resourceExhaustion );
   EXPECT_TRUE( chip().entries.empty() );
   // Refused for another reason is another status; and a later operation starts from nothing.
   box.control().gate().faultAdd( { .call = SdkCall::bcm_field_entry_create } );
   EXPECT_EQ( hand( egress( rule( {}, { 1 } ) ) ), ProgStatus::failed );
   EXPECT_EQ( hand( egress( rule( {}, { 1 } ) ) ), ProgStatus::success );
   EXPECT_EQ( entries().size(), 1U );
}

TEST_F( TcamHelperTest, changesTheGroupWithTheFeatureAndTakesAllAwayWithTheDestination ) {
   hand( ingress( rule( { 1 } ) ) );
   const int before = chip().groups.at( 0 ).id;
   EXPECT_EQ( hand( egress( rule( {}, { 1 } ) ) ), ProgStatus::success );
   ASSERT_EQ( chip().groups.size(), 1U );
   EXPECT_NE( chip().groups[ 0 ].id, before );
   // Gone and back within one burst: a fresh machine, nothing of the old one left.
   {
      Zol::Batch batch;
      config->mtpHelperConfigDel( Mtp( 2 ) );
      config->mtpHelperConfigIs( Mtp( 2 ) );
   }
   EXPECT_TRUE( chip().entries.empty() );
   EXPECT_EQ( status->mtpHelperStatus( Mtp( 2 ) )->programmingOp(), ProgStatus::unknown );
   hand( ingress( rule( { 1 } ) ) );
   config->mtpHelperConfigDel( Mtp( 2 ) );
   EXPECT_FALSE( status->mtpHelperStatusHas( Mtp( 2 ) ) );
   EXPECT_TRUE( chip().groups.empty() );
   hand( ingress( rule( { 1 } ) ) );
   helper = nullptr;
   EXPECT_TRUE( chip().groups.empty() );
}

TEST_F( TcamHelperTest, stopsOnWhatABrokenAgentAsks ) {
   expectDeathOfWhatIsBroken();
   EXPECT_DEATH( hand( op( Op::egress(), {} ) ), "op->fullReprogram\\(\\)" );
   scsd->intfToPortDel( "Ethernet1" );
   EXPECT_DEATH( hand( ingress( rule( { 1 } ) ) ),
         "KarvelTcam::intfToPortHas\\( scsd\\(\\), intf \\)" );
}

TEST_F( TcamHelperTest, stopsWhenTheSdkRefusesAndSaysWhichCall ) {
   auto refuse = [ this ]( SdkCall call, const RuleData& wanted ) {
      box.control().gate().faultAdd( { .call = call } );
      hand( egress( wanted ) );
   };
   EXPECT_DEATH( refuse( SdkCall::bcm_field_entry_install, rule( {}, { 1 } ) ),
         "rc == ::Shim::sdk_->QX_BCM_E_NONE\\(\\) && \"installEntry failed\"" );
   for ( const SdkCall call : { SdkCall::bcm_field_qualify_DstPort,
               SdkCall::bcm_field_qualify_DstTrunk, SdkCall::bcm_field_action_add } ) {
      EXPECT_DEATH( refuse( call, rule( {}, { 1 }, { 1 } ) ),
            std::string( sdkCallName( call ) ) + ".* API ERROR:Operation failed \\(rc:-11\\)" );
   }
}

// The environment is looked at once per process.
TEST_F( TcamHelperTest, keepsPortsAsTheyAreInASimulation ) {
   GTEST_FLAG_SET( death_test_style, "threadsafe" ); // starts the program afresh
   EXPECT_EXIT(
         {
            setenv( "SIMULATION_VMID", "1", 1 );
            scsd->intfToPortDel( "Ethernet7" );
            const bool good = hand( ingress( rule( { 7 } ) ) ) == ProgStatus::success &&
                  chip().ports.at( 7 ).classBits != 0;
            exit( good ? 0 : 1 );
         },
         ::testing::ExitedWithCode( 0 ), "" );
}

} // namespace KarvelMirror
