#include "PluginMounters/Slice/Ports/MtpAclCodef.h"

namespace KarvelMirror {

MtpAclCodef::MtpAclCodef(
      Zol::Ptr< const MtpAclCodefConfig > config, Zol::Ptr< MtpAclCodefStatus > status )
      : codefConfig_( config ), codefStatus_( status ),
        reviewClock_( *this, [ this ] { doReview(); } ) {}

void MtpAclCodef::doInit() {
   react< &MtpAclCodef::scheduleReview, MtpAclCodefCommon::Attr::review >( codefConfig() );
}

void MtpAclCodef::doCleanup() { reviewClock_.timeMinIs( Zol::never ); }

void MtpAclCodef::scheduleReview() { reviewClock_.timeMinIs( Zol::activityManager().now() ); }

void MtpAclCodef::doReview() {
   reviewClock_.timeMinIs( Zol::never );
   codefStatus()->reviewInc( 1 );
}

ZOL_DEFINE_ENTITY( MtpAclCodefCommon );
ZOL_DEFINE_ENTITY( MtpAclCodefConfig );
ZOL_DEFINE_ENTITY( MtpAclCodefStatus );
ZOL_DEFINE_ENTITY( MtpAclCodef );

} // namespace KarvelMirror
