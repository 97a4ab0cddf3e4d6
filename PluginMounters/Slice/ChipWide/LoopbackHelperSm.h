#pragma once

// Enters the chip's loopback port in the source-trunk map, so that frames that it recirculates
// belong to the port's own module and to no trunk. Requests go to the agent's port tables; a machine that
// goes takes its requests back.

#include <vector>

#include "Platform/Karvel/KarvelCommonSmData.h"
#include "Platform/KarvelCentral/Status.h"
#include "Platform/Zol/Sm.h"

namespace KarvelMirror {

class LoopbackHelperSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror, LoopbackHelperSm, Zol::EntitySm, ( CONST, uint16_t, unit ),
         ( CONST, Zol::Ptr< const Karvel::KarvelCommonSmData >, scsd ),
         ( CONST, Zol::Ptr< const KarvelCentral::CpuRecircStatus >, cpuRecircStatus ),
         ( CONST, Zol::Ptr< KarvelCentral::PortTabWriteRequestDir >, portTabWriteRequestDir ) );

 public:
   LoopbackHelperSm( uint16_t unit, Zol::Ptr< const Karvel::KarvelCommonSmData > scsd,
         Zol::Ptr< const KarvelCentral::CpuRecircStatus > cpuRecircStatus,
         Zol::Ptr< KarvelCentral::PortTabWriteRequestDir > portTabWriteRequestDir );

 private:
   void doInit() override;
   void doCleanup() override;
   void handlePort( const Zol::String& name );
   void handleProgramTrunkMap();
   void postRequest( const KarvelCentral::PortTabKey& key, uint32_t value );
   void takeBackRequests();

   std::vector< KarvelCentral::PortTabKey > posted_;
};

} // namespace KarvelMirror
