#include "Platform/Duolog/Duolog.h"
#include "PluginMounters/Slice/Ports/KarvelMirrorSliceSm.h"

namespace KarvelMirror {

namespace {

Duolog::Handle trace( "SliceMtpSm" );

TcamAclKey portMirroringKey( const Zol::String& aclName ) {
   return TcamAclKey( aclName, TcamAclType::port() );
}

bool isEmpty( const Zol::Ptr< const TcamGroupData >& groupData ) {
   return !groupData || groupData->aclData().empty();
}

ProgramStatus toProgramStatus( MtpTcamHelperStatus::ProgStatus status ) {
   switch ( status ) {
   case MtpTcamHelperStatus::success():
      return ProgramStatus::success;
   case MtpTcamHelperStatus::failed():
      return ProgramStatus::failed;
   case MtpTcamHelperStatus::resourceExhaustion():
      return ProgramStatus::resourceExhaustion;
   default:
      return ProgramStatus::unknown;
   }
}

} // namespace

SliceMtpSm::SliceMtpSm( Mtp mtp, Zol::Ptr< const MtpProgramInfo > mtpProgramInfo,
      Zol::Ptr< MtpTcamHelperConfig > tcamHelperConfig,
      Zol::Ptr< const MtpTcamHelperStatus > tcamHelperStatus, const Context& context )
      : unit_( context.unit ), mtp_( mtp ), mtpProgramInfo_( mtpProgramInfo ),
        lfMtpProgramInfo_( context.lfMtpProgramInfo ),
        sliceCapability_( context.sliceCapability ), aclConfig_( context.aclConfig ),
        scsd_( context.scsd ), mirroringConfig_( context.mirroringConfig ),
        tcamHelperConfig_( tcamHelperConfig ), tcamHelperStatus_( tcamHelperStatus ),
        sliceMtpProgramStatus_( context.sliceMtpProgramStatus ) {}

void SliceMtpSm::doInit() {
   using Info = MtpProgramInfo::Attr;
   react< &SliceMtpSm::handleConfigChange, Info::srcPort >( mtpProgramInfo() );
   react< &SliceMtpSm::handleConfigChange, Info::direction >( mtpProgramInfo() );
   react< &SliceMtpSm::handleConfigChange, Info::aclPortMirroring >( mtpProgramInfo() );
   react< &SliceMtpSm::handleConfigChange, Info::acl >( mtpProgramInfo() );
   react< &SliceMtpSm::handleAclTypeConfig, Acl::Config::Attr::aclTypeConfig >( aclConfig() );
   if ( tcamHelperStatus() ) {
      react< &SliceMtpSm::handleTcamHelperStatus, MtpTcamHelperStatus::Attr::programmingOp >(
            tcamHelperStatus() );
   }
   codefConfigIs();
   codefStatusIs();
   mtpAclCodefIs( codefConfig(), codefStatus() );
   react< &SliceMtpSm::reviewConfigChange, MtpAclCodefCommon::Attr::review >( codefStatus() );
   reviewConfigChange();
   initializedIs( true );
}

void SliceMtpSm::doCleanup() {
   mtpAclCodefDel();
   sliceMtpProgramStatus()->programStatusDel( mtp() );
}

void SliceMtpSm::handleConfigChange() {
   DUOLOG_IN( trace, 1, "SliceMtpSm::handleConfigChange", " mtp : " << mtp() );
   codefConfig()->reviewInc( 1 );
}

void SliceMtpSm::AclPortSm::doInit() {
   react< &AclPortSm::handleConfigChange, AclPorts::Attr::intf >( aclPorts() );
   react< &AclPortSm::handleConfigChange, AclPorts::Attr::subIntf >( aclPorts() );
}

void SliceMtpSm::handleTcamHelperStatus() {
   const MtpTcamHelperStatus::ProgStatus status = tcamHelperStatus()->programmingOp();
   sliceMtpProgramStatus()->programStatusIs( mtp(), toProgramStatus( status ) );
   DUOLOG_IN( trace, 1, "SliceMtpSm::handleTcamHelperStatus",
         " Mtp: " << mtp() << " status: " << status );
   if ( status == MtpTcamHelperStatus::failed() ||
         status == MtpTcamHelperStatus::resourceExhaustion() ) {
      // Nothing of the destination is in the chip now: the next review starts from nothing.
      groupDataCacheDel();
   }
}

void SliceMtpSm::reviewConfigChange() {
   DUOLOG_IN( trace, 1, "SliceMtpSm::reviewConfigChange", " mtp : " << mtp() );
   Zol::Ptr< ProgrammingOp > op = programmingOpFactory();
   op->groupDataIs( tcamGroupDataFactory() );
   buildUpGroupData( *op->groupData() );
   determineProgOp( *op );
   if ( !op->fullReprogram() && op->change().empty() && op->del().empty() ) {
      return;
   }
   DUOLOG_IN( trace, 1, "SliceMtpSm::reviewConfigChange",
         " Mtp: " << mtp() << " Setting programming op" );
   groupDataCacheIs( op->groupData() );
   tcamHelperConfig()->programmingOpIs( op );
   if ( tcamHelperStatus() ) {
      // Also when it is the same as before, and so notified nobody.
      handleTcamHelperStatus();
   }
}

bool SliceMtpSm::isSupported( const SourcePort& source ) const {
   if ( source.isTrunk() ) {
      Zol::Ptr< const Ixo::LagPortList > lag = scsd()->lagPortList( source.trunk() );
      return lag && lag->ports() > 0;
   }
   return scsd()->karvelPortToIntfHas( { source.modId(), source.port() } );
}

size_t SliceMtpSm::supportedSrcPorts() const {
   size_t count = 0;
   for ( const SourcePort& source : mtpProgramInfo()->srcPort() ) {
      count += isSupported( source );
   }
   return count;
}

void SliceMtpSm::buildUpGroupData( TcamGroupData& groupData ) {
   DUOLOG_IN( trace, 2, "SliceMtpSm::buildUpGroupData", " mtp : " << mtp() );
   if ( !mtpProgramInfo()->aclPortMirroring() ) {
      return;
   }
   const size_t sources = supportedSrcPorts();
   const Direction direction = mtpProgramInfo()->direction();
   DUOLOG_IN( trace, 2, "SliceMtpSm::buildUpGroupData",
         " mtp: " << mtp() << "acl Port mirroring" << mtpProgramInfo()->aclPortMirroring()
                  << " supported srcPorts: " << sources << " direction: " << direction );
   if ( sources == 0 ) {
      return;
   }
   if ( direction == Direction::ingress ) {
      getPortMirroringIngressRules( groupData );
   } else if ( direction == Direction::egress ) {
      getPortMirroringEgressRules( groupData );
   }
}

void SliceMtpSm::getPortMirroringIngressRules( TcamGroupData& groupData ) {
   const TcamAclKey key = portMirroringKey( ingressAclName );
   Zol::Ptr< TcamAclData > aclData = groupData.aclDataIs( key );
   RuleData rule( 1 );
   for ( const SourcePort& source : mtpProgramInfo()->srcPort() ) {
      if ( !source.isTrunk() && isSupported( source ) ) {
         rule.inPortIs( { source.modId(), source.port() } );
      }
   }
   if ( rule.inPort().empty() ) {
      groupData.aclDataDel( key );
      return;
   }
   aclData->ruleIs( rule );
}

void SliceMtpSm::getPortMirroringEgressRules( TcamGroupData& groupData ) {
   const TcamAclKey key = portMirroringKey( egressAclName );
   Zol::Ptr< TcamAclData > aclData = groupData.aclDataIs( key );
   RuleData rule( 1 );
   for ( const SourcePort& source : mtpProgramInfo()->srcPort() ) {
      if ( !isSupported( source ) ) {
         continue;
      }
      if ( source.isTrunk() ) {
         rule.outLagIs( source.trunk() );
      } else {
         rule.outPortIs( { source.modId(), source.port() } );
      }
   }
   if ( rule.outPort().empty() && rule.outLag().empty() ) {
      groupData.aclDataDel( key );
      return;
   }
   aclData->ruleIs( rule );
}

void SliceMtpSm::determineProgOp( ProgrammingOp& op ) {
   DUOLOG_IN( trace, 2, "SliceMtpSm::determineProgOp", " mtp : " << mtp() );
   const Zol::Ptr< const TcamGroupData > oldData = groupDataCache();
   const Zol::Ptr< const TcamGroupData > newData = op.groupData();
   if ( !oldData || isEmpty( oldData ) != isEmpty( newData ) ) {
      DUOLOG_IN( trace, 1, "SliceMtpSm::determineProgOp", " setting fullReprogram " );
      op.fullReprogramIs( true );
      determineFeature( op );
      return;
   }
   if ( isEmpty( newData ) ) {
      return;
   }
   for ( auto iter = newData->aclData().begin(); iter != newData->aclData().end(); ++iter ) {
      Zol::Ptr< const TcamAclData > old = oldData->aclData( iter.key() );
      if ( !old || !( old->rule() == iter.value()->rule() ) ) {
         recordChange( op, iter.key() );
      }
   }
   for ( auto iter = oldData->aclData().begin(); iter != oldData->aclData().end(); ++iter ) {
      if ( !newData->aclDataHas( iter.key() ) ) {
         DUOLOG_IN( trace, 1, "SliceMtpSm::determineProgOp",
               " Mtp: " << mtp() << " deleting TcamAclKey " << iter.key() );
         op.delIs( iter.key() );
      }
   }
   determineFeature( op );
}

void SliceMtpSm::recordChange( ProgrammingOp& op, const TcamAclKey& key ) {
   DUOLOG_IN( trace, 1, "SliceMtpSm::determineProgOp",
         " Mtp: " << mtp() << " adding TcamAclKey " << key );
   op.changeIs( key, AclOp( true, true ) );
}

namespace {

ProgrammingOp::TcamFeature featureOf( const TcamAclKey& key ) {
   switch ( key.aclType().value() ) {
   case TcamAclType::port():
      if ( key.aclName() == ingressAclName ) {
         return ProgrammingOp::ingress();
      }
      if ( isEgressAcl( key ) ) {
         return ProgrammingOp::egress();
      }
      break;
   case TcamAclType::mac():
      return ProgrammingOp::macIngress();
   case TcamAclType::ip():
      return ProgrammingOp::ipIngress();
   case TcamAclType::ipv6():
      return ProgrammingOp::ipv6Ingress();
   default:
      break;
   }
   Zol::assertionFailed( "Unexpected acl type", __FILE__, __LINE__ );
}

} // namespace

void SliceMtpSm::determineFeature( ProgrammingOp& op ) {
   Zol::Set< ProgrammingOp::TcamFeature > features;
   const auto& acls = op.groupData()->aclData();
   for ( auto iter = acls.begin(); iter != acls.end(); ++iter ) {
      features.insert( featureOf( iter.key() ) );
   }
   ZOL_ASSERT( features.size() <= 2 );
   if ( features.empty() ) {
      return;
   }
   if ( features.size() == 2 ) {
      // Port ingress mirroring together with one kind of ACL is carried by the ACL feature.
      ZOL_ASSERT( features.find( ProgrammingOp::ingress() ) != features.end() );
      ZOL_ASSERT( features.find( ProgrammingOp::egress() ) == features.end() );
      features.erase( ProgrammingOp::ingress() );
   }
   op.featureIs( features.begin().key() );
   DUOLOG_IN( trace, 1, "SliceMtpSm::determineFeature", " setting feature " << op.feature() );
}

ZOL_DEFINE_ENTITY( SliceMtpSm::AclPortSm );
ZOL_DEFINE_ENTITY( SliceMtpSm );

} // namespace KarvelMirror
