#pragma once

// The TCAM helper for chips whose TCAM is programmed by requests ("use new TCAM API"). It does
// not touch the chip: it describes all entries of a destination as one request of the agent's
// shared TCAM manager, which allocates and installs them and reports how that went.
//
// Each programming pass makes one sub-configuration, at its first rule, with one sequence of
// entry numbers over all of its rules, and asks for one review, at its end. Because a request is
// always the whole destination, an incremental pass describes the unchanged ACLs again; the
// manager finds their entries in place.

#include "Platform/KarvelTcamConfig/KarvelTcamEvents.h"
#include "PluginMounters/Slice/Ports/KarvelMirrorTcamHelper.h"
#include "PluginMounters/Slice/Ports/TcamConfigSm.h"

namespace KarvelMirror {

// What the machines of all destinations need of the shared TCAM manager.
struct TcamRequestContext {
   KarvelTcam::FeatureType featureType = KarvelTcam::FeatureType::mirroring;
   LogicalFap::LogicalFapId logicalFap; // whose chips get the entries
   Zol::Ptr< KarvelTcamConfig::KarvelTcamEvents > tcamEvents;
   Zol::Ptr< KarvelTcam::KarvelTcamIntfProfileMgr > intfProfileManager;
};

class MtpTcamHelperSmV2 : public MtpTcamHelperSmBase {
   ZOL_ENTITY( KarvelMirror, MtpTcamHelperSmV2, MtpTcamHelperSmBase,
         ( COLL, KarvelTcam::RequestKey, KarvelTcam::RequestConfig, requestConfig ),
         ( CONST, KarvelTcam::FeatureType, featureType ),
         ( CONST, LogicalFap::LogicalFapId, logicalFap ),
         ( CONST, Zol::Ptr< KarvelTcamConfig::KarvelTcamEvents >, tcamEvents ),
         ( CONST, Zol::Ptr< KarvelTcam::KarvelTcamIntfProfileMgr >, intfProfileManager ) );

 public:
   using RequestKey = KarvelTcam::RequestKey;

   MtpTcamHelperSmV2( uint32_t unit, Mtp mtp,
         Zol::Ptr< const MtpTcamHelperConfig > mtpHelperConfig,
         Zol::Ptr< MtpTcamHelperStatus > mtpHelperStatus, CommonData scsd,
         const TcamRequestContext& context );

   // "MirroringACL-2" of destination 2.
   Zol::String requestName() const;
   RequestKey createRequestKey( const Zol::String& name ) const;
   // The group of this destination. A number above 3 is a broken invariant.
   KarvelTcam::FeatureGroupType getFeatureGroupType() const;
   // Hook for acting on a request's status; does nothing but trace it.
   virtual void doHandleRequestStatus(
         const RequestKey& reqKey, KarvelTcam::RequestStatusType statusType );

 protected:
   void handleProgrammingOp() override;
   void cleanupTcam() override;
   ProgStatus programRule(
         const Zol::Ptr< TcamAclData >& aclData, const RuleData& rule ) override;
   ProgStatus programSubRule( const Zol::Ptr< TcamAclData >& aclData, RuleData rule,
         uint32_t ruleId, uint32_t sequence ) override;
   void releaseRule( const RuleData& ) override {} // the manager releases entries

