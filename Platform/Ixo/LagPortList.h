#pragma once

#include "Platform/KarvelTypes/KarvelPort.h"
#include "Platform/Zol/Entity.h"

namespace Ixo {

// The members of one link aggregation on the chips of a slice.
class LagPortList : public Zol::Entity {
   ZOL_ENTITY( Ixo, LagPortList, Zol::Entity, ( CONST, int32_t, trunk ),
         ( SET, KarvelTypes::KarvelPort, port ) );

 public:
   explicit LagPortList( int32_t trunk ) : trunk_( trunk ) {}
};

} // namespace Ixo
