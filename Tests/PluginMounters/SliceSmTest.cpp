// The slice's machines without a TCAM helper: which operations they hand over, and when.

#include <gtest/gtest.h>

#include <optional>

#include "PluginMounters/Slice/Ports/KarvelMirrorSliceSm.h"
#include "Tests/Raised.h"

namespace KarvelMirror {

using Op = ProgrammingOp;

class TheSliceMachines : public ::testing::Test {
 protected:
   TheSliceMachines() {
      Zol::activityManager().timeSourceIs( Zol::TimeSource::virtualTime );
      for ( int port = 1; port <= 8; ++port ) {
         scsd->karvelPortToIntfIs( { 0, port }, "Ethernet" + std::to_string( port ) );
      }
      scsd->lagPortListIs( 5 )->portIs( { 0, 8 } );
      scsd->lagPortListIs( 6 );
      root = sliceRootSmFactory( 0, Zol::make< Acl::Config >( "acl/config/cli" ), coll,
            Zol::make< SliceCapability >(), programStatus, scsd, helperConfig, helperStatus,
            Zol::make< Mirroring::Config >() );
      root->zolStart();
   }

   // Publishes a destination's sources, and lets the loop run.
   Zol::Ptr< MtpProgramInfo > publish(
         Direction direction, std::vector< int > ports, std::vector< int > trunks = {} ) {
      std::optional< Zol::Batch > batch( std::in_place );
      auto info = coll->lfMtpProgramInfoIs( fap )->mtpProgramInfoIs( mtp );
      info->directionIs( direction );
      info->aclPortMirroringIs( true );
      for ( int port : ports ) {
         info->srcPortIs( SourcePort::ofPort( 0, port ) );
      }
      for ( int trunk : trunks ) {
         info->srcPortIs( SourcePort::ofTrunk( trunk ) );
      }
      batch.reset();
      run();
      return info;
   }
   void run() { Zol::activityManager().runUntilIdle(); }
   Zol::Ptr< const Op > op() const {
      return helperConfig->mtpHelperConfig( mtp )->programmingOp();
   }
   void expectFull( Op::TcamFeature feature ) {
      EXPECT_TRUE( op()->fullReprogram() );
      EXPECT_EQ( op()->feature(), feature );
   }
   RuleData onlyRule( const Zol::String& aclName ) const {
      auto acl = op()->groupData()->aclData( TcamAclKey( aclName, TcamAclType::port() ) );
      if ( !acl || acl->rules() != 1 || op()->groupData()->aclDatas() != 1 ) {
         ADD_FAILURE() << "not one rule of one ACL";
         return RuleData();
      }
      return acl->rule().begin().value();
   }

