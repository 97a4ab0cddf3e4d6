#pragma once

// A slice's TCAM helper on a chip of the model, whichever of the two it is, and the operations
// that it is handed.

#include "PluginMounters/Slice/Ports/KarvelMirrorTcamHelper.h"
#include "Tests/ChipBed.h"

namespace KarvelMirror {

class TcamBed : public ChipBed {
 protected:
   using Op = ProgrammingOp;
   using Acls = std::vector< std::pair< Zol::String, RuleData > >;

   explicit TcamBed( const char* profileName ) : ChipBed( profileName ) {
      for ( int port = 1; port <= 40; ++port ) {
         const Zol::String intf = "Ethernet" + std::to_string( port );
         scsd->karvelPortToIntfIs( { 0, port }, intf );
         scsd->intfToPortIs( intf, { 0, port } );
         scsd->chipPortIs( port );
      }
   }

   static TcamAclKey key( const Zol::String& name ) { return { name, TcamAclType::port() }; }
   // An operation over ACLs of one rule each.
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
   // The whole of one direction is one rule.
   static Zol::Ptr< Op > ingress( const RuleData& wanted ) {
      return full( Op::ingress(), { { "ingress", wanted } } );
   }
   static Zol::Ptr< Op > egress( const RuleData& wanted ) {
      return full( Op::egress(), { { "egress", wanted } } );
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
   // What no agent that is right asks for stops either helper.
   void expectDeathOfWhatIsBroken() {
      hand( ingress( rule( { 1 } ) ) );
      auto missing = op( Op::ingress(), {} );
      missing->changeIs( key( "gone" ), { true, true } );
      EXPECT_DEATH(
            hand( missing ), "op->groupData\\(\\)->aclDataHas\\( aclIter.key\\(\\) \\)" );
      RuleData ranges = rule( { 1 } );
      ranges.rangeCheckerIs( { 1, 10, 20 } );
      EXPECT_DEATH(
            hand( ingress( ranges ) ), "rangeIter.key\\(\\).rangeFlags\\(\\) & 0x00000002" );
      ranges.rangeCheckerIs( { 2, 10, 20 } );
      EXPECT_DEATH( hand( ingress( ranges ) ), "rule.rangeCheckers\\(\\) < 2" );
      EXPECT_DEATH( hand( ingress( rule( { 99 } ) ) ),
            "scsd\\(\\)->karvelPortToIntfHas\\( iter.key\\(\\) \\)" );
   }

   Zol::Ptr< Karvel::KarvelCommonSmData > scsd = Zol::make< Karvel::KarvelCommonSmData >();
   Zol::Ptr< TcamHelperConfig > config = tcamHelperConfigFactory();
   Zol::Ptr< TcamHelperStatus > status = tcamHelperStatusFactory();
   Zol::Ptr< TcamHelperSmBase > helper;
};

} // namespace KarvelMirror
