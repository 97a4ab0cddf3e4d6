#pragma once

// The entry point of the library: the agent makes one SliceMounter per slice, by type name. It
// declares the store paths that the slice needs and, once they are mounted, builds every
// machine of the slice, in one fixed order, in doMountsComplete().

#include "Platform/Acl/ConfigAggregatorSm.h"
#include "Platform/Karvel/AclSmPluginEntity.h"
#include "Platform/KarvelCentral/Status.h"
#include "Platform/KarvelLib/MounterBase.h"
#include "Platform/Orv/TaskScheduler.h"
#include "PluginMounters/Slice/AclProgrammerSm.h"
#include "PluginMounters/Slice/ChipWide/LoopbackHelperSm.h"
#include "PluginMounters/Slice/ChipWide/MtpProgramInfoSm.h"
#include "PluginMounters/Slice/Ports/KarvelMirrorSliceSm.h"
#include "PluginMounters/Slice/Ports/KarvelMirrorTcamHelper.h"

namespace KarvelMirror {

// The toggle "KarvelMirrorT4Gre", read once per process. It decides whether the slice
// configuration machine or the program-information collection machine is built.
bool karvelMirrorT4Gre();

// `paramConfig` is only written here, as are `policerIdCache`, `rateLimitDataCache` and
// `fwdDropKarvelAclData` elsewhere in the slice: the contract with the agent counts them among the
// slice's state, although nothing in the library reads them.
class SliceMounter : public KarvelLib::MounterBase {
   ZOL_ENTITY( KarvelMirror, SliceMounter, KarvelLib::MounterBase,
         ( OWN, Acl::Config, aclConfig ), ( OWN, TcamHelperConfig, tcamHelperConfig ),
         ( OWN, TcamHelperStatus, tcamHelperStatus ),
         ( VAL, Zol::Ptr< const Mirroring::Config >, mirroringConfig ),
         ( VAL, Zol::Ptr< const LogicalFapMtpProgramInfoColl >, lfMtpProgramInfo ),
         ( VAL, Zol::Ptr< const KarvelCentral::CpuRecircStatus >, cpuRecircStatus ),
         ( VAL, Zol::Ptr< const SliceCapability >, sliceCapability ),
         ( VAL, Zol::Ptr< SliceMtpProgramStatus >, sliceMtpProgramStatus ),
         ( VAL, Zol::Ptr< Karvel::KarvelCommonSmData >, scsd ),
         ( VAL, Zol::Ptr< Karvel::AclSmPluginEntity >, aclSmPluginEntity ),
         ( VAL, Zol::Ptr< Karvel::KarvelTcamGroupManager >, tcamManager ),
         ( VAL, uint16_t, unit ), ( OWN, Slice::ConfigSm, configSm ),
         ( OWN, SliceRootSm, rootSm ), ( OWN, TcamHelperSmBase, tcamHelperSm ),
         ( OWN, Acl::ConfigAggregatorSm, aclConfigAggregatorSm ),
         ( OWN, AclProgrammerSm, aclProgrammerSm ),
         ( OWN, MtpProgramInfoCollSm, mtpProgramInfoCollSm ),
         ( OWN, LoopbackHelperSm, loopbackHelperSm ),
         ( VAL, Zol::Ptr< Orv::TaskScheduler >, taskScheduler ),
         ( VAL, Zol::Ptr< const Slice::ParamConfig >, paramConfig ),
         ( VAL, Zol::Ptr< KarvelCentral::PortTabWriteRequestDir >, sourceTrunkMap ),
         ( VAL, Zol::Ptr< Zol::Dir >, tcamConfigDir ),
         ( VAL, Zol::Ptr< const Zol::Dir >, tcamStatusDir ),
         ( VAL, Zol::Ptr< KarvelCentral::FeatureAgentCommonSmData >, featureCommon ) );

 public:
   explicit SliceMounter( const Zol::String& sliceName );

   void doInit() override;
   void doMountsComplete(
         Hubdb::MountStatus status, Hubdb::EntityManager& entityManager ) override;
   Zol::String fwkType() const override { return Zol::String( zolTypeName() ); }

 private:
   void lastRelease() override;

   void findEntities( Hubdb::EntityManager& store );
   void buildTcamMachines( Hubdb::EntityManager& store, const KarvelCentral::ChipInfo& chip );
   void buildAclProgrammer();
   void buildTcamHelper( const KarvelCentral::ChipInfo& chip );
   Zol::Ptr< const KarvelCentral::ChipInfo > chipInfo() const;
};

} // namespace KarvelMirror
