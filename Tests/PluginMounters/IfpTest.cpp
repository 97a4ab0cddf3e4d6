// The ingress machines: which entries they keep, give back and try again, and what they say.

#include "Tests/PluginMounters/IfpBed.h"

namespace KarvelMirror::Slice {

using ChipModel::EntryView;

const IfpKey key0{ Mtp( 0 ) };

TEST_F( IfpBed, UnchangedRulesKeepTheirEntriesWithoutANewGeneration ) {
   auto slice = programmer();
   auto mtp = matching( Mtp( 0 ), { 1, 2, 3 } );
   run();
   const auto before = entries();
   ASSERT_EQ( before.size(), 3U );
   auto config = slice->ifpConfig()->config( Mtp( 0 ) );
   const Orv::UniqueId generation = config->updateId();
   const uint64_t calls = gate().calls();
   // Another destination's change has every destination answered anew, and touches none.
   matching( Mtp( 1 ), { 9 } );
   run();
   EXPECT_EQ( config->updateId(), generation );
   EXPECT_EQ( slice->ifpSmStatus()->status( key0 )->updateId(),
         slice->ifpSmConfig()->config( key0 )->updateId() );
   EXPECT_LE( gate().calls() - calls, 12U ) << "one entry in a group of its own";

   // One rule fewer gives back one entry; the others are what they were, or rewritten in place.
   mtp->ipMatchDel( to( 2 ) );
   run();
   EXPECT_NE( config->updateId(), generation );
   const auto after = entries();
   ASSERT_EQ( after.size(), 3U );
   EXPECT_EQ( after[ 0 ].id, before[ 0 ].id );
   EXPECT_EQ( after[ 1 ].id, before[ 1 ].id );
   EXPECT_EQ( config->rules( static_cast< uint32_t >( after[ 1 ].id ) ).ruleData().v4().dstIp(),
         Plix::IpAddr( 3 ) );
}

TEST_F( IfpBed, ARewrittenEntryHoldsExactlyTheNewContents ) {
   auto slice = programmer();
   programInfo->lfMtpProgramInfoIs( LogicalFap::LogicalFapId( 0 ) );
   run();
   auto smConfig = slice->ifpSmConfig()->configIs( key0 );
   auto write = [ & ]( const V4Quals& v4, uint32_t destination ) {
      Zol::Batch batch;
      IfpRuleData rule( 0 );
      rule.aclPortIs( Plix::IntfId( "E1" ) );
      RuleData data;
      data.v4Is( v4 );
      rule.ruleDataIs( data );
      IfpActions actions;
      actions.param0Is( destination );
      rule.actionsIs( actions );
      smConfig->rulesIs( rule );
      smConfig->updateIdIs( Orv::UniqueId::fresh() );
   };
   V4Quals v4;
   v4.dstIpIs( Plix::IpAddr( 7 ) );
   v4.dstIpMaskIs( Plix::IpAddr( 0xff ) );
   write( v4, 0 );
   const auto before = entries();
   ASSERT_EQ( before.size(), 1U );
   write( V4Quals(), 2 );
   const auto after = entries();
   ASSERT_EQ( after.size(), 1U );
   EXPECT_EQ( after[ 0 ].id, before[ 0 ].id );
   ASSERT_EQ( after[ 0 ].actions.size(), 1U );
   EXPECT_EQ( after[ 0 ].actions[ 0 ].param0, 2U );
   ASSERT_EQ( after[ 0 ].qualifiers.size(), 1U ) << "the ports only";
   EXPECT_EQ( after[ 0 ].qualifiers[ 0 ].qualifier, Shim::Qualifier::portClass );
}

// What finds no room or is refused takes all of its destination back, says so once, and comes
// with the next generation.
TEST_F( IfpBed, AFailureTakesNothingAndTheNextGenerationTriesAgain ) {
   for ( const bool full : { true, false } ) {
      SCOPED_TRACE( full );
      auto slice = programmer();
      matching( Mtp( 0 ), { 1 } );
      run();
      if ( full ) {
         ASSERT_FALSE( box.control().capacityIs( 0, "ingress-entries", 2 ) );
      } else {
         refuse( SdkCall::bcm_field_entry_install, 2 );
      }
      matching( Mtp( 0 ), { 1, 2, 3 } );
      run();
      auto config = slice->ifpSmConfig()->config( key0 );
      auto status = slice->ifpSmStatus()->status( key0 );
      EXPECT_EQ( status->status(),
            full ? ProgramResult::entryAllocationFailure : ProgramResult::entryInstallFailure );
      EXPECT_EQ( status->updateId(), config->updateId() );
      EXPECT_EQ( programStatus->ifpProgramStatus( Mtp( 0 ) ),
            full ? ProgramStatus::resourceExhaustion : ProgramStatus::failed );
      EXPECT_TRUE( slice->ifpConfig()->config( Mtp( 0 ) )->rules().empty() );
      EXPECT_TRUE( entries( false ).empty() );
      EXPECT_EQ( Flitlog::records().size(), 1U );
      EXPECT_EQ( Flitlog::records()[ 0 ].id, "KARVEL_MIRRORING_TCAM_RESOURCE_FULL" );
      // Identical rules in a new generation.
      ASSERT_FALSE( box.control().capacityIs( 0, "ingress-entries", 3 ) );
      config->updateIdIs( Orv::UniqueId::fresh() );
      EXPECT_EQ( status->status(), ProgramResult::success );
      EXPECT_EQ( entries().size(), 3U );
      EXPECT_EQ( status->ruless(), 3U );
      EXPECT_EQ( Flitlog::records().size(), 1U );
      info()->mtpProgramInfoDel( Mtp( 0 ) );
      Flitlog::recordsDelAll();
   }
}

TEST_F( IfpBed, ARuleThatBecomesAnAclsLeavesNothingOfItselfInTheChip ) {
   setAcl( "A", { Acl::RuleAction::permit } );
   auto slice = programmer();
   auto mtp = matching( Mtp( 0 ), { 1 } );
   run();
   const auto plain = entries();
   ASSERT_EQ( plain.size(), 1U );
   addAcl( mtp, "A" ); // ACLs are numbered first: its rule takes the match's number and entry
   run();
   EXPECT_EQ( entries().size(), 2U ) << "the ACL's entry, and the match's in another place";
   mtp->ipMatchDel( to( 1 ) );
   run();
   ASSERT_EQ( entries().size(), 1U );
   EXPECT_NE( entries()[ 0 ].id, plain[ 0 ].id );
   mtp->aclDel( aclKey( "A" ) );
   mtp->ipMatchIs( to( 2 ) );
   run();
   ASSERT_EQ( entries().size(), 1U );
   EXPECT_EQ( entries()[ 0 ].actions.size(), 1U );
}

TEST_F( IfpBed, OfAnAclOnlyPermittingEntriesMirrorAndNoneDropsAtAnyTime ) {
   setAcl( "A", { Acl::RuleAction::permit, Acl::RuleAction::deny } );
   auto slice = programmer();
   bool dropped = false;
   gate().observerIs( [ & ]( const ChipModel::CallInfo& ) {
      for ( const EntryView& entry : entries() ) {
         dropped = dropped || hasAction( entry, Shim::FieldAction::drop );
      }
   } );
   addAcl( info()->mtpProgramInfoIs( Mtp( 2 ) ), "A" );
   addAcl( info()->mtpProgramInfoIs( Mtp( 2 ) ), "missing" ); // is not applied
   run();
   gate().observerIs( {} );
   EXPECT_FALSE( dropped );
   const auto installed = entries();
   ASSERT_EQ( installed.size(), 2U );
   ASSERT_EQ( installed[ 0 ].actions.size(), 1U );
   EXPECT_EQ( installed[ 0 ].actions[ 0 ].action, Shim::FieldAction::mirrorIngressTo );
   EXPECT_EQ( installed[ 0 ].actions[ 0 ].param0, 2U );
   EXPECT_TRUE( installed[ 1 ].actions.empty() );
   for ( const EntryView& entry : installed ) {
      for ( const ChipModel::QualifierValue& value : entry.qualifiers ) {
         EXPECT_NE( value.qualifier, Shim::Qualifier::dstClassL2 );
      }
   }
   // A change of the ACL alone reaches nothing; its destination's going takes it along.
   setAcl( "A", { Acl::RuleAction::permit } );
   run();
   EXPECT_EQ( entries().size(), 2U );
   info()->mtpProgramInfoDel( Mtp( 2 ) );
   EXPECT_TRUE( entries( false ).empty() );
}

// The deny entry is the second one: it is asked for its drop action, and loses all of its actions.
TEST_F( IfpBed, ADenyEntryNeverDropsAndNeverMirrorsWhateverTheChipRefuses ) {
   const Karvel::KarvelAclFeature feature( 1 );
   struct Case {
      std::vector< std::pair< SdkCall, uint64_t > > refused;
      size_t installed;
   };
   const Case cases[] = {
      { { { SdkCall::bcm_field_action_get, 4 } }, 2 },
      { { { SdkCall::bcm_field_action_remove_all, 2 } }, 2 },
      { { { SdkCall::bcm_field_action_remove_all, 2 },
              { SdkCall::bcm_field_action_remove, 1 } },
            0 },
   };
   setAcl( "A", { Acl::RuleAction::permit, Acl::RuleAction::deny } );
   auto slice = programmer();
   std::ostringstream said;
   Karvel::sdkErrorStreamIs( &said );
   for ( const Case& one : cases ) {
      for ( const auto& [ call, nth ] : one.refused ) {
         refuse( call, nth );
      }
      addAcl( info()->mtpProgramInfoIs( Mtp( 0 ) ), "A" );
      run();
      EXPECT_EQ( entries().size(), one.installed );
      size_t mirroring = 0;
      for ( const EntryView& entry : entries() ) {
         mirroring += hasAction( entry, Shim::FieldAction::mirrorIngressTo );
         EXPECT_FALSE( hasAction( entry, Shim::FieldAction::drop ) );
      }
      EXPECT_EQ( mirroring, one.installed / 2 );
      EXPECT_EQ( helper->problem( 0, feature, { "A", Acl::ip() } ),
            Ixo::AclCreateError::aclCreateErrorHardware );
      EXPECT_EQ( slice->ifpSmStatus()->status( key0 )->status(), ProgramResult::success );
      info()->mtpProgramInfoDel( Mtp( 0 ) );
      run();
      EXPECT_TRUE( entries( false ).empty() );
   }
   Karvel::sdkErrorStreamIs( nullptr );
   EXPECT_TRUE( said.str().starts_with( "bcm_field_action_get( unit, entryIter.key(), "
                                        "bcmFieldActionDrop, &utemp, &utemp ) API "
                                        "ERROR:Operation failed (rv:-11)\n" ) );
}

TEST_F( IfpBed, RulesAreNumberedWithoutGapsAndADestinationWithoutRulesHasNoConfiguration ) {
   for ( const char* name : { "A", "B", "C" } ) {
      setAcl( name, { Acl::RuleAction::permit } );
   }
   auto slice = programmer();
   auto mtp = info()->mtpProgramInfoIs( Mtp( 0 ) );
   for ( const char* name : { "A", "B", "C" } ) {
      addAcl( mtp, name );
   }
   run();
   auto config = slice->ifpSmConfig()->config( key0 );
   ASSERT_TRUE( config );
   EXPECT_EQ( config->rules().keys(), ( std::vector< uint32_t >{ 0, 1, 2 } ) );
   const Orv::UniqueId generation = config->updateId();
   mtp->aclDel( aclKey( "A" ) );
   mtp->aclDel( aclKey( "B" ) );
   EXPECT_EQ( config->updateId(), generation ) << "not before the task runs";
   run();
   EXPECT_EQ( config->rules().keys(), std::vector< uint32_t >{ 0 } );
   EXPECT_NE( config->updateId(), generation );
   EXPECT_EQ( entries().size(), 1U );
   mtp->aclDel( aclKey( "C" ) );
   run();
   EXPECT_FALSE( slice->ifpSmConfig()->configHas( key0 ) );
   EXPECT_FALSE( slice->ifpStatus()->statusHas( Mtp( 0 ) ) );
   EXPECT_FALSE( slice->ifpSmStatus()->statusHas( key0 ) );
   EXPECT_TRUE( entries( false ).empty() );
}

TEST_F( IfpBed, ProgramInformationThatGoesLeavesNoEntryAndItsReturnBringsAllBack ) {
   setAcl( "A", { Acl::RuleAction::permit } );
   auto slice = programmer();
   auto fill = [ & ] { addAcl( matching( Mtp( 0 ), { 1, 2 } ), "A" ); };
   fill();
   run();
   EXPECT_EQ( entries().size(), 3U );
   const auto configs = slice->ifpConfig();
   info( 5 ); // another logical FAP's
   programInfo->lfMtpProgramInfoDel( LogicalFap::LogicalFapId( 5 ) );
   EXPECT_EQ( entries().size(), 3U );
   programInfo->lfMtpProgramInfoDel( LogicalFap::LogicalFapId( 0 ) );
   EXPECT_TRUE( entries( false ).empty() );
   EXPECT_FALSE( slice->ifpProgrammer() );
   EXPECT_FALSE( slice->ifpSm() );
   EXPECT_EQ( slice->ifpConfig(), configs ) << "the collections stay";
   fill();
   run();
   EXPECT_EQ( entries().size(), 3U );
   EXPECT_EQ( slice->ifpSmStatus()->status( key0 )->status(), ProgramResult::success );
   // Gone and back within one batch is another entity.
   {
      Zol::Batch batch;
      programInfo->lfMtpProgramInfoDel( LogicalFap::LogicalFapId( 0 ) );
      matching( Mtp( 1 ), { 5 } );
   }
   run();
   EXPECT_EQ( entries().size(), 1U );
   slice = nullptr;
   EXPECT_TRUE( entries( false ).empty() );
}

TEST_F( IfpBed, AStaleStatusIsNotBelieved ) {
   auto slice = programmer();
   matching( Mtp( 0 ), { 1 } );
   run();
   auto smStatus = slice->ifpSmStatus()->status( key0 );
   auto status = slice->ifpStatus()->status( Mtp( 0 ) );
   const Orv::UniqueId answered = smStatus->updateId();
   status->statusIs( ProgramResult::entryInstallFailure );
   status->updateIdIs( Orv::UniqueId::fresh() );
   EXPECT_EQ( smStatus->status(), ProgramResult::success );
   EXPECT_EQ( smStatus->updateId(), answered );
   EXPECT_EQ( entries().size(), 1U );
   // The watcher of the feature's status does not believe such a one either.
   smStatus->updateIdIs( Orv::UniqueId::fresh() );
   smStatus->statusIs( ProgramResult::entryInstallFailure );
   EXPECT_TRUE( Flitlog::records().empty() );
   smStatus->updateIdIs( answered );
   EXPECT_EQ( Flitlog::records().size(), 1U );
}

TEST_F( IfpBed, WhatABrokenAgentAsksIsFatalButInSimulations ) {
   GTEST_FLAG_SET( death_test_style, "threadsafe" ); // the variable is read once per process
   auto slice = programmer();
   auto programUnknown = [ & ] {
      matching( Mtp( 0 ), { 1 } )->ipMatchIntfIs( Plix::IntfId( "Nowhere1" ) );
      run();
   };
   EXPECT_DEATH( mtpToFeature( 4 ), "false && \"Invalid MTP\"" );
   EXPECT_DEATH(
         {
            refuse( SdkCall::bcm_field_qualify_SrcIp );
            matching( Mtp( 0 ), { 1 } );
            run();
         },
         "bcm_field_qualify_SrcIp.* API ERROR:Operation failed \\(-11\\)" );
   EXPECT_DEATH( programUnknown(), "KarvelTcam::intfToPortHas\\( scsd\\(\\), intf \\)" );
   auto simulate = [ & ] {
      setenv( "SIMULATION_VMID", "7", 1 );
      programUnknown();
      const bool good = entries().size() == 1 &&
            slice->ifpSmStatus()->status( key0 )->status() == ProgramResult::success;
      exit( good ? 0 : 1 );
   };
   EXPECT_EXIT( simulate(), ::testing::ExitedWithCode( 0 ), "" );
}

} // namespace KarvelMirror::Slice
