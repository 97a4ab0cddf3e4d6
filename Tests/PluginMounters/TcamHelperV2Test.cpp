// The request-based TCAM helper with the shared TCAM manager on the chip model: operations in,
// requests, entries and statuses out.

#include "AgentServices/TcamRequestManager.h"
#include "Platform/Duolog/Duolog.h"
#include "PluginMounters/Slice/Ports/KarvelMirrorTcamHelperV2.h"
#include "Tests/PluginMounters/TcamBed.h"

namespace KarvelMirror {

using AgentServices::TcamRequestView;
using KarvelTcam::RequestStatusType;

class TcamHelperV2Test : public TcamBed {
 protected:
   TcamHelperV2Test() : TcamBed( "tomahawk3" ) {
      KarvelCentral::ChipAttributes attributes;
      attributes.chipIs( "tomahawk3" );
      scsd->chipAttributesIs( attributes );
      portClasses( true );
      manager =
            Zol::make< AgentServices::TcamRequestManager >( 0, "slice0", groups, statusDir );
      manager->zolStart();
      common->tcamEventsIs( manager->events() );
      common->intfProfileManagerIs(
            Zol::Ptr< KarvelTcam::KarvelTcamIntfProfileMgr >( manager->intfProfileManager() ) );
      start();
   }
   ~TcamHelperV2Test() override { Duolog::sinkIs( {} ); }

   void start() {
      helper = tcamHelperSmV2Factory( 0, config, status, scsd, LogicalFap::LogicalFapId( 0 ),
            nullptr, statusDir, common );
      helper->zolStart();
   }
   static void portClasses( bool has ) {
      KarvelCentral::ChipAttributes attributes;
      attributes.chipIs( "tomahawk3" );
      attributes.aclGroupIs( has );
      KarvelCentral::karvelAttributes()->chipAttributesIs( "tomahawk3", attributes );
   }
   RequestStatusType program( Zol::Ptr< const Op > wanted, uint8_t mtp = 2 ) {
      EXPECT_EQ( hand( wanted, mtp ), ProgStatus::success ) << "before the manager's turn";
      Zol::activityManager().runUntilIdle();
      return manager->requests().empty() ? RequestStatusType::withdrawn
                                         : manager->requests().back().status;
   }
   // The request of the only destination.
   TcamRequestView request() { return manager->requests().at( 0 ); }
   bool isEmpty() {
      Zol::activityManager().runUntilIdle();
      return remains().empty();
   }

