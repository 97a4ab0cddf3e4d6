#pragma once

// The slice's root machine and its machine per mirror destination.
//
//    program information ──► SliceRootSm ──► one MtpTcamHelperConfig and one SliceMtpSm
//                                            per destination
//    a change of a destination ──► MtpAclCodef (defers) ──► review ──► ProgrammingOp
//    the TCAM helper's status ──► slice program status

#include "Platform/Acl/Config.h"
#include "Platform/Karvel/KarvelCommonSmData.h"
#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/Mirroring/Config.h"
#include "Platform/Zol/Clock.h"
#include "Platform/Zol/Sm.h"
#include "PluginMounters/Slice/KarvelMirrorTcamTypes.h"

namespace KarvelMirror {

using CommonData = Zol::Ptr< const Karvel::KarvelCommonSmData >;

// A counter of reviews: asked for (config) or due (status).
class MtpAclCodefCommon : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, MtpAclCodefCommon, Zol::Entity, ( VAL, uint32_t, review ) );

 public:
   void reviewInc( uint32_t n ) { reviewIs( review() + n ); }
};

class MtpAclCodefConfig : public MtpAclCodefCommon {
   ZOL_ENTITY( KarvelMirror, MtpAclCodefConfig, MtpAclCodefCommon );
};

class MtpAclCodefStatus : public MtpAclCodefCommon {
   ZOL_ENTITY( KarvelMirror, MtpAclCodefStatus, MtpAclCodefCommon );
};

// Defers reviews: however many are asked for within one turn of the event loop, one is due in
// the next.
class MtpAclCodef : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror, MtpAclCodef, Zol::EntitySm,
         ( CONST, Zol::Ptr< const MtpAclCodefConfig >, codefConfig ),
         ( CONST, Zol::Ptr< MtpAclCodefStatus >, codefStatus ) );

 public:
   MtpAclCodef(
         Zol::Ptr< const MtpAclCodefConfig > config, Zol::Ptr< MtpAclCodefStatus > status );

 private:
   void doInit() override;
   void doCleanup() override;
   void scheduleReview();
   void doReview();

   Zol::Clock reviewClock_;
};

// One mirror destination of the slice: rebuilds the destination's rules when its program
// information changes, compares them with those asked for last time, and hands the difference
// to the TCAM helper.
class SliceMtpSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror, SliceMtpSm, Zol::EntitySm, ( CONST, uint16_t, unit ),
         ( CONST, Mtp, mtp ), ( CONST, Zol::Ptr< const MtpProgramInfo >, mtpProgramInfo ),
         ( CONST, Zol::Ptr< const LogicalFapMtpProgramInfo >, lfMtpProgramInfo ),
         ( CONST, Zol::Ptr< const SliceCapability >, sliceCapability ),
         ( CONST, Zol::Ptr< const Acl::Config >, aclConfig ), ( CONST, CommonData, scsd ),
         ( CONST, Zol::Ptr< const Mirroring::Config >, mirroringConfig ),
         ( CONST, Zol::Ptr< MtpTcamHelperConfig >, tcamHelperConfig ),
         ( CONST, Zol::Ptr< const MtpTcamHelperStatus >, tcamHelperStatus ), // may be none
         ( CONST, Zol::Ptr< SliceMtpProgramStatus >, sliceMtpProgramStatus ),
         ( VAL, Zol::Ptr< const TcamGroupData >, groupDataCache ),
         ( OWN, MtpAclCodefConfig, codefConfig ), ( OWN, MtpAclCodefStatus, codefStatus ),
         ( OWN, MtpAclCodef, mtpAclCodef ), ( VAL, bool, initialized ) );

 public:
   // What all destinations of a slice share.
   struct Context {
      uint16_t unit = 0;
      Zol::Ptr< const LogicalFapMtpProgramInfo > lfMtpProgramInfo;
      Zol::Ptr< const SliceCapability > sliceCapability;
      Zol::Ptr< const Acl::Config > aclConfig;
      CommonData scsd;
      Zol::Ptr< const Mirroring::Config > mirroringConfig;
      Zol::Ptr< SliceMtpProgramStatus > sliceMtpProgramStatus;
   };

   SliceMtpSm( Mtp mtp, Zol::Ptr< const MtpProgramInfo > mtpProgramInfo,
         Zol::Ptr< MtpTcamHelperConfig > tcamHelperConfig,
         Zol::Ptr< const MtpTcamHelperStatus > tcamHelperStatus, const Context& context );

   // Asks for a review in the next turn of the event loop.
   void handleConfigChange();

 private:
   void doInit() override;
   void doCleanup() override;

   void reviewConfigChange();
   void handleTcamHelperStatus();

   // Rules.
   void buildUpGroupData( TcamGroupData& groupData );
   void getPortMirroringIngressRules( TcamGroupData& groupData );
   void getPortMirroringEgressRules( TcamGroupData& groupData );
   // A source port that this chip does not have is not supported and reaches no rule.
   bool isSupported( const SourcePort& source ) const;
   size_t supportedSrcPorts() const;

   // Comparison. True if there is something to hand over.
   void determineProgOp( ProgrammingOp& op );
   void determineFeature( ProgrammingOp& op );
   void recordChange( ProgrammingOp& op, const TcamAclKey& key );
};

