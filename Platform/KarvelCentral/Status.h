#pragma once

// Data besides mirroring's own that central agents and feature agents share with a slice.

#include "Platform/Karvel/SysPort.h"
#include "Platform/KarvelTcamConfig/KarvelTcamEvents.h"
#include "Platform/Zol/Entity.h"
#include "Platform/Zol/Enum.h"
#include "Platform/Zol/Value.h"

namespace KarvelCentral {

// Which chip ports recirculate frames for the CPU, by interface name ("Loopback0").
class CpuRecircStatus : public Zol::Entity {
   ZOL_ENTITY( KarvelCentral, CpuRecircStatus, Zol::Entity,
         ( MAP, Zol::String, Karvel::SysPort, port ) );

 public:
   explicit CpuRecircStatus( std::string_view = {} ) {}
};

ZOL_ENUM( PortTab, uint8_t,
      ( sourceTrunkMapBase, 0 ), // by module: where its part of the source-trunk map begins
      ( sourceTrunkMap, 1 ) );   // by place in the map: the module that the source belongs to

// An entry of a port table.
class PortTabKey : public Zol::Value {
   ZOL_VALUE( KarvelCentral, PortTabKey, ( VAL, PortTab, table ), ( VAL, uint32_t, index ) );

 public:
   PortTabKey() = default;
   PortTabKey( PortTab table, uint32_t index ) : table_( table ), index_( index ) {}
};

// Writes that a feature asks of the port tables of a slice's chip. The feature that posted a
// request takes it back; the entry is then as after reset.
class PortTabWriteRequestDir : public Zol::Entity {
   ZOL_ENTITY( KarvelCentral, PortTabWriteRequestDir, Zol::Entity,
         ( MAP, PortTabKey, uint32_t, request ) );

 public:
   explicit PortTabWriteRequestDir( std::string_view = {} ) {}
   void postRequest( const PortTabKey& key, uint32_t value ) { requestIs( key, value ); }
};

// Common data of the feature agents, shared under "featureCommon": how a slice reaches the
// shared TCAM manager. Empty on a chip that is not programmed by requests.
class FeatureAgentCommonSmData : public Zol::Entity {
   ZOL_ENTITY( KarvelCentral, FeatureAgentCommonSmData, Zol::Entity,
         ( VAL, Zol::Ptr< KarvelTcamConfig::KarvelTcamEvents >, tcamEvents ),
         ( VAL, Zol::Ptr< KarvelTcam::KarvelTcamIntfProfileMgr >, intfProfileManager ) );
};

} // namespace KarvelCentral
