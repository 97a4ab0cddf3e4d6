#pragma once

// The ingress machines on a chip of the model, with the agent's real services.

#include <gtest/gtest.h>

#include "AgentServices/AclHelper.h"
#include "ChipModel/Switch.h"
#include "Platform/Flitlog/Flitlog.h"
#include "PluginMounters/Slice/AclProgrammerSm.h"

namespace KarvelMirror::Slice {

class IfpBed : public ::testing::Test {
 protected:
   IfpBed() {
      Zol::activityManager().timeSourceIs( Zol::TimeSource::virtualTime );
      box.addChip( 0, *ChipModel::chipProfile( "trident3" ) );
      ::Shim::sdk_ = &box.sdk();
      scsd->unitIs( 0 );
      for ( int port = 1; port <= 4; ++port ) {
         scsd->intfToPortIs( "E" + std::to_string( port ), { 0, port } );
         scsd->chipPortIs( port );
      }
      groups->unitIs( 0, { true, 32 } );
      helper = Zol::make< AgentServices::AclHelper >( groups );
      helper->unitIs( 0, scsd );
      auto aclSm = Zol::make< Ixo::AclSm >();
      aclSm->aclHelperIs( Zol::Ptr< Karvel::AclHelper >( helper ) );
      plugin->aclSmIs( aclSm );
      for ( Acl::AclType type : { Acl::ip(), Acl::ipv6(), Acl::mac() } ) {
         aclConfig->aclTypeConfigIs( type );
      }
      Flitlog::recordsDelAll();
   }

   // The machines as the slice has them.
   Zol::Ptr< AclProgrammerSm > programmer() {
      AclProgrammerSm::Context context;
      context.lfMtpProgramInfoColl = programInfo;
      context.sliceMtpProgramStatus = Zol::make< SliceMtpProgramStatus >();
      context.groupManager = groups;
      context.aclSmPluginEntity = plugin;
      context.taskScheduler = Orv::TaskSchedulerRoot::findOrCreateScheduler();
      context.scsd = scsd;
      auto made = Zol::make< AclProgrammerSm >( context, aclConfig );
      made->zolStart();
      run();
      return made;
   }
   Zol::Ptr< LogicalFapMtpProgramInfo > info( uint16_t fap = 0 ) {
      return programInfo->lfMtpProgramInfoIs( LogicalFap::LogicalFapId( fap ) );
   }
   void run() { Zol::activityManager().runUntilIdle(); }

   static IpMatch to( uint32_t address ) {
      IpMatch match;
      match.dstIpIs( Plix::IpAddr( address ) );
      match.dstIpMaskIs( Plix::IpAddr( 0xffffffff ) );
      return match;
   }
   // A destination that mirrors what goes to these addresses.
   Zol::Ptr< MtpProgramInfo > matching( Mtp mtp, std::initializer_list< uint32_t > addresses ) {
      Zol::Batch batch;
      auto made = info()->mtpProgramInfoIs( mtp );
      made->sessionIs( "s" );
      made->ipMatchIntfIs( Plix::IntfId( "E1" ) );
      for ( uint32_t address : addresses ) {
         made->ipMatchIs( to( address ) );
      }
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
      aclConfig->aclTypeConfigIs( Acl::ip() )->aclIs( name )->currCfgIs(
            Zol::make< const Acl::RuleList >( rules ) );
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
   }

   std::vector< ChipModel::EntryView > entries( bool installedOnly = true ) {
      std::vector< ChipModel::EntryView > result;
      for ( const ChipModel::EntryView& entry : box.control().state( 0 ).entries ) {
         if ( entry.installed || !installedOnly ) {
            result.push_back( entry );
         }
      }
      return result;
   }
   void refuse( ChipModel::SdkCall call, uint64_t nth ) {
      ChipModel::Fault fault;
      fault.call = call;
      fault.first = nth;
      fault.last = nth;
      box.control().gate().faultAdd( fault );
   }

   ChipModel::Switch box;
   Zol::Ptr< Karvel::KarvelCommonSmData > scsd = Zol::make< Karvel::KarvelCommonSmData >();
   Zol::Ptr< AgentServices::TcamGroupManager > groups =
         Zol::make< AgentServices::TcamGroupManager >();
   Zol::Ptr< AgentServices::AclHelper > helper;
   Zol::Ptr< Karvel::AclSmPluginEntity > plugin = Zol::make< Karvel::AclSmPluginEntity >();
   Zol::Ptr< Acl::Config > aclConfig = Zol::make< Acl::Config >( "acl/config/cli" );
   Zol::Ptr< LogicalFapMtpProgramInfoColl > programInfo =
         Zol::make< LogicalFapMtpProgramInfoColl >();
};

} // namespace KarvelMirror::Slice