// Keeps one SliceMtpSm and one MtpTcamHelperConfig for every destination in the program
// information of the slice's logical FAP.
class SliceRootSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror, SliceRootSm, Zol::EntitySm, ( CONST, uint16_t, unit ),
         ( CONST, Zol::Ptr< const Acl::Config >, aclConfig ),
         ( CONST, Zol::Ptr< const LogicalFapMtpProgramInfoColl >, lfMtpProgramInfoColl ),
         ( CONST, Zol::Ptr< const SliceCapability >, sliceCapability ),
         ( CONST, Zol::Ptr< SliceMtpProgramStatus >, sliceMtpProgramStatus ),
         ( CONST, CommonData, scsd ),
         ( CONST, Zol::Ptr< TcamHelperConfig >, tcamHelperConfig ),
         ( CONST, Zol::Ptr< const TcamHelperStatus >, tcamHelperStatus ),
         ( CONST, Zol::Ptr< const Mirroring::Config >, mirroringConfig ),
         ( VAL, Zol::Ptr< const LogicalFapMtpProgramInfo >, mtpProgramInfo ),
         ( COLL, Mtp, SliceMtpSm, mtpSm ) );

 public:
   SliceRootSm( uint16_t unit, Zol::Ptr< const Acl::Config > aclConfig,
         Zol::Ptr< const LogicalFapMtpProgramInfoColl > lfMtpProgramInfoColl,
         Zol::Ptr< const SliceCapability > sliceCapability,
         Zol::Ptr< SliceMtpProgramStatus > sliceMtpProgramStatus, CommonData scsd,
         Zol::Ptr< TcamHelperConfig > tcamHelperConfig,
         Zol::Ptr< const TcamHelperStatus > tcamHelperStatus,
         Zol::Ptr< const Mirroring::Config > mirroringConfig );

 private:
   void doInit() override;
   void doCleanup() override;

   void handleLogicalFapInfo();
   void handleMtpConfig( Mtp mtp );
   void bind( Zol::Ptr< const LogicalFapMtpProgramInfo > info );
   void unbind();
   void addMtp( Mtp mtp, Zol::Ptr< const MtpProgramInfo > info );
   void deleteMtp( Mtp mtp );
};

Zol::Ptr< SliceRootSm > sliceRootSmFactory( uint16_t unit,
      Zol::Ptr< const Acl::Config > aclConfig,
      Zol::Ptr< const LogicalFapMtpProgramInfoColl > lfMtpProgramInfoColl,
      Zol::Ptr< const SliceCapability > sliceCapability,
      Zol::Ptr< SliceMtpProgramStatus > sliceMtpProgramStatus, CommonData scsd,
      Zol::Ptr< TcamHelperConfig > tcamHelperConfig,
      Zol::Ptr< const TcamHelperStatus > tcamHelperStatus,
      Zol::Ptr< const Mirroring::Config > mirroringConfig );

} // namespace KarvelMirror
