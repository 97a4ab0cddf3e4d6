#include "PluginMounters/Slice/ChipWide/MtpProgramInfoSm.h"

#include "Platform/Duolog/Duolog.h"

namespace KarvelMirror {

namespace {

Duolog::Handle trace( "MtpProgramInfoSm" );

// The writer that a chip's tables need.
Zol::Ptr< Slice::PtHelper > ptHelperFor( const KarvelChipAttributesMirror& attributes ) {
   if ( attributes.headerInsertionTable().empty() ) {
      return Zol::make< Slice::MockPtHelper >();
   }
   return Zol::make< Slice::BcmPtHelper >();
}

} // namespace

void MtpProgramInfoSm::doInit() {
   DUOLOG_IN( trace, 1, "MtpProgramInfoSm::doInit" );
   configSmIs( *scsd(), mirroringConfig() );
   const Zol::Ptr< const KarvelCentral::ChipProfile > profile = scsd()->chipProfile();
   const Zol::Ptr< const KarvelChipAttributesMirror > mirrAttr =
         profile ? profile->feature< KarvelChipAttributesMirror >() : nullptr;
   ZOL_ASSERT( mirrAttr && mirrAttr->mirrorEditIdBase() );
   mtpTunnelConfigSmIs( unit(), mirrAttr->mirrorEditIdBase(), mirrAttr->headerInsertionTable(),
         lfMtpProgramInfo(), ptHelperFor( *mirrAttr ) );
}

void MtpProgramInfoSm::doCleanup() {
   mtpTunnelConfigSmDel();
   configSmDel();
}

void MtpProgramInfoCollSm::doInit() {
   react< &MtpProgramInfoCollSm::handleLogicalFap,
         LogicalFapMtpProgramInfoColl::Attr::lfMtpProgramInfo >( lfMtpProgramInfoColl() );
   handleLogicalFap();
}

void MtpProgramInfoCollSm::handleLogicalFap() {
   Zol::Ptr< const LogicalFapMtpProgramInfo > info =
         lfMtpProgramInfoColl()->lfMtpProgramInfo( logicalFap() );
   DUOLOG_IN( trace, 1, "MtpProgramInfoCollSm::handleLogicalFap",
         " logicalFap: " << logicalFap() << " add: " << bool( info ) );
   // Information that went and came back within one batch is seen once, as another entity.
   if ( !info || ( mtpProgramInfoSm() && mtpProgramInfoSm()->lfMtpProgramInfo() != info ) ) {
      mtpProgramInfoSmDel();
   }
   if ( info ) {
      mtpProgramInfoSmIs( unit(), taskScheduler(), scsd(), mirroringConfig(), info );
   }
}

ZOL_DEFINE_ENTITY( MtpProgramInfoSm );
ZOL_DEFINE_ENTITY( MtpProgramInfoCollSm );

} // namespace KarvelMirror
