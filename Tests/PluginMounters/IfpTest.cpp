// The ingress machines: which entries they keep, give back and try again, and what they say.

#include "Tests/PluginMounters/SliceBed.h"

namespace KarvelMirror::Slice {

using ChipModel::EntryView;

const IfpKey key0{ Mtp( 0 ) };

class TheIngressMachines : public SliceBed {
 protected:
   static IpMatch to( uint32_t address ) {
      IpMatch match;
      match.dstIpIs( Plix::IpAddr( address ) );
      match.dstIpMaskIs( Plix::IpAddr( 0xffffffff ) );
      return match;
   }
   // A destination that mirrors what goes to these addresses, with a turn of the loop.
   Zol::Ptr< MtpProgramInfo > matching(
         Mtp mtp, std::initializer_list< uint32_t > addresses, const char* intf = "E1" ) {
      auto made = info()->mtpProgramInfoIs( mtp );
      made->sessionIs( "s" );
      made->ipMatchIntfIs( Plix::IntfId( intf ) );
      for ( uint32_t address : addresses ) {
         made->ipMatchIs( to( address ) );
      }
      run();
      return made;
   }
   void setAcl( const Zol::String& name, std::initializer_list< Acl::RuleAction > actions ) {
      std::vector< Acl::RuleConfig > rules;
      for ( Acl::RuleAction action : actions ) {
         Acl::RuleConfig rule;
         rule.nameIs( "r" + std::to_string( rules.size() ) );
         rule.actionIs( action );
         rules.push_back( rule );
      }
      aclConfig->aclTypeConfigIs( Acl::ip() )
            ->aclIs( name )
            ->currCfgIs( Zol::make< const Acl::RuleList >( rules ) );
   }
   static AclKey aclKey( const Zol::String& name ) {
      AclKey key;
      key.aclNameIs( name );
      key.aclTypeIs( Acl::ip() );
      return key;
   }
   void addAcl( const Zol::Ptr< MtpProgramInfo >& mtp, const Zol::String& name ) {
      mtp->aclPortsIs( aclKey( name ) )->intfIs( Plix::IntfId( "E1" ) );
      mtp->aclIs( aclKey( name ) );
      run();
   }
   Zol::Ptr< IfpSmConfig > wanted() { return slice->ifpSmConfig()->config( key0 ); }
   Zol::Ptr< IfpSmStatus > known() { return slice->ifpSmStatus()->status( key0 ); }
};

TEST_F( TheIngressMachines, KeepTheEntriesOfUnchangedRulesWithoutANewGeneration ) {
   auto mtp = matching( Mtp( 0 ), { 1, 2, 3 } );
   const auto before = entries();
   ASSERT_EQ( before.size(), 3U );
   auto config = slice->ifpConfig()->config( Mtp( 0 ) );
   const Orv::UniqueId generation = config->updateId();
   const uint64_t calls = gate().calls();
   // Another destination's change has every destination answered anew, and touches none.
   matching( Mtp( 1 ), { 9 } );
   EXPECT_EQ( config->updateId(), generation );
   EXPECT_EQ( known()->updateId(), wanted()->updateId() );
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

TEST_F( TheIngressMachines, RewriteAnEntryToHoldExactlyTheNewContents ) {
   info();
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
TEST_F( TheIngressMachines, TakeNothingWhenTheyFailAndTryAgainWithTheNextGeneration ) {
   for ( const char* what : { "full", "refused", "no class" } ) {
      SCOPED_TRACE( what );
      const bool full = what == std::string_view( "full" );
      matching( Mtp( 0 ), { 1 } );
      if ( full ) {
         ASSERT_FALSE( box.control().capacityIs( 0, "ingress-entries", 2 ) );
      } else if ( what == std::string_view( "refused" ) ) {
         refuse( SdkCall::bcm_field_entry_install, 2 );
      } else {
         refuse( SdkCall::bcm_field_qualify_PortClass, 2, Fault::Effect::notDone,
               Shim::Sdk::QX_BCM_E_RESOURCE() );
      }
      matching( Mtp( 0 ), { 2, 3 } );
      EXPECT_EQ( known()->status(),
            full ? ProgramResult::entryAllocationFailure : ProgramResult::entryInstallFailure );
      EXPECT_EQ( known()->updateId(), wanted()->updateId() );
      EXPECT_EQ( programStatus->ifpProgramStatus( Mtp( 0 ) ),
            full ? ProgramStatus::resourceExhaustion : ProgramStatus::failed );
      EXPECT_TRUE( slice->ifpConfig()->config( Mtp( 0 ) )->rules().empty() );
      EXPECT_TRUE( entries( false ).empty() );
      const Strings said{ "KARVEL_MIRRORING_TCAM_RESOURCE_FULL" };
      EXPECT_EQ( loggedIds(), said );
      // Identical rules in a new generation.
      ASSERT_FALSE( box.control().capacityIs( 0, "ingress-entries", 3 ) );
      wanted()->updateIdIs( Orv::UniqueId::fresh() );
      EXPECT_EQ( known()->status(), ProgramResult::success );
      EXPECT_EQ( entries().size(), 3U );
      EXPECT_EQ( known()->ruless(), 3U );
      EXPECT_EQ( loggedIds(), said );
      info()->mtpProgramInfoDel( Mtp( 0 ) );
      Flitlog::recordsDelAll();
   }
}

TEST_F( TheIngressMachines, LeaveNothingInTheChipOfARuleThatBecomesAnAcls ) {
   setAcl( "A", { Acl::RuleAction::permit } );
   auto mtp = matching( Mtp( 0 ), { 1 } );
   const auto plain = entries();
   ASSERT_EQ( plain.size(), 1U );
   addAcl( mtp, "A" ); // ACLs are numbered first: its rule takes the match's number and entry
   EXPECT_EQ( entries().size(), 2U ) << "the ACL's entry, and the match's in another place";
   mtp->ipMatchDel( to( 1 ) );
   run();
   ASSERT_EQ( entries().size(), 1U );
   EXPECT_NE( entries()[ 0 ].id, plain[ 0 ].id );
   mtp->aclDel( aclKey( "A" ) );
   matching( Mtp( 0 ), { 2 } );
   ASSERT_EQ( entries().size(), 1U );
   EXPECT_EQ( entries()[ 0 ].actions.size(), 1U );
   // What was an ACL's from the start has no entry that a match could take over.
   mtp = info()->mtpProgramInfoIs( Mtp( 1 ) );
   addAcl( mtp, "A" );
   mtp->aclDel( aclKey( "A" ) );
   matching( Mtp( 1 ), { 3 } );
   EXPECT_EQ( entries().size(), 2U );
}

TEST_F( TheIngressMachines, MirrorByPermittingEntriesOfAnAclOnlyAndDropAtNoTime ) {
   setAcl( "A", { Acl::RuleAction::permit, Acl::RuleAction::deny } );
   bool dropped = false;
   gate().observerIs( [ & ]( const ChipModel::CallInfo& ) {
      for ( const EntryView& entry : entries() ) {
         dropped = dropped || hasAction( entry, Shim::FieldAction::drop );
      }
   } );
   addAcl( info()->mtpProgramInfoIs( Mtp( 2 ) ), "A" );
   addAcl( info()->mtpProgramInfoIs( Mtp( 2 ) ), "missing" ); // is not applied
   gate().observerIs( {} );
   EXPECT_FALSE( dropped );
   const auto installed = entries();
   ASSERT_EQ( installed.size(), 2U );
   ASSERT_EQ( installed[ 0 ].actions.size(), 1U );
   EXPECT_EQ( installed[ 0 ].actions[ 0 ].action, Shim::FieldAction::mirrorIngressTo );
   EXPECT_EQ( installed[ 0 ].actions[ 0 ].param0, 2U );
   EXPECT_TRUE( installed[ 1 ].actions.empty() );
   for ( const EntryView& entry : installed ) {
      EXPECT_EQ( find( entry, Shim::Qualifier::dstClassL2 ), nullptr );
   }
   // A change of the ACL alone reaches nothing; its destination's going takes it along.
   setAcl( "A", { Acl::RuleAction::permit } );
   run();
   EXPECT_EQ( entries().size(), 2U );
   info()->mtpProgramInfoDel( Mtp( 2 ) );
   EXPECT_TRUE( entries( false ).empty() );
}

TEST_F( TheIngressMachines, FollowTheInterfacesAndMakeNoEntryForAnotherVlan ) {
   auto mtp = matching( Mtp( 0 ), { 1 } );
   mtp->ipMatchIntfIs( Plix::IntfId( "E2" ) );
   run();
   EXPECT_EQ( chip().ports.at( 2 ).classBits, chip().ports.at( 1 ).classBits );
   std::vector< Acl::RuleConfig > rules( 2 );
   constexpr uint16_t vlans[] = { 10, 20 };
   for ( const uint16_t vlan : vlans ) {
      Acl::IpFilter filter;
      filter.vlanIdIs( vlan );
      filter.vlanIdMaskIs( 0xfff );
      rules[ vlan / 10 - 1U ].ipIs( filter );
   }
   aclConfig->aclTypeConfigIs( Acl::ip() )
         ->aclIs( "V" )
         ->currCfgIs( Zol::make< const Acl::RuleList >( rules ) );
   auto ports = mtp->aclPortsIs( aclKey( "V" ) );
   mtp->aclIs( aclKey( "V" ) );
   for ( const uint16_t vlan : vlans ) {
      ports->subIntfIs( Plix::IntfId( "E1", vlan ) );
      run();
      ASSERT_EQ( entries().size(), vlan / 10 + 1U );
      EXPECT_EQ( find( entries().back(), Shim::Qualifier::outerVlanId )->data[ 0 ], vlan );
   }
}

TEST_F( TheIngressMachines, DoNotMirrorWhatTheAgentTrapsOnItsLowestQueue ) {
   setAcl( "A", { Acl::RuleAction::permit } );
   for ( const uint32_t queue : { 0U, 1U } ) {
      gate().observerIs( [ & ]( const ChipModel::CallInfo& info ) {
         if ( info.call == SdkCall::bcm_field_action_get ) {
            gate().observerIs( {} );
            EXPECT_EQ( box.sdk().bcm_field_action_add( 0, entries( false ).back().id,
                             Shim::bcmFieldActionCosQCpuNew, queue, 0 ),
                  0 );
         }
      } );
      addAcl( info()->mtpProgramInfoIs( Mtp( 0 ) ), "A" );
      EXPECT_EQ( entries().at( 0 ).actions.size(), queue ) << "the mirror action or none";
      info()->mtpProgramInfoDel( Mtp( 0 ) );
      run();
   }
}

// The deny entry is the second one: it is asked for its drop action, and loses all of its actions.
TEST_F( TheIngressMachines, NeverDropNorMirrorByADenyEntryWhateverTheChipRefuses ) {
   using Refused = std::vector< std::pair< SdkCall, uint64_t > >;
   const std::pair< Refused, size_t > cases[] = {
      { { { SdkCall::bcm_field_action_get, 4 } }, 2 },
      { { { SdkCall::bcm_field_action_remove_all, 2 } }, 2 },
      { { { SdkCall::bcm_field_qualifier_delete, 1 } }, 2 },
      { { { SdkCall::bcm_field_action_remove_all, 2 },
              { SdkCall::bcm_field_action_remove, 1 } },
            0 },
   };
   setAcl( "A", { Acl::RuleAction::permit, Acl::RuleAction::deny } );
   std::ostringstream said;
   Karvel::sdkErrorStreamIs( &said );
   for ( const auto& [ refused, installed ] : cases ) {
      for ( const auto& [ call, nth ] : refused ) {
         refuse( call, nth );
      }
      addAcl( info()->mtpProgramInfoIs( Mtp( 0 ) ), "A" );
      EXPECT_EQ( entries().size(), installed );
      size_t mirroring = 0;
      for ( const EntryView& entry : entries() ) {
         mirroring += hasAction( entry, Shim::FieldAction::mirrorIngressTo );
         EXPECT_FALSE( hasAction( entry, Shim::FieldAction::drop ) );
      }
      EXPECT_EQ( mirroring, installed / 2 );
      EXPECT_EQ( helper->problem( 0, Karvel::KarvelAclFeature( 1 ), { "A", Acl::ip() } ),
            installed ? Ixo::AclCreateError::aclCreateErrorIncomplete
                      : Ixo::AclCreateError::aclCreateErrorHardware );
      EXPECT_EQ( helper->refusal( 0, Karvel::KarvelAclFeature( 1 ), { "A", Acl::ip() } )->what,
            sdkCallName( refused.back().first ) );
      EXPECT_EQ( known()->status(), ProgramResult::success );
      info()->mtpProgramInfoDel( Mtp( 0 ) );
      run();
      EXPECT_TRUE( entries( false ).empty() );
   }
   Karvel::sdkErrorStreamIs( nullptr );
   EXPECT_TRUE( said.str().starts_with( "bcm_field_action_get( unit, entryIter.key(), "
                                        "bcmFieldActionDrop, &utemp, &utemp ) API "
                                        "ERROR:Operation failed (rv:-11)\n" ) );
}

TEST_F( TheIngressMachines, NumberRulesWithoutGapsAndConfigureNothingWithoutRules ) {
   auto mtp = info()->mtpProgramInfoIs( Mtp( 0 ) );
   for ( const char* name : { "A", "B", "C" } ) {
      setAcl( name, { Acl::RuleAction::permit } );
      addAcl( mtp, name );
   }
   auto config = wanted();
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
   EXPECT_FALSE( wanted() || known() || slice->ifpStatus()->status( Mtp( 0 ) ) );
   EXPECT_TRUE( entries( false ).empty() );
}

TEST_F( TheIngressMachines, LeaveNoEntryWithoutInformationAndBringAllBackWithIt ) {
   setAcl( "A", { Acl::RuleAction::permit } );
   auto fill = [ & ] { addAcl( matching( Mtp( 0 ), { 1, 2 } ), "A" ); };
   fill();
   EXPECT_EQ( entries().size(), 3U );
   const auto configs = slice->ifpConfig();
   info( 5 ); // another logical FAP's
   forgetInfo( 5 );
   EXPECT_EQ( entries().size(), 3U );
   forgetInfo();
   EXPECT_TRUE( entries( false ).empty() );
   EXPECT_FALSE( slice->ifpProgrammer() || slice->ifpSm() );
   EXPECT_EQ( slice->ifpConfig(), configs ) << "the collections stay";
   fill();
   EXPECT_EQ( entries().size(), 3U );
   EXPECT_EQ( known()->status(), ProgramResult::success );
   // Gone and back within one batch is another entity.
   {
      Zol::Batch batch;
      forgetInfo();
      matching( Mtp( 1 ), { 5 } );
   }
   run();
   EXPECT_EQ( entries().size(), 1U );
   slice = nullptr;
   EXPECT_TRUE( entries( false ).empty() );
   start();
   EXPECT_EQ( entries().size(), 1U );
}

TEST_F( TheIngressMachines, DoNotBelieveAStaleStatus ) {
   matching( Mtp( 0 ), { 1 } );
   auto smStatus = known();
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
   EXPECT_TRUE( loggedIds().empty() );
   smStatus->updateIdIs( answered );
   EXPECT_EQ( loggedIds().size(), 1U );
}

TEST_F( TheIngressMachines, StopOnWhatABrokenAgentAsksButInSimulations ) {
   GTEST_FLAG_SET( death_test_style, "threadsafe" ); // the variable is read once per process
   auto programUnknown = [ & ] { matching( Mtp( 0 ), { 1 }, "Nowhere1" ); };
   EXPECT_DEATH( mtpToFeature( 4 ), "false && \"Invalid MTP\"" );
   EXPECT_DEATH( ( refuse( SdkCall::bcm_field_qualify_SrcIp ), matching( Mtp( 0 ), { 1 } ) ),
         "bcm_field_qualify_SrcIp.* API ERROR:Operation failed \\(-11\\)" );
   EXPECT_DEATH(
         ( refuse( SdkCall::bcm_field_qualify_PortClass ), matching( Mtp( 0 ), { 1 } ) ),
         "qualifyPortsClassId\\(.* API ERROR:Operation failed \\(-11\\)" );
   EXPECT_DEATH( programUnknown(), "KarvelTcam::intfToPortHas\\( scsd\\(\\), intf \\)" );
   auto simulate = [ & ] {
      setenv( "SIMULATION_VMID", "7", 1 );
      programUnknown();
      exit( entries().size() == 1 && known()->status() == ProgramResult::success ? 0 : 1 );
   };
   EXPECT_EXIT( simulate(), ::testing::ExitedWithCode( 0 ), "" );
}

} // namespace KarvelMirror::Slice
