// The egress machines: which entries and policers they keep, give back and try again, and what
// they say.

#include "Platform/KarvelMirror/Features.h"
#include "Tests/PluginMounters/SliceBed.h"

namespace KarvelMirror::Slice {

using ChipModel::EntryView;
using Shim::Qualifier;

namespace {

constexpr auto portRate = TcamFeature::EfpFeature::efpPortRateLimit;

Plix::IpAddr address( std::string_view text ) { return *Plix::IpAddr::fromString( text ); }

} // namespace

class TheEgressMachines : public SliceBed {
 protected:
   static DstPort dstPort( int64_t port, uint32_t rate, int32_t tunnel = -1 ) {
      DstPort result;
      result.portIs( KarvelTypes::KarvelPort( 0, port ) );
      result.rateIs( rate );
      result.tunnelIdxIs( tunnel );
      return result;
   }
   // A destination with these ports and no others, with a turn of the loop.
   void destination( uint8_t mtp, std::initializer_list< DstPort > ports ) {
      auto made = info()->mtpProgramInfoIs( Mtp( mtp ) );
      made->dstPortDelAll();
      for ( const DstPort& port : ports ) {
         made->dstPortIs( port );
      }
      run();
   }
   void tunnel( uint8_t id, Plix::IpGenAddr from, Plix::IpGenAddr to, uint32_t dscp ) {
      auto made = info()->tunnelIs( TunnelId( id ) );
      TunnelParameters parameters;
      parameters.srcIpIs( from );
      parameters.dstIpIs( to );
      parameters.dscpIs( dscp );
      made->parametersIs( parameters );
      made->activeIs( true );
   }
   void tunnel( uint8_t id ) { tunnel( id, address( "10.0.0.1" ), address( "10.9.0.1" ), 46 ); }
   // Copies by port 2 get a tag.
   void portTwoIsAChannel() {
      Karvel::SourceTag tag;
      tag.signatureIs( 0x88b6 );
      tag.prioIs( 5 );
      tag.deviceIdIs( 3 );
      tag.offsetIs( 12 );
      scsd->sourceTagIs( tag );
      scsd->portTypeIs( KarvelTypes::KarvelPort( 0, 2 ), Karvel::PortType::channel );
      scsd->karvelPortChannelIs( KarvelTypes::KarvelPort( 0, 2 ), 9 );
   }

