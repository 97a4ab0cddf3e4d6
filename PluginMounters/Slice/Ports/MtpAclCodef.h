#pragma once

// The deferral of reviews of one destination.

#include "Platform/Zol/Clock.h"
#include "Platform/Zol/Sm.h"

namespace KarvelMirror {

// Counts reviews: those requested (config), those due (status).
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

} // namespace KarvelMirror
