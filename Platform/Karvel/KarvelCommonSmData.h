#pragma once

// The data that all machines of a slice share, under the name "karvelCommon": its chips, and
// the maps between interfaces, system ports and chip ports. The agent keeps it up to date.

#include "Platform/Ixo/LagPortList.h"
#include "Platform/Karvel/SysPort.h"
#include "Platform/KarvelCentral/ChipInfo.h"
#include "Platform/KarvelCentral/ChipProfile.h"
#include "Platform/LogicalFap/LogicalFapId.h"
#include "Platform/Zol/Enum.h"

namespace Karvel {

// One chip of the slice.
class UnitData : public Zol::Entity {
   ZOL_ENTITY( Karvel, UnitData, Zol::Entity, ( CONST, uint16_t, unit ) );

 public:
   explicit UnitData( uint16_t unit ) : unit_( unit ) {}
};

ZOL_ENUM( PortType, uint8_t, ( front, 0 ),
      ( channel, 1 ) ); // one of several that share a front-panel port, told apart by channel

// The fields of a slice's source tags besides the channel.
class SourceTag : public Zol::Value {
   ZOL_VALUE( Karvel, SourceTag, ( VAL, uint16_t, signature ), ( VAL, uint8_t, prio ),
         ( VAL, uint8_t, deviceId ), ( VAL, uint8_t, offset ) );
};

class KarvelCommonSmData : public Zol::Entity {
   ZOL_ENTITY( Karvel, KarvelCommonSmData, Zol::Entity, ( COLL, uint16_t, UnitData, unit ),
         ( VAL, KarvelCentral::ChipAttributes, chipAttributes ), // of the slice's chip
         ( VAL, LogicalFap::LogicalFapId, logicalFapId ),
         ( VAL, Zol::Ptr< KarvelCentral::ChipTable >, chipTable ),
         ( VAL, Zol::Ptr< const KarvelCentral::ChipProfile >, chipProfile ), // the active one
         ( MAP, int32_t, uint32_t, karvelModId ), // unit to module id
         ( MAP, KarvelTypes::KarvelPort, Zol::String, karvelPortToIntf ),
         ( MAP, Zol::String, SysPort, intfToPort ),
         ( MAP, KarvelTypes::KarvelPort, PortType, portType ),          // absent: front
         ( MAP, KarvelTypes::KarvelPort, uint32_t, karvelPortChannel ), // of channel ports
         ( VAL, SourceTag, sourceTag ),
         ( SET, int32_t, chipPort ), // every front-panel port number of the slice's chip
         ( COLL, int32_t, Ixo::LagPortList, lagPortList ) );
};

} // namespace Karvel