   size_t policers() { return chip().policers.size(); }
   static uint32_t valueOf( const EntryView& entry, Qualifier qualifier ) {
      const auto* value = find( entry, qualifier );
      return value != nullptr ? value->data.at( 0 ) : ~0U;
   }
   const Strings rateFull{ "KARVEL_MIRRORING_RATELIMIT_HW_RESOURCE_FULL" };
   const Strings tcamFull{ "KARVEL_MIRRORING_GRE_TCAM_RESOURCE_FULL" };
};

TEST_F( TheEgressMachines, ShareAPolicerByItsRateUntilItsLastUserGoes ) {
   const DstPort two = dstPort( 2, 1000 ), three = dstPort( 3, 3000 );
   destination( 0, { dstPort( 1, 1000 ), two, three, dstPort( 4, 0 ) } );
   const auto all = entries();
   ASSERT_EQ( all.size(), 3U ) << "none for the port without a rate";
   EXPECT_EQ( all[ 0 ].policer, all[ 1 ].policer );
   EXPECT_NE( all[ 0 ].policer, all[ 2 ].policer );
   EXPECT_EQ( valueOf( all[ 2 ], Qualifier::outPort ), 3U );
   EXPECT_TRUE( hasAction( all[ 2 ], Shim::FieldAction::rpDrop ) );
   const auto limits = chip().policers;
   ASSERT_EQ( limits.size(), 2U );
   EXPECT_EQ( limits[ 1 ].config.ckbits_sec, 3000U );
   EXPECT_EQ( limits[ 1 ].config.ckbits_burst, 4500U );
   EXPECT_EQ( programStatus->efpProgramStatus( RateLimitKind::port ), ProgramStatus::success );

   destination( 0, { two, three } );
   ASSERT_EQ( entries().size(), 2U );
   EXPECT_EQ( entries()[ 0 ].id, all[ 1 ].id ) << "an entry stays with its port";
   EXPECT_EQ( policers(), 2U );
   destination( 0, { three } );
   EXPECT_EQ( policers(), 1U );
   refuse( SdkCall::bcm_policer_destroy );
   destination( 0, {} );
   EXPECT_EQ( policers(), 1U );
   Zol::activityManager().advance( 2 );
   EXPECT_EQ( entries( false ).size() + policers(), 0U ) << "what the chip keeps goes later";
   EXPECT_FALSE( slice->efpSmConfig()->configHas( EfpKey( portRate ) ) );
   EXPECT_FALSE( programStatus->efpProgramStatusHas( RateLimitKind::port ) );
   // Of two rates for a port the higher counts; a burst may need all bits of its number, and more.
   destination( 0, { three } );
   destination( 1, { dstPort( 3, 2'000'000'000 ), dstPort( 2, 4'000'000'000 ) } );
   ASSERT_EQ( policers(), 2U );
   EXPECT_EQ( chip().policers[ 0 ].config.ckbits_burst, 3'000'000'000U );
   EXPECT_EQ( chip().policers[ 1 ].config.ckbits_burst, ~0U );
}

TEST_F( TheEgressMachines, GiveATunnelOneEntryForEachOfItsPortsAndItsDscp ) {
   destination( 0, { dstPort( 1, 1000, 0 ) } );
   EXPECT_TRUE( entries( false ).empty() ) << "there is no such tunnel";
   tunnel( 0 );
   tunnel( 1 );
   destination( 1, { dstPort( 1, 5000, 1 ) } );
   ASSERT_EQ( entries().size(), 1U );
   const EntryView entry = entries()[ 0 ];
   EXPECT_EQ( valueOf( entry, Qualifier::outPort ), 1U );
   EXPECT_EQ( valueOf( entry, Qualifier::srcIp ), address( "10.0.0.1" ).value() );
   EXPECT_EQ( valueOf( entry, Qualifier::dstIp ), address( "10.9.0.1" ).value() );
   EXPECT_EQ( valueOf( entry, Qualifier::ipProtocol ), 47U );
   EXPECT_EQ( find( entry, Qualifier::srcIp )->mask[ 0 ], ~0U );
   EXPECT_EQ( find( entry, Qualifier::dstIp )->mask[ 0 ], ~0U );
   ASSERT_NE( find( entry, Qualifier::dscp ), nullptr );
   EXPECT_EQ( find( entry, Qualifier::dscp )->data[ 0 ], 184U );
   EXPECT_EQ( find( entry, Qualifier::dscp )->mask[ 0 ], 252U );
   EXPECT_EQ( entry.name, "EFP GRE Rate Limit" );

   // Another DSCP is another tunnel; IPv6 has no rules.
   tunnel( 1, address( "10.0.0.1" ), address( "10.9.0.1" ), 0 );
   tunnel( 2, *Plix::Ip6Addr::fromString( "fc00::1" ), *Plix::Ip6Addr::fromString( "fc00::2" ),
         0 );
   destination( 2, { dstPort( 4, 700, 2 ) } );
   destination( 0, { dstPort( 1, 1000, 0 ), dstPort( 2, 1000, 0 ) } );
   EXPECT_EQ( entries().size(), 3U );
   EXPECT_EQ( policers(), 2U );
   info()->tunnelDel( TunnelId( 0 ) );
   run();
   EXPECT_EQ( entries().size(), 1U );
}

TEST_F( TheEgressMachines, TagTheCopiesOfAChannelPort ) {
   portTwoIsAChannel();
   tunnel( 0 );
   refuse( SdkCall::bcm_field_entry_install );
   destination( 0, { dstPort( 1, 0, 0 ), dstPort( 2, 0, 0 ) } );
   EXPECT_EQ( loggedIds(), tcamFull ) << "no rate is lost";
   destination( 0, {} );
   destination( 0, { dstPort( 1, 0, 0 ), dstPort( 2, 0, 0 ) } );
   ASSERT_EQ( entries().size(), 1U ) << "the other port has nothing to be done to it";
   const EntryView plain = entries()[ 0 ];
   EXPECT_EQ( plain.name, "EFP GRE" );
   EXPECT_EQ( plain.policer, 0U );
   std::map< Shim::FieldAction, uint32_t > actions;
   for ( const ChipModel::ActionValue& action : plain.actions ) {
      actions[ action.action ] = action.param0;
   }
   using Shim::FieldAction;
   const std::map< FieldAction, uint32_t > wanted{ { FieldAction::svtagEnable, 1 },
      { FieldAction::svtagSignature, 0x88b6 }, { FieldAction::svtagPrio, 5 },
      { FieldAction::svtagDeviceId, 3 }, { FieldAction::svtagOffset, 12 },
      { FieldAction::svtagSubportNum, 9 } };
   EXPECT_EQ( actions, wanted );
   // A rate comes and goes: the entry stays, and holds no more than the rule says.
   destination( 0, { dstPort( 2, 800, 0 ) } );
   ASSERT_EQ( entries().size(), 1U );
   EXPECT_EQ( entries()[ 0 ].id, plain.id );
   EXPECT_TRUE( hasAction( entries()[ 0 ], FieldAction::rpDrop ) );
   EXPECT_TRUE( hasAction( entries()[ 0 ], FieldAction::svtagEnable ) );
   destination( 0, { dstPort( 2, 0, 0 ) } );
   EXPECT_EQ( entries()[ 0 ].id, plain.id );
   EXPECT_FALSE( hasAction( entries()[ 0 ], FieldAction::rpDrop ) );
   EXPECT_EQ( entries()[ 0 ].policer, 0U );
   EXPECT_EQ( policers(), 0U );
}

TEST_F( TheEgressMachines, ShrinkAndRenumberInAnExactlyFullTcam ) {
   ASSERT_FALSE( box.control().capacityIs( 0, "egress-entries", 4 ) );
   // Rules are numbered by rate: 1000 is the first, with one port; 2000 the second, with three.
   destination( 0,
         { dstPort( 1, 1000 ), dstPort( 2, 2000 ), dstPort( 3, 2000 ), dstPort( 4, 2000 ) } );
   ASSERT_EQ( entries().size(), 4U );
   // The first rule's number goes to the three.
   destination( 0, { dstPort( 2, 2000 ), dstPort( 3, 2000 ), dstPort( 4, 2000 ) } );
   EXPECT_EQ( entries().size(), 3U );
   destination(
         0, { dstPort( 1, 500 ), dstPort( 2, 2000 ), dstPort( 3, 2000 ), dstPort( 4, 900 ) } );
   EXPECT_EQ( entries().size(), 4U );
   EXPECT_EQ( policers(), 3U );
   EXPECT_TRUE( loggedIds().empty() );
}

// What finds no room or is refused takes all of its feature back, says so once, and comes with
// the next generation.
TEST_F( TheEgressMachines, TakeNothingWhenTheyFailAndTryAgainWithTheNextGeneration ) {
   struct Case {
      const char* scarce; // none: a call is refused
      int tooFew;
      ProgramResult result;
      Strings said;
      SdkCall call{};
      uint64_t nth = 1;
   };
   constexpr auto refused = ProgramResult::entryInstallFailure;
   const Case cases[] = {
      { "egress-entries", 2, ProgramResult::entryAllocationFailure, tcamFull },
      { "policers", 1, refused, rateFull },
      { nullptr, 0, refused, rateFull, SdkCall::bcm_field_entry_install, 3 },
      { nullptr, 0, refused, rateFull, SdkCall::bcm_field_qualify_OutPort, 2 },
      { nullptr, 0, refused, rateFull, SdkCall::bcm_field_qualify_MirrorCopy },
      { nullptr, 0, refused, rateFull, SdkCall::bcm_field_action_add, 2 },
      { nullptr, 0, refused, rateFull, SdkCall::bcm_field_entry_policer_attach },
      { nullptr, 0, refused, rateFull, SdkCall::bcm_field_action_remove_all },
   };
   const auto roomFor = [ & ]( const char* what, int count ) {
      ASSERT_FALSE( what && box.control().capacityIs( 0, what, count ) );
   };
   for ( const Case& one : cases ) {
      SCOPED_TRACE( one.scarce ? one.scarce : sdkCallName( one.call ) );
      destination( 0, { dstPort( 1, 1000 ) } );
      roomFor( one.scarce, one.tooFew );
      if ( !one.scarce ) {
         refuse( one.call, one.nth );
      }
      destination( 0, { dstPort( 1, 1000 ), dstPort( 2, 1000 ), dstPort( 3, 3000 ) } );
      EXPECT_TRUE( entries( false ).empty() ) << "the entry that there was goes, too";
      EXPECT_EQ( policers(), 0U );
      auto config = slice->efpSmConfig()->config( EfpKey( portRate ) );
      auto status = slice->efpSmStatus()->status( EfpKey( portRate ) );
      EXPECT_EQ( status->status(), one.result );
      EXPECT_EQ( status->updateId(), config->updateId() );
      EXPECT_TRUE( status->rules().empty() ) << "no dead ids";
      EXPECT_TRUE( slice->efpConfig()->config( portRate )->rules().empty() );
      EXPECT_NE(
            programStatus->efpProgramStatus( RateLimitKind::port ), ProgramStatus::success );
      EXPECT_EQ( loggedIds(), one.said );
      roomFor( one.scarce, one.tooFew + 1 );
      config->updateIdIs( Orv::UniqueId::fresh() );
      EXPECT_EQ( status->status(), ProgramResult::success );
      EXPECT_EQ( entries().size(), 3U );
      EXPECT_EQ( policers(), 2U );
      EXPECT_EQ( loggedIds(), one.said );
      forgetInfo();
      Flitlog::recordsDelAll();
   }
}

TEST_F( TheEgressMachines, DoNotStopAtARefusedQualifier ) {
   refuse( SdkCall::bcm_field_qualify_OutPort, 1 );
   Duolog::enable( "EfpProgrammer/0" );
   std::string said;
   Duolog::sinkIs( [ & ]( std::string_view line ) { said += line; } );
   destination( 0, { dstPort( 1, 1000 ), dstPort( 2, 1000 ) } );
   Duolog::disableAll();
   Duolog::sinkIs( {} );
   EXPECT_TRUE( said.ends_with( " EntryId: 1 API ERROR:bcm_field_qualify_OutPort( unit(), "
                                "entryId, port.sdkPort(), ~0 ) (rc:-11)" ) );
   EXPECT_EQ( calls( SdkCall::bcm_field_qualify_MirrorCopy ), 1U ) << "of the other entry";
   EXPECT_EQ( calls( SdkCall::bcm_field_entry_install ), 2U );
   EXPECT_EQ( programStatus->efpProgramStatus( RateLimitKind::port ), ProgramStatus::failed );
   EXPECT_EQ( groups->lastRefusal( 0, KarvelMirror::portRateLimitFeature )->what,
         "bcm_field_qualify_OutPort" );
   // Nor at a refused policer; what was refused before is forgotten.
   destination( 0, {} );
   destination( 0, { dstPort( 1, 1000 ) } );
   EXPECT_FALSE( groups->lastRefusal( 0, KarvelMirror::portRateLimitFeature ) );
   refuse( SdkCall::bcm_field_entry_policer_attach );
   const uint64_t installed = calls( SdkCall::bcm_field_entry_install );
   destination( 0, { dstPort( 1, 1000 ), dstPort( 2, 1000 ), dstPort( 3, 1000 ) } );
   EXPECT_EQ( calls( SdkCall::bcm_field_entry_install ), installed + 3 );
   EXPECT_EQ( groups->lastRefusal( 0, KarvelMirror::portRateLimitFeature )->what,
         "bcm_field_entry_policer_attach" );
}

TEST_F( TheEgressMachines, LoseEverythingWithTheirInformationAndComeBackWhole ) {
   tunnel( 0 );
   destination( 0, { dstPort( 1, 1000, 0 ), dstPort( 2, 2000 ) } );
   ASSERT_EQ( entries().size(), 2U );
   forgetInfo();
   run();
   EXPECT_EQ( entries( false ).size() + policers(), 0U );
   EXPECT_TRUE( chip().groups.empty() );
   EXPECT_TRUE( slice->efpConfig() && slice->efpSmConfig() && slice->efpStatus() &&
         slice->efpSmStatus() );
   EXPECT_TRUE( programStatus->efpProgramStatus().empty() );
   tunnel( 0 );
   destination( 0, { dstPort( 1, 1000, 0 ), dstPort( 2, 2000 ) } );
   EXPECT_EQ( entries().size(), 2U );
   slice = nullptr;
   EXPECT_EQ( entries( false ).size() + policers(), 0U );
}

TEST_F( TheEgressMachines, StopTheAgentOnBrokenInvariants ) {
   tunnel( 0 );
   scsd->portTypeIs( KarvelTypes::KarvelPort( 0, 2 ), Karvel::PortType::channel );
   EXPECT_DEATH( { destination( 0, { dstPort( 2, 0, 0 ) } ); }, "channelId" );
   destination( 0, { dstPort( 1, 1000 ) } );
   EXPECT_DEATH(
         {
            auto config = slice->efpConfig()->config( portRate );
            EfpRuleData rule( config->rules().begin().key() );
            config->rulesIs( rule );
            config->updateIdIs( Orv::UniqueId::fresh() );
         },
         "rule.outPorts\\(\\) == 1" );
}

} // namespace KarvelMirror::Slice
