// The request-based TCAM helper with the shared TCAM manager on the chip model: operations in,
// requests, entries and statuses out.

#include "Platform/Duolog/Duolog.h"
#include "Tests/PluginMounters/TcamBed.h"
#include "Tests/Raised.h"

namespace KarvelMirror {

using AgentServices::TcamRequestView;

class TheTcamHelperByRequests : public TcamBed {
 protected:
   TheTcamHelperByRequests() : TcamBed( Way::byRequests ) {}

   // The request of the only destination.
   TcamRequestView request() { return manager->requests().at( 0 ); }
};

TEST_F( TheTcamHelperByRequests, FilesEachDestinationUnderItsFeatureGroup ) {
   for ( uint8_t mtp = 0; mtp < 4; ++mtp ) {
      EXPECT_EQ( program( ingress( rule( { 1 } ) ), mtp ), Status::programmed );
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

TEST_F( TheTcamHelperByRequests, AsksForEachDestinationOfARuleInOneSequence ) {
   const uint32_t batches = manager->events()->batch();
   auto wanted = egress( rule( { 5 }, { 3, 4 }, { 9 } ) );
   wanted->groupData()->aclData( key( "egress" ) )->ruleIs( rule( {}, { 6 }, {}, 2 ) );
   EXPECT_EQ( program( wanted ), Status::programmed );
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
      EXPECT_EQ( action.value().param( 0 ), 3U );
      EXPECT_EQ( action.value().param( 1 ), 2U );
      EXPECT_TRUE( asked.counterSet().counterHas( KarvelTcam::CounterType::packets ) );
      EXPECT_TRUE( asked.counterSet().counterHas( KarvelTcam::CounterType::bytes ) );
   }
   EXPECT_EQ( entries,
         ( std::vector< std::string >{ "0 qualifier 26 trunk 9/255 by ports",
               "1 qualifier 25 port 3/255 by ports", "2 qualifier 25 port 4/255 by ports",
               "3 qualifier 25 port 6/255" } ) );
}

TEST_F( TheTcamHelperByRequests, AsksForTheWholeDestinationEachTime ) {
   const Acls first{ { "a", rule( { 5 } ) }, { "b", rule( { 2 } ) } };
   program( full( Op::ingress(), first ) );
   EXPECT_EQ( request().entries.size(), 2U );

   // What the helper remembers of an ACL is what was asked for last, whatever its place.
   auto fewer = op( Op::ingress(), { { "b", rule( { 2 } ) } } );
   fewer->delIs( key( "a" ) );
   program( fewer );
   auto of = Zol::dynamicCast< MtpTcamHelperSmV2 >( helper->mtpTcamSm( Mtp( 2 ) ) );
   EXPECT_EQ( of->aclDataCache( key( "b" ) )->rules(), 1U );
   EXPECT_EQ( of->requestConfig().begin().value()->requestSubConfigs(), 1U );
   program( full( Op::ingress(), first ) );

   // The same from scratch is nothing to do.
   const uint64_t calls = gate().calls();
   EXPECT_EQ( program( full( Op::ingress(), first ) ), Status::programmed );
   EXPECT_EQ( gate().calls(), calls );

   // Refused while it replaces what is there, a request is nowhere, and tried again.
   refuseAll( SdkCall::bcm_field_entry_create );
   const Acls next{ { "a", rule( { 6 } ) }, { "b", rule( { 2 } ) } };
   EXPECT_EQ( program( full( Op::ingress(), next ) ), Status::refused );
   EXPECT_TRUE( entries( false ).empty() );
   gate().faultsDelAll();
   Zol::activityManager().advance( 11 );
   EXPECT_EQ( request().status, Status::programmed );

   // Nothing wanted any more: incrementally, then from scratch.
   auto last = op( Op::ingress(), {} );
   last->delIs( key( "a" ) );
   last->delIs( key( "b" ) );
   EXPECT_EQ( program( last ), Status::programmed );
   EXPECT_TRUE( request().entries.empty() );
   EXPECT_TRUE( isEmpty() );
   EXPECT_EQ( program( full( Op::ingress(), {} ) ), Status::withdrawn );
   EXPECT_EQ( program( full( Op::ingress(), {} ) ), Status::withdrawn );
   // A new feature without a word of a full reprogram starts from scratch.
   program( full( Op::ingress(), first ) );
   EXPECT_EQ( program( op( Op::egress(), { { "egress", rule( {}, { 1 } ) } } ) ),
         Status::programmed );
   EXPECT_EQ( request().entries.size(), 1U );
   EXPECT_EQ( ids( "egress" ).size(), 1U );
   EXPECT_EQ( ids().size(), 1U );
}

TEST_F( TheTcamHelperByRequests, WithdrawsItsRequestsInWhateverOrderThingsGo ) {
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

TEST_F( TheTcamHelperByRequests, TracesTheStatusesOfRequestsAndStopsAtOthers ) {
   std::vector< std::string > lines;
   ASSERT_FALSE( Duolog::enable( "TcamConfigSm/1" ) );
   Duolog::sinkIs( [ & ]( std::string_view line ) { lines.emplace_back( line ); } );
   auto dir = Zol::dynamicCast< Zol::Dir >( statusDir->entity( "slice0" ) );
   const KarvelTcam::RequestKey reqKey( KarvelTcam::FeatureType::mirroring, "MirroringACL-2" );
   auto say = [ & ]( int type ) {
      dir->entityIs( "MirroringACL-2",
            Zol::Ptr< Zol::Entity >( Zol::make< KarvelTcam::RequestStatus >(
                  reqKey, static_cast< Status >( type ) ) ) );
   };
   size_t said = 0;
   for ( const int type : { 0, 2, 14, 15, 16, 17, 200 } ) {
      say( type );
      EXPECT_EQ( lines.size(), ++said ) << type;
   }
   EXPECT_EQ( program( egress( rule( {}, { 1 } ) ) ), Status::programmed );
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
   Duolog::sinkIs( {} );
   EXPECT_DEATH( v2.tcamConfigSm()->handleEventRequestStatus( nullptr ), "!!status" );
}

TEST_F( TheTcamHelperByRequests, RefusesAPortThatIsOutOfRange ) {
   EXPECT_EQ(
         raised< Zol::RangeError >( [] { KarvelTcam::PortQualifier( 0, 0xff, 1024, 0xff ); } ),
         "U10::value < 0 or > 0x03ff not allowed" );
}

} // namespace KarvelMirror
