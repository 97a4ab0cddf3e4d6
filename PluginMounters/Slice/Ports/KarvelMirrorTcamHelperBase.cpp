#include <cstdlib>

#include "Platform/Duolog/Duolog.h"
#include "Platform/KarvelTcam/PortMaps.h"
#include "PluginMounters/Slice/Ports/KarvelMirrorTcamHelper.h"

namespace KarvelMirror {

using Karvel::RangeCheckerDesc;

namespace {

Duolog::Handle trace( "MtpTcamHelperSmBase" );
Duolog::Handle traceHelper( "TcamHelperSm" );

// In a simulation without chip ports a port stands for itself.
bool isSimulation() { return std::getenv( "SIMULATION_VMID" ) != nullptr; }

template < typename Quals >
void traceQuals( const char* function, Mtp mtp, Karvel::EntryId entryId, const Quals& quals ) {
   DUOLOG_IN( trace, 4, "MtpTcamHelperSmBase::" << function,
         " Mtp: " << mtp << " EntryId: " << entryId << " Quals: " << quals );
}

} // namespace

// --- One destination -----------------------------------------------------------------------

MtpTcamHelperSmBase::MtpTcamHelperSmBase( uint32_t unit, Mtp mtp,
      Zol::Ptr< const MtpTcamHelperConfig > mtpHelperConfig,
      Zol::Ptr< MtpTcamHelperStatus > mtpHelperStatus, CommonData scsd )
      : unit_( unit ), mtp_( mtp ), mtpHelperConfig_( mtpHelperConfig ),
        mtpHelperStatus_( mtpHelperStatus ), scsd_( scsd ) {}

void MtpTcamHelperSmBase::doInit() {
   DUOLOG_IN( trace, 2, "MtpTcamHelperSmBase::doInit", " Mtp: " << mtp() );
   using Config = MtpTcamHelperConfig::Attr;
   react< &MtpTcamHelperSmBase::handleProgrammingOp, Config::programmingOp >(
         mtpHelperConfig() );
   react< &MtpTcamHelperSmBase::handleRateLimitData, Config::rateLimitData >(
         mtpHelperConfig() );
   if ( mtpHelperConfig()->programmingOp() ) {
      handleProgrammingOp();
   }
   if ( mtpHelperConfig()->rateLimitData() ) {
      handleRateLimitData();
   }
}

void MtpTcamHelperSmBase::doCleanup() {
   cleanupTcam();
   udfCacheDelAll();
   rangeCheckerCacheDelAll();
   rateLimitDataCacheDel();
}

void MtpTcamHelperSmBase::handleRateLimitData() {
   DUOLOG_IN( trace, 2, "MtpTcamHelperSmBase::handleRateLimitData", " Mtp: " << mtp() );
   rateLimitDataCacheIs( mtpHelperConfig()->rateLimitData() );
}

ProgStatus MtpTcamHelperSmBase::programAcls( const ProgrammingOp& op ) {
   if ( !op.groupData() ) {
      return ProgStatus::success;
   }
   const auto& acls = op.groupData()->aclData();
   for ( auto aclIter = acls.begin(); aclIter != acls.end(); ++aclIter ) {
      ProgStatus status = programAcl( *aclIter.value() );
      if ( status != ProgStatus::success ) {
         return status;
      }
   }
   return ProgStatus::success;
}

ProgStatus MtpTcamHelperSmBase::programSelectAcls( const ProgrammingOp& op ) {
   for ( const auto& [ key, change ] : op.change() ) {
      const Zol::Ptr< const TcamAclData > wanted = op.groupData()->aclData( key );
      ZOL_ASSERT_AS( "op->groupData()->aclDataHas( aclIter.key() )", wanted );
      ProgStatus status = programAcl( *wanted );
      if ( status != ProgStatus::success ) {
         return status;
      }
   }
   return ProgStatus::success;
}

ProgStatus MtpTcamHelperSmBase::programAcl( const TcamAclData& wanted ) {
   Zol::Ptr< TcamAclData > cached = aclDataCacheIs( wanted.aclKey() );
   for ( auto iter = wanted.rule().begin(); iter != wanted.rule().end(); ++iter ) {
      ProgStatus status = programRule( cached, iter.value() );
      if ( status != ProgStatus::success ) {
         return status;
      }
   }
   return ProgStatus::success;
}

ProgStatus MtpTcamHelperSmBase::programUnchangedAcls( const ProgrammingOp& op ) {
   if ( !op.groupData() ) {
      return ProgStatus::success;
   }
   const auto& acls = op.groupData()->aclData();
   for ( auto aclIter = acls.begin(); aclIter != acls.end(); ++aclIter ) {
      if ( op.changeHas( aclIter.key() ) || op.delHas( aclIter.key() ) ) {
         continue;
      }
      releaseAcl( aclIter.key() ); // its entries get other numbers in this pass
      ProgStatus status = programAcl( *aclIter.value() );
      if ( status != ProgStatus::success ) {
         return status;
      }
   }
   return ProgStatus::success;
}

ProgStatus MtpTcamHelperSmBase::programSubRules(
      const Zol::Ptr< TcamAclData >& aclData, const RuleData& rule ) {
   ZOL_ASSERT( rule.rangeCheckers() < 2 );
   for ( const RangeCheckerDesc& range : rule.rangeChecker() ) {
      ZOL_ASSERT_AS( "rangeIter.key().rangeFlags() & 0x00000002",
            range.rangeFlags() & RangeCheckerDesc::destinationPortRange );
   }

   if ( rule.outPorts() == 1 && rule.outLags() == 0 ) {
      return programSubRule(
            aclData, rule, rule.entryId(), 0 ); // the rule is its own only copy
   }
   RuleData bare = rule;
   bare.outPortDelAll();
   bare.outLagDelAll();
   const size_t destinations = rule.outLags() + rule.outPorts();
   if ( destinations == 0 ) {
      // One entry that does not look at the destination.
      return programSubRule( aclData, std::move( bare ), rule.entryId(), 0 );
   }
   uint32_t sequence = 0;
   // Rules are large: the last entry takes the copy that the others were made from.
   auto nextCopy = [ & ] { return sequence + 1 < destinations ? bare : std::move( bare ); };
   for ( int32_t trunk : rule.outLag() ) {
      RuleData copy = nextCopy();
      copy.rangeCheckerDelAll();
      copy.outLagIs( trunk );
      ZOL_ASSERT( copy.outLags() == 1 );
      ProgStatus status =
            programSubRule( aclData, std::move( copy ), rule.entryId(), sequence );
      if ( status != ProgStatus::success ) {
         return status;
      }
      ++sequence;
   }
   for ( const KarvelTypes::KarvelPort& port : rule.outPort() ) {
      RuleData copy = nextCopy();
      copy.outPortIs( port );
      ProgStatus status =
            programSubRule( aclData, std::move( copy ), rule.entryId(), sequence );
      if ( status != ProgStatus::success ) {
         return status;
      }
      ++sequence;
   }
   return ProgStatus::success;
}

void MtpTcamHelperSmBase::cleanupSelectAcls( const ProgrammingOp& op ) {
   for ( const TcamAclKey& key : op.del() ) {
      releaseAcl( key );
   }
   for ( auto iter = op.change().begin(); iter != op.change().end(); ++iter ) {
      releaseAcl( iter.key() );
   }
}

void MtpTcamHelperSmBase::releaseAcl( const TcamAclKey& key ) {
   Zol::Ptr< TcamAclData > cached = aclDataCache( key );
   if ( !cached ) {
      return;
   }
   for ( auto iter = cached->rule().begin(); iter != cached->rule().end(); ++iter ) {
      releaseRule( iter.value() );
   }
   aclDataCacheDel( key );
}

void MtpTcamHelperSmBase::programQuals( Karvel::EntryId entryId, const RuleData& rule ) {
   static const RuleData none;
   if ( !( rule.common() == none.common() ) ) {
      programCommonQuals( entryId, rule.common() );
   }
   if ( !( rule.mac() == none.mac() ) ) {
      programMacQuals( entryId, rule.mac() );
   }
   if ( !( rule.v4() == none.v4() ) ) {
      programV4Quals( entryId, rule.v4() );
   }
   if ( !( rule.v6() == none.v6() ) ) {
      programV6Quals( entryId, rule.v6() );
   }
   if ( !( rule.l4() == none.l4() ) ) {
      programL4Quals( entryId, rule.l4() );
   }
}

void MtpTcamHelperSmBase::programCommonQuals( Karvel::EntryId id, const CommonQuals& quals ) {
   traceQuals( "programCommonQuals", mtp(), id, quals );
}

void MtpTcamHelperSmBase::programMacQuals( Karvel::EntryId id, const MacQuals& quals ) {
   traceQuals( "programMacQuals", mtp(), id, quals );
}

void MtpTcamHelperSmBase::programV4Quals( Karvel::EntryId id, const V4Quals& quals ) {
   traceQuals( "programV4Quals", mtp(), id, quals );
}

void MtpTcamHelperSmBase::programV6Quals( Karvel::EntryId id, const V6Quals& quals ) {
   traceQuals( "programV6Quals", mtp(), id, quals );
}

void MtpTcamHelperSmBase::programL4Quals( Karvel::EntryId id, const L4Quals& quals ) {
   traceQuals( "programL4Quals", mtp(), id, quals );
}

Shim::PortBitmap MtpTcamHelperSmBase::buildInPorts( const RuleData& rule ) const {
   static const bool simulation = isSimulation();
   Shim::PortBitmap ports;
   for ( const KarvelTypes::KarvelPort& inPort : rule.inPort() ) {
      const auto& intfs = scsd()->karvelPortToIntf();
      const auto found = intfs.find( inPort );
      ZOL_ASSERT_AS( "scsd()->karvelPortToIntfHas( iter.key() )", found != intfs.end() );
      const Zol::String& intf = found.value();
      Karvel::SysPort sp(
            static_cast< int32_t >( unit() ), static_cast< int32_t >( inPort.port() ) );
      if ( !simulation ) {
         ZOL_ASSERT( KarvelTcam::intfToPortHas( scsd(), intf ) );
         sp = KarvelTcam::intfToPort( scsd(), intf );
      }
      const auto port = static_cast< size_t >( sp.port() );
      if ( port < Shim::maxPorts ) { // a simulated port may have a number that no chip has
         ports.set( port );
      }
      DUOLOG_IN( trace, 5, "MtpTcamHelperSmBase::buildInPorts",
            " iter: " << inPort << " intf: " << intf << ", pbmp: " << ports << ", sp: " << sp );
   }
   return ports;
}

// --- All destinations of a chip -----------------------------------------------------------

TcamHelperSmBase::TcamHelperSmBase( uint32_t unit,
      Zol::Ptr< const TcamHelperConfig > tcamHelperConfig,
      Zol::Ptr< TcamHelperStatus > tcamHelperStatus, CommonData scsd )
      : unit_( unit ), tcamHelperConfig_( tcamHelperConfig ),
        tcamHelperStatus_( tcamHelperStatus ), scsd_( scsd ) {}

void TcamHelperSmBase::doInit() {
   follow< &TcamHelperSmBase::handleMtpHelperConfig, TcamHelperConfig::Attr::mtpHelperConfig >(
         tcamHelperConfig() );
}

void TcamHelperSmBase::doCleanup() { mtpTcamSmDelAll(); }

void TcamHelperSmBase::handleMtpHelperConfig( Mtp mtp ) {
   DUOLOG_IN( traceHelper, 2, "TcamHelperSm::handleMtpHelperConfig", " Mtp: " << mtp );
   Zol::Ptr< const MtpTcamHelperConfig > config = tcamHelperConfig()->mtpHelperConfig( mtp );
   auto remove = [ & ] {
      DUOLOG_IN( traceHelper, 2, "TcamHelperSm::handleMtpHelperConfig",
            " Mtp: " << mtp << " deleting" );
      mtpTcamSmDel( mtp );
      tcamHelperStatus()->mtpHelperStatusDel( mtp );
   };
   auto add = [ & ] {
      DUOLOG_IN( traceHelper, 2, "TcamHelperSm::handleMtpHelperConfig",
            " Mtp: " << mtp << " adding" );
      Zol::Ptr< MtpTcamHelperStatus > status = tcamHelperStatus()->mtpHelperStatusIs( mtp );
      mtpTcamSmIs( mtp, makeMtpTcamSm( mtp, config, status ) );
   };
   Zol::follow< &MtpTcamHelperSmBase::mtpHelperConfig >(
         mtpTcamSm( mtp ), config, remove, add );
}

} // namespace KarvelMirror
