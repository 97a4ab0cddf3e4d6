#pragma once

// Brings up the machines of one chip's field processors, egress and ingress, while the logical FAP
// has program information, and takes them down again. The configuration and status collections
// stay.

#include "Platform/Acl/AclConfig.h"
#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/Orv/TaskScheduler.h"
#include "PluginMounters/Slice/Egress/EfpProgrammer.h"
#include "PluginMounters/Slice/Egress/EfpSm.h"
#include "PluginMounters/Slice/Egress/SliceMtpEfpConfigSm.h"
#include "PluginMounters/Slice/Ingress/IfpProgrammer.h"
#include "PluginMounters/Slice/Ingress/SliceMtpIfpConfigSm.h"

namespace KarvelMirror {

class AclProgrammerSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror, AclProgrammerSm, Zol::EntitySm, ( CONST, uint32_t, unit ),
         ( CONST, LogicalFap::LogicalFapId, logicalFap ),
         ( CONST, Zol::Ptr< const LogicalFapMtpProgramInfoColl >, lfMtpProgramInfoColl ),
         ( CONST, Zol::Ptr< Karvel::KarvelTcamGroupManager >, groupManager ),
         ( CONST, Zol::Ptr< Orv::TaskScheduler >, taskScheduler ),
         ( CONST, Zol::Ptr< const Karvel::KarvelCommonSmData >, scsd ),
         ( CONST, Zol::Ptr< const Acl::Config >, aclConfig ),
         ( CONST, Zol::Ptr< Karvel::AclSmPluginEntity >, aclSmPluginEntity ),
         ( CONST, Zol::Ptr< SliceMtpProgramStatus >, sliceMtpProgramStatus ),
         ( OWN, Slice::EfpConfigColl, efpConfig ), ( OWN, Slice::EfpSmConfigColl, efpSmConfig ),
         ( OWN, Slice::EfpStatusColl, efpStatus ), ( OWN, Slice::EfpSmStatusColl, efpSmStatus ),
         ( OWN, Slice::MtpEfpConfigSm, efpConfigSm ), ( OWN, Slice::EfpSm, efpSm ),
         ( OWN, Slice::EfpProgrammer, efpProgrammer ), ( OWN, Slice::IfpConfigColl, ifpConfig ),
         ( OWN, Slice::IfpSmConfigColl, ifpSmConfig ), ( OWN, Slice::IfpStatusColl, ifpStatus ),
         ( OWN, Slice::IfpSmStatusColl, ifpSmStatus ),
         ( OWN, Slice::MtpIfpConfigSm, ifpConfigSm ), ( OWN, Slice::IfpSm, ifpSm ),
         ( OWN, Slice::IfpProgrammer, ifpProgrammer ) );

 public:
   // What the slice shares.
   struct Context {
      uint32_t unit = 0;
      LogicalFap::LogicalFapId logicalFap;
      Zol::Ptr< const LogicalFapMtpProgramInfoColl > lfMtpProgramInfoColl;
      Zol::Ptr< SliceMtpProgramStatus > sliceMtpProgramStatus;
      Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager;
      Zol::Ptr< Karvel::AclSmPluginEntity > aclSmPluginEntity;
      Zol::Ptr< Orv::TaskScheduler > taskScheduler;
      Zol::Ptr< const Karvel::KarvelCommonSmData > scsd;
   };

   AclProgrammerSm( const Context& context, Zol::Ptr< const Acl::Config > aclConfig );

 private:
   void doInit() override;
   void doCleanup() override;
   void handleLogicalFap();
   void bringUpEfp( Zol::Ptr< const LogicalFapMtpProgramInfo > info );
   void bringUpIfp( Zol::Ptr< const LogicalFapMtpProgramInfo > info );
   void takeDown();
};

} // namespace KarvelMirror
