#pragma once

// Works out the ingress rules of every destination of a slice, and reports when programming them
// failed. Changes are collected as a backlog; a scheduled task carries them all out at once.

#include <optional>

#include "Platform/Acl/AclConfig.h"
#include "Platform/Karvel/KarvelCommonSmData.h"
#include "Platform/KarvelCentral/KarvelModPort.h"
#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/Orv/TaskScheduler.h"
#include "Platform/Zol/Sm.h"
#include "PluginMounters/Slice/Ingress/IfpStatus.h"

namespace KarvelMirror::Slice {

class MtpIfpConfigSm;

// The kinds of work that are pending.
class MtpIfpBacklog : public Zol::Value {
 public:
   ZOL_NESTED_ENUM( BacklogType, uint8_t, ( recompute, 0 ) );
   ZOL_VALUE( KarvelMirror::Slice, MtpIfpBacklog, ( SET, BacklogType, backlog ) );
};

// Watches one destination's program information.
class MtpIfpInfoSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, MtpIfpInfoSm, Zol::EntitySm, ( CONST, Mtp, mtp ),
         ( CONST, Zol::Ptr< const MtpProgramInfo >, mtpProgramInfo ) );

 public:
   // The configuration machine owns this one, and so outlives it.
   MtpIfpInfoSm( Mtp mtp, Zol::Ptr< const MtpProgramInfo > info, MtpIfpConfigSm& configSm )
         : mtp_( mtp ), mtpProgramInfo_( info ), configSm_( configSm ) {}

 private:
   void doInit() override;
   void handleSrcPort( const SourcePort& source );
   void handleSrcPort( const KarvelCentral::KarvelModPort& port );
   void handleAclPorts( const AclKey& acl );
   void handleChange();

   MtpIfpConfigSm& configSm_;
};

// Watches what became of one destination's rules. Its status entity is made after it, and may be
// made anew.
class MtpIfpStatusSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, MtpIfpStatusSm, Zol::EntitySm, ( CONST, IfpKey, key ),
         ( CONST, Zol::Ptr< const IfpSmConfig >, ifpSmConfig ),
         ( CONST, Zol::Ptr< const IfpSmStatusColl >, ifpSmStatusColl ),
         ( CONST, Zol::Ptr< SliceMtpProgramStatus >, programStatus ),
         ( VAL, Zol::Ptr< const IfpSmStatus >, ifpSmStatus ),
         ( VAL, Orv::UniqueId, judgedId ), // the generation and outcome that were reported last
         ( VAL, ProgramResult, judgedStatus ) );

 public:
   MtpIfpStatusSm( const IfpKey& key, Zol::Ptr< const IfpSmConfig > ifpSmConfig,
         Zol::Ptr< const IfpSmStatusColl > ifpSmStatusColl,
         Zol::Ptr< SliceMtpProgramStatus > programStatus )
         : key_( key ), ifpSmConfig_( ifpSmConfig ), ifpSmStatusColl_( ifpSmStatusColl ),
           programStatus_( programStatus ) {}

 private:
   void doInit() override;
   void doCleanup() override;
   void handleIfpSmStatus( const IfpKey& key );
   void handleUpdateId();
};

// Turns program information into rules.
class MtpIfpHelper {
 public:
   MtpIfpHelper( Zol::Ptr< const LogicalFapMtpProgramInfo > lfMtpProgramInfo,
         Zol::Ptr< IfpSmConfigColl > ifpSmConfigColl,
         Zol::Ptr< const Karvel::KarvelCommonSmData > scsd,
         Zol::Ptr< const Acl::Config > aclConfig );

   // Writes the rules of every destination, and a fresh update id for each.
   void updateIfp();

 private:
   uint32_t addIfpAclRules( const MtpProgramInfo& info );
   uint32_t addIfpIpRules( const MtpProgramInfo& info, uint32_t count );
   void updateFeatureConfig( Mtp mtp, uint32_t count );
   void writeRule( Mtp mtp, const IfpRuleData& rule );

   Zol::Ptr< const LogicalFapMtpProgramInfo > lfMtpProgramInfo_;
   Zol::Ptr< IfpSmConfigColl > ifpSmConfigColl_;
   // At hand for rules that need ports or ACLs looked up; those that there are do not.
   Zol::Ptr< const Karvel::KarvelCommonSmData > scsd_;
   Zol::Ptr< const Acl::Config > aclConfig_;
};

class MtpIfpConfigSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, MtpIfpConfigSm, Zol::EntitySm,
         ( CONST, LogicalFap::LogicalFapId, logicalFap ),
         ( CONST, Zol::Ptr< const LogicalFapMtpProgramInfo >, lfMtpProgramInfo ),
         ( CONST, Zol::Ptr< IfpSmConfigColl >, ifpSmConfigColl ),
         ( CONST, Zol::Ptr< const IfpSmStatusColl >, ifpSmStatusColl ),
         ( CONST, Zol::Ptr< SliceMtpProgramStatus >, programStatus ),
         ( CONST, Zol::Ptr< const Karvel::KarvelCommonSmData >, scsd ),
         ( CONST, Zol::Ptr< Orv::TaskScheduler >, taskScheduler ),
         ( CONST, Zol::Ptr< const Acl::Config >, aclConfig ), ( VAL, bool, initialized ),
         ( VAL, MtpIfpBacklog, backlog ), ( COLL, Mtp, MtpIfpInfoSm, mtpSm ),
         ( COLL, IfpKey, MtpIfpStatusSm, ifpStatusSm ) );

 public:
   MtpIfpConfigSm( LogicalFap::LogicalFapId logicalFap,
         Zol::Ptr< const LogicalFapMtpProgramInfo > lfMtpProgramInfo,
         Zol::Ptr< IfpSmConfigColl > ifpSmConfigColl,
         Zol::Ptr< const IfpSmStatusColl > ifpSmStatusColl,
         Zol::Ptr< SliceMtpProgramStatus > programStatus,
         Zol::Ptr< const Karvel::KarvelCommonSmData > scsd,
         Zol::Ptr< Orv::TaskScheduler > taskScheduler,
         Zol::Ptr< const Acl::Config > aclConfig );

   // Marks work as pending, and has the review scheduled; traced under the handler that does so.
   void backlogAdd( const char* handler, MtpIfpBacklog::BacklogType type );

 private:
   void doInit() override;
   void doCleanup() override;
   void handleInitialized();
   void handleMtpInfo( Mtp mtp );
   void handleIfp( const IfpKey& key );
   void deleteMtp( Mtp mtp );
   void taskIs();
   void taskDel() { task_.reset(); }
   void reviewIfpBacklog();

   MtpIfpHelper ifpHelper_;
   std::optional< Orv::Task > task_; // while work is pending
};

} // namespace KarvelMirror::Slice
