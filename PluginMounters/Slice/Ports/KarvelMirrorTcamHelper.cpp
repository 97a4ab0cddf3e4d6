#include "PluginMounters/Slice/Ports/KarvelMirrorTcamHelper.h"

#include "Platform/Duolog/Duolog.h"
#include "Platform/Karvel/SdkCall.h"
#include "Platform/KarvelTcam/PortMaps.h"

namespace KarvelMirror {

namespace {

Duolog::Handle trace( "MtpTcamHelperSm" );

ProgStatus toProgStatus( Karvel::TcamStatus status ) {
   switch ( status ) {
   case Karvel::TcamStatus::success:
      return ProgStatus::success;
   case Karvel::TcamStatus::exhausted:
      return ProgStatus::resourceExhaustion;
   default:
      return ProgStatus::failed;
   }
}

// The entry's name for people: "mirror2-egress-1.3".
void setRequestName(
      Zol::String& name, Mtp mtp, const TcamAclKey& key, uint32_t ruleId, uint32_t sequence ) {
   name = "mirror";
   Zol::appendText( name, mtp.value() );
   name.append( 1, '-' ).append( key.aclName() ).append( 1, '-' );
   Zol::appendText( name, ruleId );
   name += '.';
   Zol::appendText( name, sequence );
}

} // namespace

MtpTcamHelperSm::MtpTcamHelperSm( uint32_t unit, Mtp mtp,
      Zol::Ptr< const MtpTcamHelperConfig > mtpHelperConfig,
      Zol::Ptr< MtpTcamHelperStatus > mtpHelperStatus, CommonData scsd,
      Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager )
      : MtpTcamHelperSmBase( unit, mtp, mtpHelperConfig, mtpHelperStatus, scsd ),
        groupManager_( groupManager ) {}

void MtpTcamHelperSm::doInit() {
   DUOLOG_IN( trace, 2, "MtpTcamHelperSm::doInit", " Mtp: " << mtp() );
   entryManager_ = groupManager()->mirroringEntryManager( unit(), mtp() );
   MtpTcamHelperSmBase::doInit();
}

void MtpTcamHelperSm::doCleanup() {
   MtpTcamHelperSmBase::doCleanup();
   mirroringAclDataCache_.reset();
   entryManager_ = nullptr; // the destination's group goes with it
}

void MtpTcamHelperSm::handleProgrammingOp() {
   DUOLOG_IN( trace, 1, "MtpTcamHelperSm::handleProgrammingOp", " Mtp: " << mtp() );
   Zol::Ptr< const ProgrammingOp > op = mtpHelperConfig()->programmingOp();
   if ( !op ) {
      return;
   }
   ProgStatus status = carryOut( *op );
   if ( status != ProgStatus::success ) {
      cleanupTcam();
   }
   DUOLOG_IN( trace, 1, "MtpTcamHelperSm::handleProgrammingOp",
         " Mtp: " << mtp() << " status: " << status );
   mtpHelperStatus()->programmingOpIs( status );
}

ProgStatus MtpTcamHelperSm::carryOut( const ProgrammingOp& op ) {
   ProgStatus registered = registerGroup( op );
   if ( registered != ProgStatus::success ) {
      return registered;
   }
   ZOL_ASSERT_AS( "!!mirroringAclDataCache()", mirroringAclDataCache() );
   if ( op.fullReprogram() ) {
      cleanupTcam();
      return programAcls( op );
   }
   if ( !op.change().empty() || !op.del().empty() ) {
      cleanupSelectAcls( op );
   }
   return programSelectAcls( op );
}

ProgStatus MtpTcamHelperSm::registerGroup( const ProgrammingOp& op ) {
   const KarvelMirrorAclGroupMetaData metaData = getMirroringAclData( op.feature() );
   if ( mirroringAclDataCache() && *mirroringAclDataCache() == metaData ) {
      return ProgStatus::success;
   }
   ZOL_ASSERT_AS( "op->fullReprogram()", op.fullReprogram() );
   cleanupTcam();
   mirroringAclDataCache_.reset();
   ProgStatus status = toProgStatus( groupManager()->groupMirroringAclDataIs(
         unit(), { mtp(), metaData.type(), metaData.egress() } ) );
   if ( status == ProgStatus::success ) {
      mirroringAclDataCache_ = metaData;
   }
   return status;
}

void MtpTcamHelperSm::cleanupTcam() {
   DUOLOG_IN( trace, 1, "MtpTcamHelperSm::cleanupTcam", " Mtp: " << mtp() );
   for ( auto aclIter = aclDataCache().begin(); aclIter != aclDataCache().end(); ++aclIter ) {
      const auto& rules = aclIter.value()->rule();
      for ( auto iter = rules.begin(); iter != rules.end(); ++iter ) {
         releaseRule( iter.value() );
      }
   }
   aclDataCacheDelAll();
   DUOLOG_IN( trace, 2, "MtpTcamHelperSm::cleanupTcam", " clear AclDataCache" );
}

void MtpTcamHelperSm::releaseRule( const RuleData& rule ) {
   entryManager()->releaseEntry( unit(), rule.entryId() );
}

ProgStatus MtpTcamHelperSm::programRule(
      const Zol::Ptr< TcamAclData >& aclData, const RuleData& rule ) {
   DUOLOG_IN(
         trace, 2, "MtpTcamHelperSm::programRule", " Mtp: " << mtp() << " Rule: " << rule );
   return programSubRules( aclData, rule );
}

ProgStatus MtpTcamHelperSm::programSubRule( const Zol::Ptr< TcamAclData >& aclData,
      RuleData rule, uint32_t ruleId, uint32_t sequence ) {
   const TcamAclKey& key = aclData->aclKey();
   setRequestName( requestName_, mtp(), key, ruleId, sequence );
   DUOLOG_IN( trace, 2, "MtpTcamHelperSm::programSubRule",
         " Mtp: " << mtp() << " Rule: " << rule << " requestName: " << requestName_ );
   const Karvel::TcamEntryResult entry = entryManager()->getEntry( unit(), requestName_,
         { mtp(), key.aclName(), key.aclType().number(), ruleId, sequence } );
   if ( entry.status != Karvel::TcamStatus::success ) {
      return toProgStatus( entry.status );
   }
   ProgStatus status = qualifyInPorts( entry.entryId, rule );
   if ( status != ProgStatus::success ) {
      entryManager()->releaseEntry( unit(), entry.entryId );
      return status;
   }
   qualifyDestination( entry.entryId, rule );
   programQuals( entry.entryId, rule );
   addAction( entry.entryId, *aclData );
   Shim::Rc rc = entryManager()->installEntry( unit(), entry.entryId );
   ZOL_ASSERT( rc == ::Shim::sdk_->QX_BCM_E_NONE() && "installEntry failed" );

   rule.entryIdIs( entry.entryId ); // what cleanupTcam gives back
   aclData->ruleIs( entry.entryId, std::move( rule ) );
   return ProgStatus::success;
}

ProgStatus MtpTcamHelperSm::qualifyInPorts( Karvel::EntryId entryId, const RuleData& rule ) {
   if ( rule.inPort().empty() ) {
      return ProgStatus::success;
   }
   const Shim::PortBitmap pbmp = buildInPorts( rule );
   Shim::Rc rc = 0;
   if ( entryManager()->supportsAclGroup() ) {
      DUOLOG_IN( trace, 3, "MtpTcamHelperSm::programSubRule", " supports AclGroupClassId" );
      rc = entryManager()->qualifyPortsClassId(
            unit(), entryId, pbmp, Karvel::ClassSharing::shared );
      if ( rc == ::Shim::sdk_->QX_BCM_E_RESOURCE() ) {
         return ProgStatus::resourceExhaustion;
      }
   } else {
      DUOLOG_IN( trace, 3, "MtpTcamHelperSm::programSubRule", " uses InPorts" );
      rc = entryManager()->addInPortsForEntry(
            unit(), entryId, pbmp, KarvelTcam::getPbmpAll( scsd() ) );
   }
   ZOL_ASSERT( rc == ::Shim::sdk_->QX_BCM_E_NONE() );
   return ProgStatus::success;
}

void MtpTcamHelperSm::qualifyDestination( Karvel::EntryId id, const RuleData& rule ) {
   const int entryId = static_cast< int >( id );
   for ( const KarvelTypes::KarvelPort& portId : rule.outPort() ) {
      Shim::Rc rc = KARVEL_SDK_CALL( trace, bcm_field_qualify_DstPort,
            ( unit(), entryId, portId.modId(), 0xFF, portId.logicalPort(), 0xFF ) );
      ZOL_ASSERT( rc == ::Shim::sdk_->QX_BCM_E_NONE() );
   }
   for ( int32_t tgid : rule.outLag() ) {
      Shim::Rc rc = KARVEL_SDK_CALL(
            trace, bcm_field_qualify_DstTrunk, ( unit(), entryId, tgid, 0xFF ) );
      ZOL_ASSERT( rc == ::Shim::sdk_->QX_BCM_E_NONE() );
   }
}

void MtpTcamHelperSm::programCommonQuals( Karvel::EntryId id, const CommonQuals& quals ) {
   const int entryId = static_cast< int >( id );
   Shim::Rc rc = KARVEL_SDK_CALL(
         trace, bcm_field_qualify_Drop, ( unit(), entryId, quals.drop(), quals.dropMask() ) );
   ZOL_ASSERT( rc == ::Shim::sdk_->QX_BCM_E_NONE() );
   rc = KARVEL_SDK_CALL( trace, bcm_field_qualify_OuterVlanId,
         ( unit(), entryId, quals.outerVlanId(), quals.outerVlanIdMask() ) );
   ZOL_ASSERT( rc == ::Shim::sdk_->QX_BCM_E_NONE() );
}

void MtpTcamHelperSm::addAction( Karvel::EntryId id, const TcamAclData& aclData ) {
   const int entryId = static_cast< int >( id );
   const Shim::FieldAction action = isEgressAcl( aclData.aclKey() )
         ? Shim::FieldAction::mirrorEgress
         : Shim::FieldAction::mirrorIngress;
   const uint32_t param0 = unit();
   const uint32_t param1 = mtp().value();
   DUOLOG_IN( trace, 3, "MtpTcamHelperSm::programSubRule",
         "param0:" << param0 << ", param1:" << param1 );
   Shim::Rc rc = KARVEL_SDK_CALL(
         trace, bcm_field_action_add, ( unit(), entryId, action, param0, param1 ) );
   ZOL_ASSERT( rc == ::Shim::sdk_->QX_BCM_E_NONE() );
}

TcamHelperSm::TcamHelperSm( uint32_t unit, Zol::Ptr< const TcamHelperConfig > tcamHelperConfig,
      Zol::Ptr< TcamHelperStatus > tcamHelperStatus, CommonData scsd,
      Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager )
      : TcamHelperSmBase( unit, tcamHelperConfig, tcamHelperStatus, scsd ),
        groupManager_( groupManager ) {}

Zol::Ptr< MtpTcamHelperSmBase > TcamHelperSm::makeMtpTcamSm( Mtp mtp,
      Zol::Ptr< const MtpTcamHelperConfig > config, Zol::Ptr< MtpTcamHelperStatus > status ) {
   return mtpTcamHelperSmFactory( unit(), mtp, config, status, scsd(), groupManager() );
}

Zol::Ptr< TcamHelperSmBase > tcamHelperSmFactory( uint32_t unit,
      Zol::Ptr< const TcamHelperConfig > tcamHelperConfig,
      Zol::Ptr< TcamHelperStatus > tcamHelperStatus, CommonData scsd,
      Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager ) {
   return Zol::make< TcamHelperSm >(
         unit, tcamHelperConfig, tcamHelperStatus, scsd, groupManager );
}

Zol::Ptr< MtpTcamHelperSmBase > mtpTcamHelperSmFactory( uint32_t unit, Mtp mtp,
      Zol::Ptr< const MtpTcamHelperConfig > mtpHelperConfig,
      Zol::Ptr< MtpTcamHelperStatus > mtpHelperStatus, CommonData scsd,
      Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager ) {
   return Zol::make< MtpTcamHelperSm >(
         unit, mtp, mtpHelperConfig, mtpHelperStatus, scsd, groupManager );
}

ZOL_DEFINE_ENTITY( MtpTcamHelperSmBase );
ZOL_DEFINE_ENTITY( MtpTcamHelperSm );
ZOL_DEFINE_ENTITY( TcamHelperSmBase );
ZOL_DEFINE_ENTITY( TcamHelperSm );

} // namespace KarvelMirror