 private:
   ProgStatus programPass( const ProgrammingOp& op );
   void createRequestConfig( const RequestKey& reqKey );
   void createRequestSubConfig( const RequestKey& reqKey );
   ProgStatus createEntryRequests( const Zol::Ptr< TcamAclData >& aclData, const RuleData& rule,
         const RequestKey& reqKey );
   void programEntryRequests( const Zol::Ptr< TcamAclData >& aclData, RuleData rule,
         const RequestKey& reqKey, KarvelTcam::RequestSubConfig& reqSubCfg, uint32_t sequence );
   void qualifyInPorts( KarvelTcam::EntryRequest& entryRequest, const RuleData& rule );
   void qualifyDestination( KarvelTcam::EntryRequest& entryRequest, const RuleData& rule );
   void addPortQualifierWithDataAndMask( KarvelTcam::EntryRequest& entryRequest,
         KarvelTcam::QualifierType qualifierType, KarvelTcam::U8 modIdData,
         KarvelTcam::U8 modIdMask, KarvelTcam::U10 portIdData, KarvelTcam::U10 portIdMask );
   void addQualifierWithDataAndMask( KarvelTcam::EntryRequest& entryRequest,
         KarvelTcam::QualifierType qualifierType, uint32_t data, uint32_t mask );
   void setAction( KarvelTcam::EntryRequest& entryRequest, const TcamAclKey& aclKey );
   void enqueueTcamRequest( const RequestKey& reqKey );
   void deleteTcamEntry();

   ProgrammingOp::TcamFeature feature_{}; // of the operation handled last
   // Of the pass under way: null before its first rule and between passes.
   Zol::Ptr< KarvelTcam::RequestSubConfig > passSubCfg_;
   uint32_t nextSequence_ = 0;
};

class TcamHelperSmV2 : public TcamHelperSmBase {
   ZOL_ENTITY( KarvelMirror, TcamHelperSmV2, TcamHelperSmBase,
         ( VAL, Zol::Ptr< KarvelTcamConfig::KarvelTcamEvents >, tcamEvents ),
         ( VAL, Zol::Ptr< KarvelTcam::KarvelTcamIntfProfileMgr >, intfProfileManager ),
         ( CONST, LogicalFap::LogicalFapId, logicalFap ),
         ( CONST, Zol::Ptr< Zol::Dir >, tcamConfigDir ),
         ( CONST, Zol::Ptr< const Zol::Dir >, tcamStatusDir ),
         ( CONST, Zol::Ptr< KarvelCentral::FeatureAgentCommonSmData >, acsd ),
         ( OWN, TcamConfigSm, tcamConfigSm ) );

 public:
   TcamHelperSmV2( uint32_t unit, Zol::Ptr< const TcamHelperConfig > tcamHelperConfig,
         Zol::Ptr< TcamHelperStatus > tcamHelperStatus, CommonData scsd,
         LogicalFap::LogicalFapId logicalFap, Zol::Ptr< Zol::Dir > tcamConfigDir,
         Zol::Ptr< const Zol::Dir > tcamStatusDir,
         Zol::Ptr< KarvelCentral::FeatureAgentCommonSmData > acsd );

 protected:
   void doInit() override { doInitV2(); }
   void doCleanup() override;
   Zol::Ptr< MtpTcamHelperSmBase > makeMtpTcamSm( Mtp mtp,
         Zol::Ptr< const MtpTcamHelperConfig > config,
         Zol::Ptr< MtpTcamHelperStatus > status ) override;

 private:
   void doInitV2();
};

// `acsd` must lead to the shared TCAM manager. The directories may be missing.
Zol::Ptr< TcamHelperSmBase > tcamHelperSmV2Factory( uint32_t unit,
      Zol::Ptr< const TcamHelperConfig > tcamHelperConfig,
      Zol::Ptr< TcamHelperStatus > tcamHelperStatus, CommonData scsd,
      LogicalFap::LogicalFapId logicalFap, Zol::Ptr< Zol::Dir > tcamConfigDir,
      Zol::Ptr< const Zol::Dir > tcamStatusDir,
      Zol::Ptr< KarvelCentral::FeatureAgentCommonSmData > acsd );

Zol::Ptr< MtpTcamHelperSmBase > mtpTcamHelperSmV2Factory( uint32_t unit, Mtp mtp,
      Zol::Ptr< const MtpTcamHelperConfig > mtpHelperConfig,
      Zol::Ptr< MtpTcamHelperStatus > mtpHelperStatus, CommonData scsd,
      const TcamRequestContext& context );

} // namespace KarvelMirror
