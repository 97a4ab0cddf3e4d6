#pragma once

// Keeps the header-insertion profiles of one chip's mirror tunnels: how many bytes of a tunnel's
// headers the egress editor inserts, in one or two pieces of at most 64 bytes. Any change of a
// tunnel's headers rewrites all sixteen entries, so that a tunnel that has gone leaves none behind.

#include <vector>

#include "Platform/KarvelMirror/EncapBufferHelper.h"
#include "Platform/KarvelMirror/KarvelChipAttributesMirror.h"
#include "Platform/Zol/Clock.h"
#include "PluginMounters/Slice/ChipWide/PtHelper.h"

namespace KarvelMirror::Slice {

// Works the entries out, and writes them.
class MtpTunnelConfigHelper {
 public:
   using EncapHelpers = std::vector< Zol::Ptr< const EncapBufferHelper > >;

   MtpTunnelConfigHelper( uint32_t unit, uint8_t baseIndex, const Zol::String& table,
         Zol::Ptr< PtHelper > ptHelper );

   // A tunnel number of 14 or more is a broken invariant.
   void update( const EncapHelpers& encapHelpers );

 private:
   static void addTunnel( uint32_t headerSize, TableValues& values );

   uint32_t unit_;
   uint8_t baseIndex_; // of the first entry
   Zol::String table_;
   Zol::Ptr< PtHelper > ptHelper_;
};

class MtpTunnelConfigSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, MtpTunnelConfigSm, Zol::EntitySm, ( CONST, uint32_t, unit ),
         ( CONST, Zol::Ptr< const LogicalFapMtpProgramInfo >, lfMtpProgramInfo ),
         ( CONST, Zol::Ptr< PtHelper >, ptHelper ), ( OWN, EncapBufferHelper, ip4EncapHelper ),
         ( OWN, EncapBufferHelper, ip6EncapHelper ) );

 public:
   MtpTunnelConfigSm( uint32_t unit, uint8_t mirrorEditIdBase, const Zol::String& table,
         Zol::Ptr< const LogicalFapMtpProgramInfo > info, Zol::Ptr< PtHelper > ptHelper );

   // Follows the buffers of IPv4 tunnels, of IPv6 tunnels, or of both.
   void encapHelperIs( bool ip4, bool ip6 );

 private:
   void doInit() override;
   void doCleanup() override;
   void handleEncapBuffer();
   void update();

   MtpTunnelConfigHelper helper_;
   Zol::Clock updateClock_; // one update serves all that changes at once
};

} // namespace KarvelMirror::Slice
