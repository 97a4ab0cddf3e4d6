#include "PluginMounters/Slice/AclProgrammerSm.h"

#include "Platform/Duolog/Duolog.h"

namespace KarvelMirror {

namespace {

Duolog::Handle trace( "AclProgrammerSm" );

} // namespace

AclProgrammerSm::AclProgrammerSm(
      const Context& context, Zol::Ptr< const Acl::Config > aclConfig )
      : unit_( context.unit ), logicalFap_( context.logicalFap ),
        lfMtpProgramInfoColl_( context.lfMtpProgramInfoColl ),
        groupManager_( context.groupManager ), taskScheduler_( context.taskScheduler ),
        scsd_( context.scsd ), aclConfig_( aclConfig ),
        aclSmPluginEntity_( context.aclSmPluginEntity ),
        sliceMtpProgramStatus_( context.sliceMtpProgramStatus ) {}

void AclProgrammerSm::doInit() {
   react< &AclProgrammerSm::handleLogicalFap,
         LogicalFapMtpProgramInfoColl::Attr::lfMtpProgramInfo >( lfMtpProgramInfoColl() );
   handleLogicalFap();
}

void AclProgrammerSm::doCleanup() { takeDown(); }

void AclProgrammerSm::handleLogicalFap() {
   Zol::Ptr< const LogicalFapMtpProgramInfo > info =
         lfMtpProgramInfoColl()->lfMtpProgramInfo( logicalFap() );
   DUOLOG_IN( trace, 1, "AclProgrammerSm::handleLogicalFap",
         " unit: " << unit() << " add: " << bool( info ) );
   // Information that went and came back within one batch is seen once, as another entity.
   if ( ifpConfigSm() && ifpConfigSm()->lfMtpProgramInfo() != info ) {
      takeDown();
   }
   if ( info ) {
      bringUpEfp( info );
      bringUpIfp( info );
   }
}

void AclProgrammerSm::bringUpEfp( Zol::Ptr< const LogicalFapMtpProgramInfo > info ) {
   efpConfigIs();
   efpSmConfigIs();
   efpStatusIs();
   efpSmStatusIs();
   efpConfigSmIs( unit(), info, efpSmConfig(), efpSmStatus(), sliceMtpProgramStatus(), scsd(),
         taskScheduler() );
   efpSmIs( unit(), efpConfig(), efpSmConfig(), efpStatus(), efpSmStatus(), groupManager() );
   efpProgrammerIs( unit(), groupManager(), efpConfig(), efpStatus() );
}

void AclProgrammerSm::bringUpIfp( Zol::Ptr< const LogicalFapMtpProgramInfo > info ) {
   ifpConfigIs();
   ifpSmConfigIs();
   ifpStatusIs();
   ifpSmStatusIs();
   ifpConfigSmIs( logicalFap(), info, ifpSmConfig(), ifpSmStatus(), sliceMtpProgramStatus(),
         scsd(), taskScheduler(), aclConfig() );
   ifpSmIs( unit(), ifpConfig(), ifpSmConfig(), ifpStatus(), ifpSmStatus(), groupManager() );
   ifpProgrammerIs( unit(), ifpConfig(), ifpStatus(), groupManager(), aclSmPluginEntity(),
         scsd(), aclConfig() );
}

void AclProgrammerSm::takeDown() {
   efpProgrammerDel();
   efpSmDel();
   efpConfigSmDel();
   ifpProgrammerDel();
   ifpSmDel();
   ifpConfigSmDel();
}

ZOL_DEFINE_ENTITY( AclProgrammerSm );

} // namespace KarvelMirror
