#pragma once

// The chip-wide settings that mirroring needs on every chip of a slice: the CoS queues of copies,
// the flexible editor's profiles, and the GRE key patch of the encapsulation memories, which is
// applied while a session has a GRE key and undone with the machine.

#include "Platform/Karvel/KarvelCommonSmData.h"
#include "Platform/Mirroring/MirroringConfig.h"
#include "Platform/Zol/Clock.h"
#include "Platform/Zol/Sm.h"

namespace KarvelMirror::Slice {

// The toggle "KarvelMirrorGreKey", read once per process: whether the patch may be written at all.
bool karvelMirrorGreKey();

class ConfigSm : public Zol::EntitySm {
 public:
   // Watches one session.
   class ZolMirroringSession : public Zol::EntitySm {
      ZOL_ENTITY( KarvelMirror::Slice::ConfigSm, ZolMirroringSession, Zol::EntitySm,
            ( CONST, Zol::Ptr< const Mirroring::Session >, session ) );

    public:
      // The configuration machine owns this one, and so outlives it.
      ZolMirroringSession( const Zol::String&, Zol::Ptr< const Mirroring::Session > session,
            ConfigSm& configSm )
            : session_( session ), configSm_( configSm ) {}

    private:
      void doInit() override;
      void handleGreTunnelKey();

      ConfigSm& configSm_;
   };

   using ChipAttributes = KarvelCentral::ChipAttributes;

   ZOL_ENTITY( KarvelMirror::Slice, ConfigSm, Zol::EntitySm,
         ( MAP, uint16_t, ChipAttributes, unit ), // the slice's chips
         ( CONST, Zol::Ptr< const Mirroring::Config >, mirroringConfig ),
         ( VAL, bool, greKeyPatchApplied ),
         ( COLL, Zol::String, ZolMirroringSession, mirroringSession ) );

   // Every chip of the slice.
   ConfigSm( const Karvel::KarvelCommonSmData& scsd,
         Zol::Ptr< const Mirroring::Config > mirroringConfig );

   // Schedule a look at all sessions, one for all changes of one turn of the event loop.
   void handleMirroringConfig( const Zol::String& session );
   void handleGreTunnelKey();

 private:
   void doInit() override;
   void doCleanup() override;
   void followSession( const Zol::String& name );
   void lookForGreKey();
   void applyGreKeyPatch( bool apply );

   Zol::Clock lookClock_;
};

} // namespace KarvelMirror::Slice