   Zol::Ptr< Zol::Dir > statusDir = Zol::make< Zol::Dir >();
   Zol::Ptr< KarvelCentral::FeatureAgentCommonSmData > common =
         Zol::make< KarvelCentral::FeatureAgentCommonSmData >();
   Zol::Ptr< AgentServices::TcamRequestManager > manager;
};

TEST_F( TcamHelperV2Test, filesEachDestinationUnderItsFeatureGroup ) {
   for ( uint8_t mtp = 0; mtp < 4; ++mtp ) {
      EXPECT_EQ( program( ingress( rule( { 1 } ) ), mtp ), RequestStatusType::programmed );
   }
   const auto requests = manager->requests();
   ASSERT_EQ( requests.size(), 4U );
   for ( size_t mtp = 0; mtp < 4; ++mtp ) {
      EXPECT_EQ( static_cast< size_t >( requests[ mtp ].group ), 130 + mtp );
      EXPECT_EQ( requests[ mtp ].key.requestName(), "MirroringACL-" + std::to_string( mtp ) );
   }
   EXPECT_EQ( chip().groups.size(), 4U );
   EXPECT_DEATH( hand( ingress( rule( { 1 } ) ), 4 ), "Unknown mtp" );
}

TEST_F( TcamHelperV2Test, asksForEachDestinationOfARuleInOneSequence ) {
   const uint32_t batches = manager->events()->batch();
   auto wanted = egress( rule( { 5 }, { 3, 4 }, { 9 } ) );
   wanted->groupData()->aclData( key( "egress" ) )->ruleIs( rule( {}, { 6 }, {}, 2 ) );
   EXPECT_EQ( program( wanted ), RequestStatusType::programmed );
   EXPECT_EQ( manager->events()->batch(), batches + 1 ) << "one review for the whole pass";
   std::vector< std::string > entries;
   for ( const TcamRequestView::Entry& entry : request().entries ) {
      const KarvelTcam::EntryRequest& asked = *entry.request;
      std::string text = std::to_string( asked.ruleId().sequence() );
      for ( auto iter = asked.portQualifier().begin(); iter != asked.portQualifier().end();
            ++iter ) {
         text += " qualifier " + std::to_string( static_cast< int >( iter.key() ) ) + " port " +
               iter.value().portId().toString() + "/" + iter.value().portIdMask().toString();
      }
      for ( auto iter = asked.qualifier().begin(); iter != asked.qualifier().end(); ++iter ) {
         text += " qualifier " + std::to_string( static_cast< int >( iter.key() ) ) +
               " trunk " + std::to_string( iter.value().data() ) + "/" +
               std::to_string( iter.value().mask() );
      }
      entries.push_back( text + ( asked.intfProfile() ? " by ports" : "" ) );
      EXPECT_EQ( static_cast< int >( asked.featureAction() ), 54 );
      const auto action = asked.actionParams().begin();
      EXPECT_EQ( static_cast< int >( action.key() ), 57 );
      EXPECT_EQ( action.value().param( 0 ), 0U );
      EXPECT_EQ( action.value().param( 1 ), 2U );
      EXPECT_TRUE( asked.counterSet().counterHas( KarvelTcam::CounterType::packets ) );
      EXPECT_TRUE( asked.counterSet().counterHas( KarvelTcam::CounterType::bytes ) );
   }
   EXPECT_EQ( entries,
         ( std::vector< std::string >{ "0 qualifier 26 trunk 9/255 by ports",
               "1 qualifier 25 port 3/255 by ports", "2 qualifier 25 port 4/255 by ports",
               "3 qualifier 25 port 6/255" } ) );
   for ( const auto& entry : chip().entries ) {
      EXPECT_EQ( entry.actions.at( 0 ).action, Shim::FieldAction::mirrorEgress );
      EXPECT_EQ( entry.actions[ 0 ].param1, 2U );
   }
}

TEST_F( TcamHelperV2Test, asksByClassOrByBitmapAsTheChipHasIt ) {
   RuleData wanted = rule( { 1, 2 } );
   CommonQuals quals;
   quals.outerVlanIdIs( 20 );
   quals.outerVlanIdMaskIs( 0xfff );
   wanted.commonIs( quals ); // is not a part of a request
   for ( const bool has : { true, false } ) {
      portClasses( has );
      program( ingress( wanted ) );
      const auto entry = chip().entries.at( 0 );
      ASSERT_EQ( entry.qualifiers.size(), 1U );
      EXPECT_EQ( entry.qualifiers[ 0 ].qualifier,
            has ? Shim::Qualifier::portClass : Shim::Qualifier::inPorts );
      EXPECT_EQ( entry.actions.at( 0 ).action, Shim::FieldAction::mirrorIngress );
      const KarvelTcam::EntryRequest& asked = *request().entries.at( 0 ).request;
      EXPECT_EQ( static_cast< int >( asked.featureAction() ), 55 );
      EXPECT_EQ( static_cast< int >( asked.actionParams().begin().key() ), 58 );
   }
}

TEST_F( TcamHelperV2Test, replacesTheSubConfigurationAndKeepsUnchangedEntries ) {
   const Acls first{ { "a", rule( { 1 } ) }, { "b", rule( { 2 } ) }, { "c", rule( { 3 } ) } };
   program( full( Op::ingress(), first ) );
   const auto kept = ids( "-b" );
   const auto changed = ids( "-a" );
   auto next = op( Op::ingress(), { { "a", rule( { 5 } ) }, { "b", rule( { 2 } ) } } );
   next->changeIs( key( "a" ), { true, true } );
   next->delIs( key( "c" ) );
   next->delIs( key( "never was" ) );
   EXPECT_EQ( program( next ), RequestStatusType::programmed );
   EXPECT_EQ( ids( "-b" ), kept );
   EXPECT_NE( ids( "-a" ), changed );
   EXPECT_EQ( ids().size(), 2U );
   EXPECT_EQ( request().entries.size(), 2U );

   // The same from scratch is nothing to do.
   const uint64_t calls = gate().calls();
   EXPECT_EQ(
         program( full( Op::ingress(), { { "a", rule( { 5 } ) }, { "b", rule( { 2 } ) } } ) ),
         RequestStatusType::programmed );
   EXPECT_EQ( gate().calls(), calls );

   // Nothing wanted any more: incrementally, then from scratch.
   auto last = op( Op::ingress(), {} );
   last->delIs( key( "a" ) );
   last->delIs( key( "b" ) );
   EXPECT_EQ( program( last ), RequestStatusType::programmed );
   EXPECT_TRUE( request().entries.empty() );
   EXPECT_TRUE( isEmpty() );
   EXPECT_EQ( program( full( Op::ingress(), {} ) ), RequestStatusType::withdrawn );
   EXPECT_EQ( program( full( Op::ingress(), {} ) ), RequestStatusType::withdrawn );
   // A new feature without a word of a full reprogram starts from scratch.
   program( full( Op::ingress(), first ) );
   EXPECT_EQ( program( op( Op::egress(), { { "egress", rule( {}, { 1 } ) } } ) ),
         RequestStatusType::programmed );
   EXPECT_EQ( request().entries.size(), 1U );
   EXPECT_EQ( ids( "egress" ).size(), 1U );
   EXPECT_EQ( ids().size(), 1U );
}

TEST_F( TcamHelperV2Test, withdrawsItsRequestsInWhateverOrderThingsGo ) {
   const auto wanted = ingress( rule( { 1 } ) );
   program( wanted, 1 );
   program( wanted );
   config->mtpHelperConfigDel( Mtp( 2 ) );
   Zol::activityManager().runUntilIdle();
   EXPECT_EQ( manager->requests().size(), 1U );
   EXPECT_FALSE( status->mtpHelperStatusHas( Mtp( 2 ) ) );
   helper = nullptr;
   EXPECT_TRUE( isEmpty() );
   EXPECT_TRUE( manager->requests().empty() );
   // A new slice on the same manager, which goes first this time.
   start();
   EXPECT_FALSE( isEmpty() ) << "what is configured is programmed at once";
   manager = nullptr;
   EXPECT_TRUE( isEmpty() );
   helper = nullptr;
}

TEST_F( TcamHelperV2Test, tracesTheStatusesOfRequestsAndStopsAtOthers ) {
   std::vector< std::string > lines;
   ASSERT_FALSE( Duolog::enable( "TcamConfigSm/1" ) );
   Duolog::sinkIs( [ & ]( std::string_view line ) { lines.emplace_back( line ); } );
   auto dir = Zol::dynamicCast< Zol::Dir >( statusDir->entity( "slice0" ) );
   const KarvelTcam::RequestKey reqKey( KarvelTcam::FeatureType::mirroring, "MirroringACL-2" );
   auto say = [ & ]( int type ) {
      dir->entityIs( "MirroringACL-2",
            Zol::Ptr< Zol::Entity >( Zol::make< KarvelTcam::RequestStatus >(
                  reqKey, static_cast< RequestStatusType >( type ) ) ) );
   };
   size_t said = 0;
   for ( const int type : { 0, 2, 14, 15, 16, 17, 200 } ) {
      say( type );
      EXPECT_EQ( lines.size(), ++said ) << type;
   }
   EXPECT_EQ( program( egress( rule( {}, { 1 } ) ) ), RequestStatusType::programmed );
   EXPECT_EQ( lines.size(), said + 2 ) << "under review, and then programmed";
   dir->entityDel( "MirroringACL-2" ); // is nothing said
   statusDir->entityDel( "slice0" );
   EXPECT_EQ( lines.size(), said + 2 );
   Duolog::disableAll();
   for ( int type = 1; type <= 13; ++type ) {
      if ( type != 2 ) {
         statusDir->entityIs( "slice0", Zol::Ptr< Zol::Entity >( dir ) );
         EXPECT_DEATH( say( type ), "Unexpected RequestStatusType" ) << type;
      }
   }
   auto& v2 = dynamic_cast< TcamHelperSmV2& >( *helper );
   EXPECT_DEATH( v2.tcamConfigSm()->handleEventRequestStatus( nullptr ), "!!status" );
}

TEST_F( TcamHelperV2Test, stopsOnWhatABrokenAgentAsks ) {
   expectDeathOfWhatIsBroken();
   try {
      KarvelTcam::PortQualifier( 0, 0xff, 1024, 0xff );
      ADD_FAILURE();
   } catch ( const Zol::RangeError& error ) {
      EXPECT_STREQ( error.what(), "U10::value < 0 or > 0x03ff not allowed" );
   }
}

} // namespace KarvelMirror