   const Mtp mtp{ 1 };
   const LogicalFap::LogicalFapId fap{ 0 };
   Zol::Ptr< Karvel::KarvelCommonSmData > scsd = Zol::make< Karvel::KarvelCommonSmData >();
   Zol::Ptr< LogicalFapMtpProgramInfoColl > coll = Zol::make< LogicalFapMtpProgramInfoColl >();
   Zol::Ptr< SliceMtpProgramStatus > programStatus = Zol::make< SliceMtpProgramStatus >();
   Zol::Ptr< TcamHelperConfig > helperConfig = tcamHelperConfigFactory();
   Zol::Ptr< TcamHelperStatus > helperStatus = tcamHelperStatusFactory();
   Zol::Ptr< SliceRootSm > root;
};

TEST_F( TheSliceMachines, ReprogramInFullWithTheSupportedSourcesAtTheFirstReview ) {
   publish( Direction::egress, { 2, 40 }, { 5, 6, 7 } );
   expectFull( Op::egress() );
   const RuleData rule = onlyRule( "egress" );
   EXPECT_TRUE( rule.outPorts() == 1 && rule.outPortHas( { 0, 2 } ) );
   EXPECT_TRUE( rule.outLags() == 1 && rule.outLagHas( 5 ) );
   EXPECT_TRUE( rule.inPort().empty() );
   coll->lfMtpProgramInfo( fap )->mtpProgramInfoDel( mtp );
   auto info = publish( Direction::ingress, { 40 } );
   expectFull( Op::noFeature() );
   EXPECT_EQ( op()->groupData()->aclDatas(), 0U );
   info->srcPortIs( SourcePort::ofPort( 0, 1 ) );
   run();
   EXPECT_EQ( op()->feature(), Op::ingress() );
   EXPECT_EQ( onlyRule( "ingress" ).inPorts(), 1U );
   EXPECT_TRUE( onlyRule( "ingress" ).outPort().empty() );
}

TEST_F( TheSliceMachines, RaiseARangeErrorForASourcePortBeyondItsType ) {
   auto info = publish( Direction::ingress, { 1 } );
   info->srcPortIs( SourcePort::ofPort( 0, 1024 ) );
   EXPECT_EQ( raised< Zol::RangeError >( [ & ] { run(); } ),
         "KarvelTypes::KarvelPort::logicalPort < 0 or > "
         "KarvelTypes::KarvelPort::defaultPort not allowed" );
}

TEST_F( TheSliceMachines, MakeOneIncrementalOperationOfABurstInALaterTurn ) {
   auto info = publish( Direction::ingress, { 1 } );
   const auto first = op();
   info->srcPortIs( SourcePort::ofPort( 0, 2 ) );
   info->srcPortIs( SourcePort::ofPort( 0, 3 ) );
   info->srcPortDel( SourcePort::ofPort( 0, 1 ) );
   EXPECT_EQ( op(), first ) << "a review is deferred";
   Zol::activityManager().turn();
   const auto second = op();
   EXPECT_NE( second, first );
   EXPECT_FALSE( second->fullReprogram() );
   const TcamAclKey key( "ingress", TcamAclType::port() );
   EXPECT_EQ( second->change( key ), AclOp( true, true ) );
   EXPECT_EQ( onlyRule( "ingress" ).inPorts(), 2U );
   EXPECT_FALSE( Zol::activityManager().turn() ) << "one review only";
}

TEST_F( TheSliceMachines, HandNothingOverWithoutADifference ) {
   auto info = publish( Direction::ingress, { 1 } );
   const auto before = op();
   info->srcPortIs( SourcePort::ofPort( 0, 2 ) );
   info->srcPortDel( SourcePort::ofPort( 0, 2 ) );
   info->sessionIs( "another name" );
   run();
   EXPECT_EQ( op(), before );
}

TEST_F( TheSliceMachines, AskForNothingWhenAclsChange ) {
   auto info = publish( Direction::ingress, { 1 } );
   const auto before = op();
   auto sm = root->mtpSm( mtp );
   auto config = Zol::make< Acl::AclTypeConfig >( Acl::ip() );
   AclKey key;
   key.aclNameIs( "A" );
   auto ports = info->aclPortsIs( key );
   sm->expectedAclConfigIs()->aclIs( "A" );
   sm->aclTypeConfigSmIs( Acl::ip(), config )
         ->aclConfigSmIs( "A", Acl::ip(), config->aclIs( "A" ) );
   sm->aclPortSmIs( key, ports, sm->codefConfig() );
   config->acl( "A" )->currCfgIs(
         Zol::make< const Acl::RuleList >( std::vector< Acl::RuleConfig >( 1 ) ) );
   config->aclIs( "B" );
   ports->intfIs( Plix::IntfId( "Ethernet1" ) );
   sm->expectedAclConfig()->aclIs( "B" );
   run();
   EXPECT_EQ( op(), before );
   sm->aclPortSmDel( key );
   sm->aclTypeConfigSmDel( Acl::ip() );
   sm->expectedAclConfigDel();
   run();
   EXPECT_EQ( op(), before );
}

TEST_F( TheSliceMachines, ChooseTheFeatureThatCarriesAllAcls ) {
   publish( Direction::ingress, { 1 } );
   const TcamAclKey in( "ingress", TcamAclType::port() ), out( "egress", TcamAclType::port() );
   const TcamAclKey mac( "A", TcamAclType::mac() ), ip( "A", TcamAclType::ip() ),
         ipv6( "A", TcamAclType::ipv6() );
   const auto featureOf = [ & ]( std::initializer_list< TcamAclKey > acls ) {
      auto wanted = programmingOpFactory();
      for ( const TcamAclKey& acl : acls ) {
         wanted->groupDataIs()->aclDataIs( acl );
      }
      root->mtpSm( mtp )->determineFeature( *wanted );
      return wanted->feature();
   };
   EXPECT_EQ( featureOf( { out } ), Op::egress() );
   EXPECT_EQ( featureOf( { mac } ), Op::macIngress() );
   EXPECT_EQ( featureOf( { in, ip } ), Op::ipIngress() );
   EXPECT_EQ( featureOf( { in, ipv6 } ), Op::ipv6Ingress() );
   EXPECT_DEATH(
         featureOf( { in, out } ), "features.find\\( ProgrammingOp::egress\\(\\) \\) ==" );
   EXPECT_DEATH(
         featureOf( { mac, ip } ), "features.find\\( ProgrammingOp::ingress\\(\\) \\) !=" );
   EXPECT_DEATH( featureOf( { in, mac, ip } ), "features.size\\(\\) <= 2" );
   EXPECT_DEATH( featureOf( { { "x", TcamAclType::port() } } ), "Unexpected acl type" );
   EXPECT_DEATH( featureOf( { { "x", TcamAclType() } } ), "Unexpected acl type" );
}

TEST_F( TheSliceMachines, ReprogramInFullWhenEmptinessChanges ) {
   auto info = publish( Direction::ingress, { 1 } );
   info->directionIs( Direction::egress ); // turned in place: one ACL for another
   run();
   EXPECT_FALSE( op()->fullReprogram() );
   EXPECT_EQ( op()->feature(), Op::egress() );
   EXPECT_TRUE( op()->delHas( TcamAclKey( "ingress", TcamAclType::port() ) ) );
   EXPECT_EQ( onlyRule( "egress" ).outPorts(), 1U );
   info->directionIs( Direction::ingress );
   info->aclPortMirroringIs( false );
   run();
   expectFull( Op::noFeature() );
   const auto empty = op();
   info->srcPortIs( SourcePort::ofPort( 0, 2 ) );
   run();
   EXPECT_EQ( op(), empty ) << "empty before and after";
   info->aclPortMirroringIs( true );
   run();
   expectFull( Op::ingress() );
}

TEST_F( TheSliceMachines, ReportAFailureAndStartFromNothingNextTime ) {
   // As the helper does: the status is there before the machine, and answers every operation.
   helperStatus->mtpHelperStatusIs( mtp );
   auto info = publish( Direction::ingress, { 1 } );
   helperStatus->mtpHelperStatus( mtp )->programmingOpIs(
         MtpTcamHelperStatus::resourceExhaustion() );
   EXPECT_EQ( programStatus->programStatus( mtp ), ProgramStatus::resourceExhaustion );
   info->srcPortIs( SourcePort::ofPort( 0, 2 ) );
   run();
   EXPECT_TRUE( op()->fullReprogram() );
   // The same failure again notifies nobody, and must not be taken for success.
   info->srcPortIs( SourcePort::ofPort( 0, 3 ) );
   run();
   EXPECT_TRUE( op()->fullReprogram() );
   helperStatus->mtpHelperStatus( mtp )->programmingOpIs( MtpTcamHelperStatus::success() );
   EXPECT_EQ( programStatus->programStatus( mtp ), ProgramStatus::success );
}

TEST_F( TheSliceMachines, ComeAndGoWithTheirConfigurationAndStatus ) {
   auto first = publish( Direction::ingress, { 1 } );
   auto machine = root->mtpSm( mtp );
   // Gone and back within one burst is another destination.
   {
      Zol::Batch batch;
      coll->lfMtpProgramInfo( fap )->mtpProgramInfoDel( mtp );
      coll->lfMtpProgramInfo( fap )->mtpProgramInfoIs( mtp );
   }
   EXPECT_NE( root->mtpSm( mtp ), machine );
   {
      Zol::Batch batch;
      coll->lfMtpProgramInfoDel( fap );
      publish( Direction::egress, { 3 } );
   }
   run();
   expectFull( Op::egress() );
   EXPECT_EQ( root->mtpProgramInfo(), coll->lfMtpProgramInfo( fap ) );
   coll->lfMtpProgramInfoIs( LogicalFap::LogicalFapId( 9 ) );
   coll->lfMtpProgramInfoDel( LogicalFap::LogicalFapId( 9 ) );
   EXPECT_TRUE( root->mtpSmHas( mtp ) ) << "another logical FAP's change";
   coll->lfMtpProgramInfoDel( fap );
   EXPECT_EQ( root->mtpSms(), 0U );
   EXPECT_EQ( helperConfig->mtpHelperConfigs(), 0U );
   EXPECT_TRUE( programStatus->programStatus().empty() );
   publish( Direction::egress, { 1 } );
   EXPECT_TRUE( op()->fullReprogram() );
   root = nullptr;
   EXPECT_EQ( helperConfig->mtpHelperConfigs(), 0U );
}

} // namespace KarvelMirror
