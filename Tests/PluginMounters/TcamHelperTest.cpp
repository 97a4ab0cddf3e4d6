// The TCAM helpers on the chip model: operations in, entries and status out. What both do, and
// then what is the direct one's.

#include "Tests/PluginMounters/TcamBed.h"

namespace KarvelMirror {

using ChipModel::EntryView;
using Shim::Qualifier;

class TheTcamHelper : public TcamBed, public ::testing::WithParamInterface< bool > {
 protected:
   TheTcamHelper() : TcamBed( GetParam() ? Way::direct : Way::byRequests ) {}
};
INSTANTIATE_TEST_SUITE_P( Ways, TheTcamHelper, ::testing::Bool(),
      []( const auto& way ) { return way.param ? "direct" : "byRequests"; } );

TEST_P( TheTcamHelper, ProgramsOneEntryPerDestination ) {
   EXPECT_EQ( program( egress( rule( {}, { 3, 4 }, { 9 } ) ) ), Status::programmed );
   std::multiset< Qualifier > destinations;
   for ( const EntryView& entry : entries() ) {
      ASSERT_EQ( entry.qualifiers.size(), 1U ) << "one destination and nothing else";
      destinations.insert( entry.qualifiers[ 0 ].qualifier );
      ASSERT_EQ( entry.actions.size(), 1U );
      EXPECT_EQ( entry.actions[ 0 ].action, Shim::FieldAction::mirrorEgress );
      EXPECT_EQ( entry.actions[ 0 ].param0, 3U );
      EXPECT_EQ( entry.actions[ 0 ].param1, 2U );
   }
   EXPECT_EQ( destinations,
         ( std::multiset{ Qualifier::dstPort, Qualifier::dstPort, Qualifier::dstTrunk } ) );
}

TEST_P( TheTcamHelper, ProgramsARuleWithoutDestinationAsOneEntry ) {
   RuleData wanted = rule( { 1, 2 } );
   CommonQuals quals;
   quals.dropIs( 1 );
   quals.dropMaskIs( 3 );
   quals.outerVlanIdIs( 20 );
   quals.outerVlanIdMaskIs( 0xffe );
   wanted.commonIs( quals );
   EXPECT_EQ( program( ingress( wanted ) ), Status::programmed );
   ASSERT_EQ( entries().size(), 1U );
   using Quals = std::vector< std::tuple< Qualifier, uint32_t, uint32_t > >;
   Quals written;
   const EntryView entry = entries()[ 0 ];
   for ( const auto& value : entry.qualifiers ) {
      written.emplace_back( value.qualifier, value.data[ 0 ], value.mask[ 0 ] );
   }
   Quals expected{ { Qualifier::portClass, 1, 1 } };
   if ( way == Way::direct ) { // common qualifiers are not a part of a request
      expected.push_back( { Qualifier::drop, 1, 3 } );
      expected.push_back( { Qualifier::outerVlanId, 20, 0xffe } );
   }
   EXPECT_EQ( written, expected );
   EXPECT_EQ( entry.actions.at( 0 ).action, Shim::FieldAction::mirrorIngress );
}

TEST_P( TheTcamHelper, TouchesOnlyNamedAclsWhenTheOperationIsIncremental ) {
   program( full( Op::ingress(),
         { { "a", rule( { 1 } ) }, { "b", rule( { 2 } ) }, { "c", rule( { 3 } ) } } ) );
   const auto untouched = ids( "-b" ), changed = ids( "-a" );
   EXPECT_EQ( untouched.size(), 1U );
   auto next = op( Op::ingress(), { { "a", rule( { 5 } ) }, { "b", rule( { 2 } ) } } );
   next->changeIs( key( "a" ), { true, true } );
   next->delIs( key( "c" ) );
   next->delIs( key( "never was" ) );
   EXPECT_EQ( program( next ), Status::programmed );
   EXPECT_EQ( ids( "-b" ), untouched );
   EXPECT_NE( ids( "-a" ), changed );
   EXPECT_EQ( ids().size(), 2U );
}

// What no agent that is right asks for.
TEST_P( TheTcamHelper, StopsOnWhatABrokenAgentAsks ) {
   hand( ingress( rule( { 1 } ) ) );
   auto missing = op( Op::ingress(), {} );
   missing->changeIs( key( "gone" ), { true, true } );
   EXPECT_DEATH( hand( missing ), "op->groupData\\(\\)->aclDataHas\\( aclIter.key\\(\\) \\)" );
   RuleData ranges = rule( { 1 } );
   ranges.rangeCheckerIs( { 1, 10, 20 } );
   EXPECT_DEATH(
         hand( ingress( ranges ) ), "rangeIter.key\\(\\).rangeFlags\\(\\) & 0x00000002" );
   ranges.rangeCheckerIs( { 2, 10, 20 } );
   EXPECT_DEATH( hand( ingress( ranges ) ), "rule.rangeCheckers\\(\\) < 2" );
   EXPECT_DEATH( hand( ingress( rule( { 99 } ) ) ),
         "scsd\\(\\)->karvelPortToIntfHas\\( iter.key\\(\\) \\)" );
}

// --- The direct one -------------------------------------------------------------------------

class TheDirectTcamHelper : public TcamBed {
 protected:
   TheDirectTcamHelper() : TcamBed( Way::direct ) {}
};

TEST_F( TheDirectTcamHelper, LeavesNothingOfADestinationWhenARuleFails ) {
   hand( egress( rule( {}, { 1, 2 } ) ) );
   ASSERT_FALSE( box.control().capacityIs( unit, "ingress-entries", 4 ) );
   auto next = op( Op::egress(), { { "egress", rule( {}, { 1, 2, 3, 4, 5 } ) } } );
   next->changeIs( key( "egress" ), { true, true } );
   EXPECT_EQ( hand( next ), ProgStatus::resourceExhaustion );
   EXPECT_TRUE( chip().entries.empty() );
   // Refused for another reason is another status; and a later operation starts from nothing.
   refuse( SdkCall::bcm_field_entry_create );
   EXPECT_EQ( hand( egress( rule( {}, { 1 } ) ) ), ProgStatus::failed );
   EXPECT_EQ( hand( egress( rule( {}, { 1 } ) ) ), ProgStatus::success );
   EXPECT_EQ( entries().size(), 1U );
}

TEST_F( TheDirectTcamHelper, TellsAclsOfOneNameApartAndSharesPortClasses ) {
   auto twins = full( Op::ipIngress(), {} );
   for ( const auto type : { TcamAclType::ip(), TcamAclType::mac() } ) {
      twins->groupData()->aclDataIs( { "a", type } )->ruleIs( rule( { 1 } ) );
   }
   EXPECT_EQ( hand( twins, 1 ), ProgStatus::success );
   EXPECT_EQ( entries().size(), 2U );
   const auto rules = [ & ]( int sets ) {
      auto made = ingress( rule( { 1 } ) );
      for ( int set = 1; set <= sets; ++set ) {
         made->groupData()
               ->aclData( key( "ingress" ) )
               ->ruleIs( rule( { set }, {}, {}, static_cast< uint32_t >( set ) ) );
      }
      return made;
   };
   EXPECT_EQ( hand( rules( profile.portClassBits ) ), ProgStatus::success );
   EXPECT_EQ( hand( rules( profile.portClassBits + 1 ) ), ProgStatus::resourceExhaustion );
   EXPECT_EQ( entries( false ).size(), 2U );
}

TEST_F( TheDirectTcamHelper, ChangesTheGroupWithTheFeatureAndTakesAllAwayWithTheDestination ) {
   const auto wanted = ingress( rule( { 1 } ) );
   hand( wanted );
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
   hand( wanted );
   config->mtpHelperConfigDel( Mtp( 2 ) );
   EXPECT_FALSE( status->mtpHelperStatusHas( Mtp( 2 ) ) );
   EXPECT_TRUE( chip().groups.empty() );
   hand( wanted );
   helper = nullptr;
   EXPECT_TRUE( chip().groups.empty() );
}

TEST_F( TheDirectTcamHelper, StopsOnWhatABrokenAgentAsksOfItAlone ) {
   EXPECT_DEATH( hand( op( Op::egress(), {} ) ), "op->fullReprogram\\(\\)" );
   scsd->intfToPortDel( "Ethernet1" );
   EXPECT_DEATH( hand( ingress( rule( { 1 } ) ) ),
         "KarvelTcam::intfToPortHas\\( scsd\\(\\), intf \\)" );
}

TEST_F( TheDirectTcamHelper, StopsWhenTheSdkRefusesAndSaysWhichCall ) {
   auto refused = [ this ]( SdkCall call, const RuleData& wanted ) {
      refuse( call );
      hand( egress( wanted ) );
   };
   EXPECT_DEATH( refused( SdkCall::bcm_field_entry_install, rule( {}, { 1 } ) ),
         "rc == ::Shim::sdk_->QX_BCM_E_NONE\\(\\) && \"installEntry failed\"" );
   for ( const SdkCall call : { SdkCall::bcm_field_qualify_DstPort,
               SdkCall::bcm_field_qualify_DstTrunk, SdkCall::bcm_field_action_add } ) {
      EXPECT_DEATH( refused( call, rule( {}, { 1 }, { 1 } ) ),
            std::string( sdkCallName( call ) ) + ".* API ERROR:Operation failed \\(rc:-11\\)" );
   }
}

// The environment is looked at once per process.
TEST_F( TheDirectTcamHelper, KeepsPortsAsTheyAreInASimulation ) {
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
