#pragma once

// The slice's root machine and its machine per mirror destination.
//
//    program information ──► SliceRootSm ──► one MtpTcamHelperConfig and one SliceMtpSm
//                                            per destination
//    a change of a destination ──► MtpAclCodef (defers) ──► review ──► ProgrammingOp
//    the TCAM helper's status ──► slice program status

#include "Platform/Acl/AclConfig.h"
#include "Platform/Karvel/KarvelCommonSmData.h"
#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/Mirroring/MirroringConfig.h"
#include "Platform/Zol/Sm.h"
#include "PluginMounters/Slice/Ports/KarvelMirrorSliceAclSm.h"
#include "PluginMounters/Slice/Ports/MtpAclCodef.h"
#include "PluginMounters/Slice/Rules/KarvelMirrorTcamTypes.h"

namespace KarvelMirror {

using CommonData = Zol::Ptr< const Karvel::KarvelCommonSmData >;

// One mirror destination of the slice: rebuilds the destination's rules when its program
// information changes, compares them with those asked for last time, and hands the difference
// to the TCAM helper.
class SliceMtpSm : public Zol::EntitySm {
 public:
   // Watches the ports that one ACL is applied to. Passive, like the watchers of
   // KarvelMirrorSliceAclSm.h.
   class AclPortSm : public Zol::EntitySm {
      ZOL_ENTITY( KarvelMirror::SliceMtpSm, AclPortSm, Zol::EntitySm, ( CONST, AclKey, aclKey ),
            ( CONST, Zol::Ptr< const AclPorts >, aclPorts ),
            ( CONST, Zol::Ptr< MtpAclCodefConfig >, codefConfig ) );

    public:
      AclPortSm( const AclKey& aclKey, Zol::Ptr< const AclPorts > aclPorts,
            Zol::Ptr< MtpAclCodefConfig > codefConfig )
            : aclKey_( aclKey ), aclPorts_( aclPorts ), codefConfig_( codefConfig ) {}

    private:
      void doInit() override;
      void handleConfigChange() {}
   };

   ZOL_ENTITY( KarvelMirror, SliceMtpSm, Zol::EntitySm, ( CONST, uint16_t, unit ),
         ( CONST, Mtp, mtp ), ( CONST, Zol::Ptr< const MtpProgramInfo >, mtpProgramInfo ),
         ( CONST, Zol::Ptr< const LogicalFapMtpProgramInfo >, lfMtpProgramInfo ),
         ( CONST, Zol::Ptr< const SliceCapability >, sliceCapability ),
         ( CONST, Zol::Ptr< const Acl::Config >, aclConfig ), ( CONST, CommonData, scsd ),
         ( CONST, Zol::Ptr< const Mirroring::Config >, mirroringConfig ),
         ( CONST, Zol::Ptr< MtpTcamHelperConfig >, tcamHelperConfig ),
         ( VAL, Zol::Ptr< const TcamGroupData >, groupDataCache ),
         ( OWN, MtpAclCodefConfig, codefConfig ), ( OWN, MtpAclCodefStatus, codefStatus ),
         ( OWN, MtpAclCodef, mtpAclCodef ), ( OWN, ExpectedAclConfig, expectedAclConfig ),
         ( COLL, Acl::AclType, AclTypeConfigSm, aclTypeConfigSm ),
         ( COLL, AclKey, AclPortSm, aclPortSm ), ( VAL, bool, initialized ),
         ( CONST, Zol::Ptr< const MtpTcamHelperStatus >, tcamHelperStatus ), // may be none
         ( CONST, Zol::Ptr< SliceMtpProgramStatus >, sliceMtpProgramStatus ) );

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

   // The watcher of one kind of ACLs; it shares this machine's expected ACLs and reviews.
   Zol::Ptr< AclTypeConfigSm > aclTypeConfigSmIs(
         Acl::AclType type, Zol::Ptr< const Acl::AclTypeConfig > config ) {
      return aclTypeConfigSmIs( type, config, expectedAclConfig(), codefConfig() );
   }

   // Sets the feature that carries all ACLs of the operation's group data. ACLs that no one feature
   // carries are a broken invariant.
   void determineFeature( ProgrammingOp& op );

 private:
   void doInit() override;
   void doCleanup() override;

   void reviewConfigChange();
   void handleTcamHelperStatus();
   // A change of an ACL asks for no review: it reaches the chip with the program information.
   void handleAclTypeConfig( Acl::AclType ) { handleAcl( AclKey() ); }
   void handleAcl( const AclKey& ) {}

   // Rules.
   void buildUpGroupData( TcamGroupData& groupData );
   void getPortMirroringIngressRules( TcamGroupData& groupData );
   void getPortMirroringEgressRules( TcamGroupData& groupData );
   // A source port that this chip does not have is not supported and reaches no rule.
   bool isSupported( const SourcePort& source ) const;
   size_t supportedSrcPorts() const;

   // Comparison.
   void determineProgOp( ProgrammingOp& op );
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
         ( CONST, CommonData, scsd ), ( CONST, Zol::Ptr< TcamHelperConfig >, tcamHelperConfig ),
         ( CONST, Zol::Ptr< const TcamHelperStatus >, tcamHelperStatus ),
         ( CONST, Zol::Ptr< const Mirroring::Config >, mirroringConfig ),
         ( CONST, Zol::Ptr< const LogicalFapMtpProgramInfo >, mtpProgramInfo ),
         ( COLL, Mtp, SliceMtpSm, mtpSm ) );

 public:
   SliceRootSm( uint16_t unit, Zol::Ptr< const Acl::Config > aclConfig,
         Zol::Ptr< const LogicalFapMtpProgramInfoColl > lfMtpProgramInfoColl,
         Zol::Ptr< const SliceCapability > sliceCapability,
         Zol::Ptr< SliceMtpProgramStatus > sliceMtpProgramStatus, CommonData scsd,
         Zol::Ptr< TcamHelperConfig > tcamHelperConfig,
         Zol::Ptr< const TcamHelperStatus > tcamHelperStatus,
         Zol::Ptr< const Mirroring::Config > mirroringConfig );

   // Binds to the program information of the slice's logical FAP, and lets go of it together with
   // the machines and configurations of every destination.
   void mtpProgramInfoIs( Zol::Ptr< const LogicalFapMtpProgramInfo > info );
   void mtpProgramInfoDel();
   void mtpSmIs( Mtp mtp, Zol::Ptr< const MtpProgramInfo > info,
         Zol::Ptr< MtpTcamHelperConfig > config );

 private:
   void doInit() override;
   void doCleanup() override;

   void handleLogicalFapInfo();
   void handleMtpConfig( Mtp mtp );
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
