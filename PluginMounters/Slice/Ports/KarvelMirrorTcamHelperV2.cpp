#include "PluginMounters/Slice/Ports/KarvelMirrorTcamHelperV2.h"

#include "Platform/Duolog/Duolog.h"
#include "Platform/KarvelMirror/Features.h"
#include "Platform/KarvelTcam/PortMaps.h"
#include "Platform/Zol/Clock.h"

namespace KarvelMirror {

using KarvelTcam::ActionType;
using KarvelTcam::CounterType;
using KarvelTcam::EntryRequest;
using KarvelTcam::FeatureActionType;
using KarvelTcam::IntfMatch;
using KarvelTcam::QualifierType;
using KarvelTcam::RequestConfig;
using KarvelTcam::RequestConfigType;
using KarvelTcam::RequestKey;
using KarvelTcam::RequestSubConfig;

namespace {

Duolog::Handle trace( "MtpTcamHelperSmV2" );
Duolog::Handle traceHelper( "TcamHelperSmV2" );

constexpr std::string_view requestNameTemplate = "MirroringACL-{}";

// All entries are of the ingress stage, also those that mirror egress.
KarvelTcam::ClassData classData() { return {}; }

// The entry's description for people, "mirror2-egress-port13". It names what the entry matches,
// so that it stays true while entries before it come and go.
Zol::String describe( Mtp mtp, const TcamAclKey& key, const RuleData& rule ) {
   Zol::String text = "mirror";
   Zol::appendText( text, mtp.value() );
   text.append( 1, '-' ).append( key.aclName() );
   for ( const KarvelTypes::KarvelPort& port : rule.outPort() ) {
      Zol::appendText( text += "-port", port.logicalPort() );
   }
   for ( int32_t trunk : rule.outLag() ) {
      Zol::appendText( text += "-trunk", trunk );
   }
   return text;
}

} // namespace

// --- One destination -----------------------------------------------------------------------

MtpTcamHelperSmV2::MtpTcamHelperSmV2( uint32_t unit, Mtp mtp,
      Zol::Ptr< const MtpTcamHelperConfig > mtpHelperConfig,
      Zol::Ptr< MtpTcamHelperStatus > mtpHelperStatus, CommonData scsd,
      const TcamRequestContext& context )
      : MtpTcamHelperSmBase( unit, mtp, mtpHelperConfig, mtpHelperStatus, scsd ),
        featureType_( context.featureType ), logicalFap_( context.logicalFap ),
        tcamEvents_( context.tcamEvents ), intfProfileManager_( context.intfProfileManager ) {}

Zol::String MtpTcamHelperSmV2::requestName() const {
   Zol::String name( requestNameTemplate );
   return name.replace( name.find( "{}" ), 2, Zol::toString( mtp() ) );
}

RequestKey MtpTcamHelperSmV2::createRequestKey( const Zol::String& name ) const {
   const RequestKey reqKey( featureType(), name );
   DUOLOG_IN( trace, 4, "MtpTcamHelperSmV2::createRequestKey", " " << reqKey );
   return reqKey;
}

KarvelTcam::FeatureGroupType MtpTcamHelperSmV2::getFeatureGroupType() const {
   if ( mtp().value() < maxMtps ) {
      return featureGroup( mtp() );
   }
   DUOLOG( trace, 0, "Unknown mtp value: " << mtp() );
   Zol::assertionFailed( "Unknown mtp", __FILE__, __LINE__ );
}

void MtpTcamHelperSmV2::handleProgrammingOp() {
   DUOLOG_IN( trace, 1, "MtpTcamHelperSmV2::handleProgrammingOp", " Mtp: " << mtp() );
   const Zol::Ptr< const ProgrammingOp > op = mtpHelperConfig()->programmingOp();
   if ( !op ) {
      return;
   }
   if ( op->feature() != feature_ || op->fullReprogram() ) {
      deleteTcamEntry();
   }
   feature_ = op->feature();
   const ProgStatus status = programPass( *op );
   DUOLOG_IN( trace, 1, "MtpTcamHelperSmV2::handleProgrammingOp",
         " Mtp: " << mtp() << " status: " << status );
   mtpHelperStatus()->programmingOpIs( status );
}

ProgStatus MtpTcamHelperSmV2::programPass( const ProgrammingOp& op ) {
   passSubCfg_ = nullptr;
   nextSequence_ = 0;
   ProgStatus status = ProgStatus::success;
   if ( op.fullReprogram() ) {
      status = programAcls( op );
   } else {
      cleanupSelectAcls( op );
      status = programSelectAcls( op );
      if ( status == ProgStatus::success ) {
         status = programUnchangedAcls( op );
      }
   }
   const RequestKey reqKey = createRequestKey( requestName() );
   if ( requestConfigHas( reqKey ) ) {
      if ( !passSubCfg_ ) {
         createRequestSubConfig( reqKey ); // an empty one: nothing is wanted any more
      }
      enqueueTcamRequest( reqKey );
   }
   passSubCfg_ = nullptr;
   return status;
}

ProgStatus MtpTcamHelperSmV2::programRule(
      const Zol::Ptr< TcamAclData >& aclData, const RuleData& rule ) {
   DUOLOG_IN(
         trace, 2, "MtpTcamHelperSmV2::programRule", " Mtp: " << mtp() << " Rule: " << rule );
   const RequestKey reqKey = createRequestKey( requestName() );
   if ( !requestConfigHas( reqKey ) ) {
      createRequestConfig( reqKey );
   }
   requestConfig( reqKey )->requestConfigTypeIs( RequestConfigType::programming );
   if ( !passSubCfg_ ) {
      createRequestSubConfig( reqKey );
   }
   return createEntryRequests( aclData, rule, reqKey );
}

void MtpTcamHelperSmV2::createRequestConfig( const RequestKey& reqKey ) {
   DUOLOG_IN( trace, 2, "MtpTcamHelperSmV2::createRequestConfig",
         " RequestName: " << reqKey.requestName() );
   ZOL_ASSERT_AS( "!!reqKey", reqKey );
   requestConfigIs( reqKey, reqKey.requestName() );
   ZOL_ASSERT( requestConfigHas( reqKey ) );
   const Zol::Ptr< RequestConfig > config = requestConfig( reqKey );
   const Zol::Ptr< KarvelTcam::FapSet > faps = config->fapSetIs();
   faps->logicalFapIs( true );
   faps->fapIs( logicalFap() )->allPipesIs( true );
   config->classInfoIs()->classDataIs( classData() );
}

void MtpTcamHelperSmV2::createRequestSubConfig( const RequestKey& reqKey ) {
   ZOL_ASSERT( requestConfigHas( reqKey ) );
   const Zol::Ptr< RequestConfig > config = requestConfig( reqKey );
   DUOLOG_IN( trace, 2, "MtpTcamHelperSmV2::createRequestSubConfig",
         " RequestKey: " << reqKey << ", RequestType: " << config->requestConfigType() );
   const uint32_t number = config->currCfg() ? config->currCfg()->number() + 1 : 1;
   config->currCfgDel();
   config->requestSubConfigDelAll();
   const Zol::Ptr< RequestSubConfig > reqSubCfg =
         config->requestSubConfigIs( Orv::UniqueId::fresh(), number, classData() );
   ZOL_ASSERT( reqSubCfg );
   const KarvelTcam::FeatureGroupType fgType = getFeatureGroupType();
   ZOL_ASSERT( fgType != KarvelTcam::fgtInvalid() );
   reqSubCfg->fgTypeIs( fgType );
   config->currCfgIs( reqSubCfg );
   passSubCfg_ = reqSubCfg;
}

ProgStatus MtpTcamHelperSmV2::createEntryRequests(
      const Zol::Ptr< TcamAclData >& aclData, const RuleData& rule, const RequestKey& reqKey ) {
   ZOL_ASSERT( requestConfigHas( reqKey ) );
   return programSubRules( aclData, rule );
}

ProgStatus MtpTcamHelperSmV2::programSubRule(
      const Zol::Ptr< TcamAclData >& aclData, RuleData rule, uint32_t, uint32_t ) {
   programEntryRequests( aclData, std::move( rule ), createRequestKey( requestName() ),
         *passSubCfg_, nextSequence_++ );
   return ProgStatus::success;
}

void MtpTcamHelperSmV2::programEntryRequests( const Zol::Ptr< TcamAclData >& aclData,
      RuleData rule, const RequestKey& reqKey, RequestSubConfig& reqSubCfg,
      uint32_t sequence ) {
   DUOLOG_IN( trace, 2, "MtpTcamHelperSmV2::programEntryRequests",
         " Mtp: " << mtp() << ", Rule: " << rule << ", RequestKey: " << reqKey
                  << ", Sequence Number: " << sequence );
   const KarvelTcam::RuleId ruleId = reqSubCfg.getRuleId( reqKey, sequence );
   const Zol::Ptr< EntryRequest > entryRequest =
         reqSubCfg.entryRequestIs( ruleId, classData() );
   entryRequest->descriptionIs( describe( mtp(), aclData->aclKey(), rule ) );
   qualifyInPorts( *entryRequest, rule );
   qualifyDestination( *entryRequest, rule );
   programQuals( sequence, rule );
   KarvelTcam::CounterSet counterSet;
   counterSet.counterIs( CounterType::bytes, true );
   counterSet.counterIs( CounterType::packets, true );
   entryRequest->counterSetIs( std::move( counterSet ) );
   setAction( *entryRequest, aclData->aclKey() );
   reqSubCfg.entryQEnq( ruleId );
   DUOLOG_IN(
         trace, 3, "MtpTcamHelperSmV2::programEntryRequests", " entryQEnq ruleId: " << ruleId );
   rule.entryIdIs( sequence ); // unique: a rule may become several entries
   aclData->ruleIs( sequence, std::move( rule ) );
}

void MtpTcamHelperSmV2::qualifyInPorts( EntryRequest& entryRequest, const RuleData& rule ) {
   if ( rule.inPort().empty() ) {
      return;
   }
   const Shim::PortBitmap pbmp = buildInPorts( rule );
   const bool aclGroup = KarvelCentral::karvelAttributes()
                               ->chipAttributes( scsd()->chipAttributes().chip() )
                               .aclGroup();
   DUOLOG_IN( trace, 3, "MtpTcamHelperSmV2::programEntryRequests",
         ( aclGroup ? " supports AclGroupClassId" : " uses InPorts" ) );
   entryRequest.intfProfileIs(
         intfProfileManager()->intfProfile( aclGroup ? IntfMatch::classId : IntfMatch::inPorts,
               pbmp, KarvelTcam::getPbmpAll( scsd() ) ) );
}

void MtpTcamHelperSmV2::qualifyDestination( EntryRequest& entryRequest, const RuleData& rule ) {
   if ( !rule.outPort().empty() ) {
      ZOL_ASSERT( rule.outPorts() == 1 );
      const KarvelTypes::KarvelPort& portId = rule.outPort().begin().key();
      addPortQualifierWithDataAndMask(
            entryRequest, QualifierType::dstPort, portId.modId(), 0xFF, portId.port(), 0xFF );
   }
   if ( !rule.outLag().empty() ) {
      ZOL_ASSERT( rule.outLags() == 1 );
      const int32_t tgid = rule.outLag().begin().key();
      addQualifierWithDataAndMask(
            entryRequest, QualifierType::dstTrunk, static_cast< uint32_t >( tgid ), 0xFF );
   }
}

void MtpTcamHelperSmV2::addPortQualifierWithDataAndMask( EntryRequest& entryRequest,
      QualifierType qualifierType, KarvelTcam::U8 modIdData, KarvelTcam::U8 modIdMask,
      KarvelTcam::U10 portIdData, KarvelTcam::U10 portIdMask ) {
   DUOLOG_IN( trace, 3, "MtpTcamHelperSmV2::addPortQualifierWithDataAndMask",
         " QualifierType: " << qualifierType << ", modId data: " << modIdData
                            << ", modId mask: " << modIdMask << ", portId data: " << portIdData
                            << ", portId mask: " << portIdMask );
   entryRequest.portQualifierIs(
         qualifierType, { modIdData, modIdMask, portIdData, portIdMask } );
}

void MtpTcamHelperSmV2::addQualifierWithDataAndMask(
      EntryRequest& entryRequest, QualifierType qualifierType, uint32_t data, uint32_t mask ) {
   DUOLOG_IN( trace, 3, "MtpTcamHelperSmV2::addQualifierWithDataAndMask",
         " QualifierType: " << qualifierType << ", data: " << data << ", mask: " << mask );
   entryRequest.qualifierIs( qualifierType, { data, mask } );
}

void MtpTcamHelperSmV2::setAction( EntryRequest& entryRequest, const TcamAclKey& aclKey ) {
   const bool isEgress = isEgressAcl( aclKey );
   const ActionType type = isEgress ? ActionType::mirrorEgress : ActionType::mirrorIngress;
   KarvelTcam::Action action( type );
   action.paramIs( 0, unit() );
   action.paramIs( 1, mtp().value() );
   DUOLOG_IN( trace, 3, "MtpTcamHelperSmV2::programEntryRequests",
         " param0: " << unit() << ", param1: " << mtp() );
   entryRequest.featureActionIs(
         isEgress ? FeatureActionType::mirrorEgress : FeatureActionType::mirrorIngress );
   entryRequest.actionParamsIs( type, std::move( action ) );
}

void MtpTcamHelperSmV2::enqueueTcamRequest( const RequestKey& reqKey ) {
   ZOL_ASSERT( requestConfigHas( reqKey ) );
   const Zol::Ptr< RequestConfig > config = requestConfig( reqKey );
   const Zol::Seconds now = Zol::activityManager().now();
   DUOLOG_IN( trace, 2, "MtpTcamHelperSmV2::enqueueTcamRequest",
         " Enqueue request at " << now << ", RequestType: " << config->requestConfigType() );
   tcamEvents()->enqueueRequests( KarvelTcamConfig::karvelTcamReviewRequestFactory(
         config, KarvelTcamConfig::karvelTcamIntfTypeFactory(), now ) );
   DUOLOG_IN( trace, 2, "MtpTcamHelperSmV2::enqueueTcamRequest", " commit batch " );
   tcamEvents()->commitBatch();
}

void MtpTcamHelperSmV2::deleteTcamEntry() {
   const RequestKey reqKey = createRequestKey( requestName() );
   if ( requestConfigHas( reqKey ) ) {
      requestConfig( reqKey )->requestConfigTypeIs( RequestConfigType::deleting );
      createRequestSubConfig( reqKey );
      passSubCfg_ = nullptr;
      enqueueTcamRequest( reqKey );
      requestConfigDel( reqKey );
   }
   aclDataCacheDelAll();
   DUOLOG_IN( trace, 2, "MtpTcamHelperSmV2::deleteTcamEntry", " clear AclDataCache" );
}

void MtpTcamHelperSmV2::cleanupTcam() {
   DUOLOG_IN( trace, 1, "MtpTcamHelperSmV2::cleanupTcam", " Mtp: " << mtp() );
   deleteTcamEntry();
}

void MtpTcamHelperSmV2::doHandleRequestStatus(
      const RequestKey& reqKey, KarvelTcam::RequestStatusType statusType ) {
   DUOLOG_IN( trace, 2, "MtpTcamHelperSmV2::doHandleRequestStatus",
         " RequestKey: " << reqKey << ", StatusType: " << statusType );
}

// --- All destinations of a chip --------------------------------------------------------------

TcamHelperSmV2::TcamHelperSmV2( uint32_t unit,
      Zol::Ptr< const TcamHelperConfig > tcamHelperConfig,
      Zol::Ptr< TcamHelperStatus > tcamHelperStatus, CommonData scsd,
      LogicalFap::LogicalFapId logicalFap, Zol::Ptr< Zol::Dir > tcamConfigDir,
      Zol::Ptr< const Zol::Dir > tcamStatusDir,
      Zol::Ptr< KarvelCentral::FeatureAgentCommonSmData > acsd )
      : TcamHelperSmBase( unit, tcamHelperConfig, tcamHelperStatus, scsd ),
        tcamEvents_( acsd->tcamEvents() ), intfProfileManager_( acsd->intfProfileManager() ),
        logicalFap_( logicalFap ), tcamConfigDir_( tcamConfigDir ),
        tcamStatusDir_( tcamStatusDir ), acsd_( acsd ) {}

void TcamHelperSmV2::doInitV2() {
   DUOLOG_IN( traceHelper, 1, "TcamHelperSmV2::doInitV2" );
   tcamConfigSmIs( tcamConfigSmFactory( KarvelTcam::FeatureType::mirroring, tcamEvents(),
         tcamConfigDir(), tcamStatusDir(), acsd() ) );
   TcamHelperSmBase::doInit();
   tcamEvents()->clientWarmIs( true );
}

void TcamHelperSmV2::doCleanup() {
   TcamHelperSmBase::doCleanup(); // withdraws the requests
   tcamConfigSmDel();
   intfProfileManagerDel();
   tcamEventsDel();
}

Zol::Ptr< MtpTcamHelperSmBase > TcamHelperSmV2::makeMtpTcamSm( Mtp mtp,
      Zol::Ptr< const MtpTcamHelperConfig > config, Zol::Ptr< MtpTcamHelperStatus > status ) {
   return mtpTcamHelperSmV2Factory( unit(), mtp, config, status, scsd(),
         { KarvelTcam::FeatureType::mirroring, logicalFap(), tcamEvents(),
               intfProfileManager() } );
}

Zol::Ptr< TcamHelperSmBase > tcamHelperSmV2Factory( uint32_t unit,
      Zol::Ptr< const TcamHelperConfig > tcamHelperConfig,
      Zol::Ptr< TcamHelperStatus > tcamHelperStatus, CommonData scsd,
      LogicalFap::LogicalFapId logicalFap, Zol::Ptr< Zol::Dir > tcamConfigDir,
      Zol::Ptr< const Zol::Dir > tcamStatusDir,
      Zol::Ptr< KarvelCentral::FeatureAgentCommonSmData > acsd ) {
   return Zol::make< TcamHelperSmV2 >( unit, tcamHelperConfig, tcamHelperStatus, scsd,
         logicalFap, tcamConfigDir, tcamStatusDir, acsd );
}

Zol::Ptr< MtpTcamHelperSmBase > mtpTcamHelperSmV2Factory( uint32_t unit, Mtp mtp,
      Zol::Ptr< const MtpTcamHelperConfig > mtpHelperConfig,
      Zol::Ptr< MtpTcamHelperStatus > mtpHelperStatus, CommonData scsd,
      const TcamRequestContext& context ) {
   return Zol::make< MtpTcamHelperSmV2 >(
         unit, mtp, mtpHelperConfig, mtpHelperStatus, scsd, context );
}

ZOL_DEFINE_ENTITY( MtpTcamHelperSmV2 );
ZOL_DEFINE_ENTITY( TcamHelperSmV2 );

} // namespace KarvelMirror
