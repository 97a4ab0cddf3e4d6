#pragma once

// Bring up a slice's chip-wide settings and tunnel profiles while central agents publish program
// information for it.

#include "Platform/Orv/TaskScheduler.h"
#include "PluginMounters/Slice/ChipWide/KarvelMirrorSliceConfigSm.h"
#include "PluginMounters/Slice/ChipWide/MtpTunnelConfigSm.h"

namespace KarvelMirror {

class MtpProgramInfoSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror, MtpProgramInfoSm, Zol::EntitySm, ( CONST, uint32_t, unit ),
         ( CONST, Zol::Ptr< Orv::TaskScheduler >, taskScheduler ),
         ( CONST, Zol::Ptr< const Karvel::KarvelCommonSmData >, scsd ),
         ( CONST, Zol::Ptr< const Mirroring::Config >, mirroringConfig ),
         ( CONST, Zol::Ptr< const LogicalFapMtpProgramInfo >, lfMtpProgramInfo ),
         ( OWN, Slice::ConfigSm, configSm ),
         ( OWN, Slice::MtpTunnelConfigSm, mtpTunnelConfigSm ) );

 public:
   MtpProgramInfoSm( uint32_t unit, Zol::Ptr< Orv::TaskScheduler > taskScheduler,
         Zol::Ptr< const Karvel::KarvelCommonSmData > scsd,
         Zol::Ptr< const Mirroring::Config > mirroringConfig,
         Zol::Ptr< const LogicalFapMtpProgramInfo > info )
         : unit_( unit ), taskScheduler_( taskScheduler ), scsd_( scsd ),
           mirroringConfig_( mirroringConfig ), lfMtpProgramInfo_( info ) {}

 private:
   void doInit() override;
   void doCleanup() override;
};

class MtpProgramInfoCollSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror, MtpProgramInfoCollSm, Zol::EntitySm, ( CONST, uint32_t, unit ),
         ( CONST, LogicalFap::LogicalFapId, logicalFap ),
         ( CONST, Zol::Ptr< const LogicalFapMtpProgramInfoColl >, lfMtpProgramInfoColl ),
         ( CONST, Zol::Ptr< Orv::TaskScheduler >, taskScheduler ),
         ( CONST, Zol::Ptr< const Karvel::KarvelCommonSmData >, scsd ),
         ( CONST, Zol::Ptr< const Mirroring::Config >, mirroringConfig ),
         ( OWN, MtpProgramInfoSm, mtpProgramInfoSm ) );

 public:
   MtpProgramInfoCollSm( uint32_t unit, LogicalFap::LogicalFapId logicalFap,
         Zol::Ptr< const LogicalFapMtpProgramInfoColl > infoColl,
         Zol::Ptr< Orv::TaskScheduler > taskScheduler,
         Zol::Ptr< const Karvel::KarvelCommonSmData > scsd,
         Zol::Ptr< const Mirroring::Config > mirroringConfig )
         : unit_( unit ), logicalFap_( logicalFap ), lfMtpProgramInfoColl_( infoColl ),
           taskScheduler_( taskScheduler ), scsd_( scsd ), mirroringConfig_( mirroringConfig ) {
   }

 private:
   void doInit() override;
   void doCleanup() override { mtpProgramInfoSmDel(); }
   void handleLogicalFap();
};

} // namespace KarvelMirror
