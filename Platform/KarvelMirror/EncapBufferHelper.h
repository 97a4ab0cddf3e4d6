#pragma once

// Follows the encapsulation buffers of a slice's mirror tunnels of one address family: for each
// tunnel, whether copies are sent through it, and how many bytes of headers stand in front of
// them.

#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/Zol/Sm.h"

namespace KarvelMirror {

class EncapBuffer : public Zol::Value {
   ZOL_VALUE( KarvelMirror, EncapBuffer, ( VAL, bool, active ),
         ( VAL, uint32_t, headerSize ) ); // bytes
};

class EncapBufferHelper : public Zol::EntitySm {
 public:
   // Watches one tunnel.
   class TunnelSm : public Zol::EntitySm {
      ZOL_ENTITY( KarvelMirror::EncapBufferHelper, TunnelSm, Zol::EntitySm,
            ( CONST, Zol::Ptr< const Tunnel >, tunnel ) );

    public:
      // The helper owns this one, and so outlives it.
      TunnelSm( TunnelId, Zol::Ptr< const Tunnel > tunnel, EncapBufferHelper& helper )
            : tunnel_( tunnel ), helper_( helper ) {}

    private:
      void doInit() override;
      void handleChange() { helper_.encapBufferFrom( *tunnel() ); }

      EncapBufferHelper& helper_;
   };

   ZOL_ENTITY( KarvelMirror, EncapBufferHelper, Zol::EntitySm,
         ( CONST, Zol::Ptr< const LogicalFapMtpProgramInfo >, lfMtpProgramInfo ),
         ( CONST, Plix::AddressFamily, family ), ( COLL, TunnelId, TunnelSm, tunnelSm ),
         ( MAP, TunnelId, EncapBuffer, encapBuffer ) );

 public:
   EncapBufferHelper(
         Zol::Ptr< const LogicalFapMtpProgramInfo > info, Plix::AddressFamily family )
         : lfMtpProgramInfo_( info ), family_( family ) {}

 private:
   void doInit() override;
   void handleTunnel( TunnelId id );
   void encapBufferFrom( const Tunnel& tunnel );
};

} // namespace KarvelMirror
