#pragma once

// The field processors' machines on a chip of the model, with the agent's real services.

#include "AgentServices/EmbeddedAclHelper.h"
#include "PluginMounters/Slice/AclProgrammerSm.h"
#include "Tests/ChipBed.h"
#include "Tests/Names.h"

namespace KarvelMirror::Slice {

class SliceBed : public ChipBed {
 protected:
   SliceBed() : ChipBed( "trident3" ) {
      Zol::activityManager().timeSourceIs( Zol::TimeSource::virtualTime );
      scsd->unitIs( 0 );
      for ( int port = 1; port <= 4; ++port ) {
         scsd->intfToPortIs( "E" + std::to_string( port ), { 0, port } );
         scsd->chipPortIs( port );
      }
      helper = Zol::make< AgentServices::EmbeddedAclHelper >( groups );
      helper->unitIs( 0, scsd );
      auto aclSm = Zol::make< Ixo::AclSm >();
      aclSm->aclHelperIs( Zol::Ptr< Karvel::AclHelper >( helper ) );
      plugin->aclSmIs( aclSm );
      for ( Acl::AclType type : { Acl::ip(), Acl::ipv6(), Acl::mac() } ) {
         aclConfig->aclTypeConfigIs( type );
      }
      Flitlog::recordsDelAll();
      start();
   }

   // The machines as the slice has them.
   void start() {
      slice = Zol::make< AclProgrammerSm >(
            AclProgrammerSm::Context{ 0, {}, programInfo, programStatus, groups, plugin,
                  Orv::TaskSchedulerRoot::findOrCreateScheduler(), scsd },
            aclConfig );
      slice->zolStart();
      run();
   }
   Zol::Ptr< LogicalFapMtpProgramInfo > info( uint16_t fap = 0 ) {
      return programInfo->lfMtpProgramInfoIs( LogicalFap::LogicalFapId( fap ) );
   }
   void forgetInfo( uint16_t fap = 0 ) {
      programInfo->lfMtpProgramInfoDel( LogicalFap::LogicalFapId( fap ) );
   }
   void run() { Zol::activityManager().runUntilIdle(); }

   static const ChipModel::QualifierValue* find(
         const ChipModel::EntryView& entry, Shim::Qualifier qualifier ) {
      const auto at = std::ranges::find(
            entry.qualifiers, qualifier, &ChipModel::QualifierValue::qualifier );
      return at == entry.qualifiers.end() ? nullptr : &*at;
   }
   static bool hasAction( const ChipModel::EntryView& entry, Shim::FieldAction action ) {
      return std::ranges::count( entry.actions, action, &ChipModel::ActionValue::action ) > 0;
   }

   Zol::Ptr< Karvel::KarvelCommonSmData > scsd = Zol::make< Karvel::KarvelCommonSmData >();
   Zol::Ptr< AgentServices::EmbeddedAclHelper > helper;
   Zol::Ptr< Karvel::AclSmPluginEntity > plugin = Zol::make< Karvel::AclSmPluginEntity >();
   Zol::Ptr< Acl::Config > aclConfig = Zol::make< Acl::Config >( "acl/config/cli" );
   Zol::Ptr< LogicalFapMtpProgramInfoColl > programInfo =
         Zol::make< LogicalFapMtpProgramInfoColl >();
   Zol::Ptr< SliceMtpProgramStatus > programStatus = Zol::make< SliceMtpProgramStatus >();
   Zol::Ptr< AclProgrammerSm > slice;
};

} // namespace KarvelMirror::Slice
