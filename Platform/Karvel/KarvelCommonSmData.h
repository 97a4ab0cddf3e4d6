#pragma once

// The data that all machines of a slice share, under the name "karvelCommon": its chips, and
// the maps between interfaces, system ports and chip ports. The agent keeps it up to date.

#include "Platform/Ixo/LagPortList.h"
#include "Platform/Karvel/SysPort.h"
#include "Platform/KarvelCentral/ChipInfo.h"
#include "Platform/LogicalFap/LogicalFapId.h"

namespace Karvel {

// One chip of the slice.
class UnitData : public Zol::Entity {
   ZOL_ENTITY( Karvel, UnitData, Zol::Entity, ( CONST, uint16_t, unit ) );

 public:
   explicit UnitData( uint16_t unit ) : unit_( unit ) {}
};

class KarvelCommonSmData : public Zol::Entity {
   ZOL_ENTITY( Karvel, KarvelCommonSmData, Zol::Entity,
         ( COLL, uint16_t, UnitData, unit ),
         ( VAL, KarvelCentral::ChipAttributes, chipAttributes ), // of the slice's chip
         ( VAL, LogicalFap::LogicalFapId, logicalFapId ),
         ( VAL, Zol::Ptr< KarvelCentral::ChipTable >, chipTable ),
         ( MAP, int32_t, uint32_t, karvelModId ), // unit to module id
         ( MAP, KarvelTypes::KarvelPort, Zol::String, karvelPortToIntf ),
         ( MAP, Zol::String, SysPort, intfToPort ),
         ( SET, int32_t, chipPort ), // every front-panel port number of the slice's chip
         ( COLL, int32_t, Ixo::LagPortList, lagPortList ) );
};

} // namespace Karvel
