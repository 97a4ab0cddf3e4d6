#pragma once

// What central agents and the feature agents share with a slice besides mirroring's own data.

#include "Platform/Karvel/SysPort.h"
#include "Platform/Zol/Entity.h"

namespace KarvelCentral {

// Which chip ports recirculate frames for the CPU, by interface name ("Loopback0").
class CpuRecircStatus : public Zol::Entity {
   ZOL_ENTITY( KarvelCentral, CpuRecircStatus, Zol::Entity,
         ( MAP, Zol::String, Karvel::SysPort, port ) );

 public:
   explicit CpuRecircStatus( std::string_view = {} ) {}
};

// Writes that a feature asks of the port tables, by key.
class PortTabWriteRequestDir : public Zol::Entity {
   ZOL_ENTITY( KarvelCentral, PortTabWriteRequestDir, Zol::Entity,
         ( MAP, Zol::String, uint32_t, request ) );

 public:
   explicit PortTabWriteRequestDir( std::string_view = {} ) {}
   void postRequest( const Zol::String& key, uint32_t value ) { requestIs( key, value ); }
};

// Common data of the feature agents, shared under "featureCommon".
class FeatureAgentCommonSmData : public Zol::Entity {
   ZOL_ENTITY( KarvelCentral, FeatureAgentCommonSmData, Zol::Entity );
};

} // namespace KarvelCentral
