#pragma once

// A slice's TCAM helper on the fourth chip of the model, whichever of the two it is, and the operations
// that it is handed.

#include "AgentServices/TcamRequestManager.h"
#include "PluginMounters/Slice/Ports/KarvelMirrorTcamHelperV2.h"
#include "Tests/ChipBed.h"

namespace KarvelMirror {

class TcamBed : public ChipBed {
 protected:
   using Op = ProgrammingOp;
   using Acls = std::vector< std::pair< Zol::String, RuleData > >;
   using Status = KarvelTcam::RequestStatusType;
   enum class Way : uint8_t { direct, byRequests };
   static constexpr int fourth = 3;

   explicit TcamBed( Way by )
         : ChipBed( by == Way::direct ? "trident3" : "tomahawk3", fourth ), way( by ) {
      for ( int port = 1; port <= 40; ++port ) {
         const Zol::String intf = "Ethernet" + std::to_string( port );
         scsd->karvelPortToIntfIs( { 0, port }, intf );
         scsd->intfToPortIs( intf, { fourth, port } );
         scsd->chipPortIs( port );
      }
      if ( way == Way::byRequests ) {
         KarvelCentral::ChipAttributes attributes;
         attributes.chipIs( "tomahawk3" );
         attributes.aclGroupIs( true );
         KarvelCentral::karvelAttributes()->chipAttributesIs( "tomahawk3", attributes );
         scsd->chipAttributesIs( attributes );
         manager = Zol::make< AgentServices::TcamRequestManager >(
               static_cast< uint32_t >( fourth ), LogicalFap::LogicalFapId( 0 ), "slice0",
               groups, statusDir );
         manager->zolStart();
         common->tcamEventsIs( manager->events() );
         common->intfProfileManagerIs( Zol::Ptr< KarvelTcam::KarvelTcamIntfProfileMgr >(
               manager->intfProfileManager() ) );
      }
      start();
   }

   void start() {
      helper = way == Way::direct
            ? tcamHelperSmFactory( fourth, config, status, scsd, groups )
            : tcamHelperSmV2Factory( fourth, config, status, scsd,
                    LogicalFap::LogicalFapId( 0 ), nullptr, statusDir, common );
      helper->zolStart();
   }
   static TcamAclKey key( const Zol::String& name ) { return { name, TcamAclType::port() }; }
   // An operation over ACLs of one rule each: only what is said to change, or all of it.
   static Zol::Ptr< Op > op( Op::TcamFeature feature, const Acls& acls ) {
      auto made = programmingOpFactory();
      made->featureIs( feature );
      made->groupDataIs();
      for ( const auto& [ name, rule ] : acls ) {
         made->groupData()->aclDataIs( key( name ) )->ruleIs( rule );
      }
      return made;
   }
   static Zol::Ptr< Op > full( Op::TcamFeature feature, const Acls& acls ) {
      auto made = op( feature, acls );
      made->fullReprogramIs( true );
      return made;
   }
   static Zol::Ptr< Op > ingress( const RuleData& rule ) {
      return full( Op::ingress(), { { "ingress", rule } } );
   }
   static Zol::Ptr< Op > egress( const RuleData& rule ) {
      return full( Op::egress(), { { "egress", rule } } );
   }
   static RuleData rule( std::vector< int > in, std::vector< int > out = {},
         std::vector< int > lags = {}, uint32_t number = 1 ) {
      RuleData made( number );
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
   ProgStatus hand( Zol::Ptr< const Op > wanted, uint8_t mtp = 2 ) {
      config->mtpHelperConfigIs( Mtp( mtp ) )->programmingOpIs( wanted );
      return status->mtpHelperStatus( Mtp( mtp ) )->programmingOp();
   }
   // What became of an operation that the helper takes; of the last request, where there are any.
   Status program( Zol::Ptr< const Op > wanted, uint8_t mtp = 2 ) {
      EXPECT_EQ( hand( wanted, mtp ), ProgStatus::success );
      Zol::activityManager().runUntilIdle();
      if ( way == Way::direct ) {
         return Status::programmed;
      }
      return manager->requests().empty() ? Status::withdrawn
                                         : manager->requests().back().status;
   }
   // Of the installed entries whose name has this in it.
   std::vector< int > ids( const std::string& part = "" ) {
      std::vector< int > result;
      for ( const ChipModel::EntryView& entry : entries() ) {
         if ( entry.name.find( part ) != std::string::npos ) {
            result.push_back( entry.id );
         }
      }
      return result;
   }
   bool isEmpty() {
      Zol::activityManager().runUntilIdle();
      return remains().empty();
   }

   const Way way;
   Zol::Ptr< Karvel::KarvelCommonSmData > scsd = Zol::make< Karvel::KarvelCommonSmData >();
   Zol::Ptr< TcamHelperConfig > config = tcamHelperConfigFactory();
   Zol::Ptr< TcamHelperStatus > status = tcamHelperStatusFactory();
   Zol::Ptr< TcamHelperSmBase > helper;
   // Of chips that are programmed by requests.
   Zol::Ptr< Zol::Dir > statusDir = Zol::make< Zol::Dir >();
   Zol::Ptr< KarvelCentral::FeatureAgentCommonSmData > common =
         Zol::make< KarvelCentral::FeatureAgentCommonSmData >();
   Zol::Ptr< AgentServices::TcamRequestManager > manager;
};

} // namespace KarvelMirror
