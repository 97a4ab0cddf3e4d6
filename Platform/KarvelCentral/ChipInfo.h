#pragma once

// What the agent knows of its chips: attributes, which the platform gives for each chip, and
// the chip table, which follows from them.

#include "Platform/Zol/Entity.h"
#include "Platform/Zol/Value.h"

namespace KarvelCentral {

class ChipAttributes : public Zol::Value {
   ZOL_VALUE( KarvelCentral, ChipAttributes,
         ( VAL, Zol::String, chip ), // "tomahawk3"; the key of the chip table
         ( VAL, bool, loopbackTrunkMap ), ( VAL, bool, mirroringTcamHelpers ),
         ( VAL, bool, newTcamInterface ),
         ( VAL, bool, aclGroup ) ); // ingress ports carry class bits
};

// The attributes of every kind of chip that the agent runs, by its name.
class KarvelAttributes : public Zol::Entity {
   ZOL_ENTITY( KarvelCentral, KarvelAttributes, Zol::Entity,
         ( MAP, Zol::String, ChipAttributes, chipAttributes ) );
};
// The only one of the process; the agent fills it in before it makes a slice.
const Zol::Ptr< KarvelAttributes >& karvelAttributes();

class ChipInfo : public Zol::Entity {
   ZOL_ENTITY( KarvelCentral, ChipInfo, Zol::Entity, ( CONST, Zol::String, chip ),
         ( VAL, bool, needsLoopbackTrunkMap ), // the chip's loopback port needs the trunk map
         ( VAL, bool, usesTcamHelpers ),       // mirroring uses TCAM helpers
         ( VAL, bool, newTcamInterface ) );    // TCAM work goes through the shared manager

 public:
   explicit ChipInfo( const Zol::String& chip ) : chip_( chip ) {}
   void doInit( const ChipAttributes& attributes );
};

class ChipTable : public Zol::Entity {
   ZOL_ENTITY(
         KarvelCentral, ChipTable, Zol::Entity, ( COLL, Zol::String, ChipInfo, chipInfo ) );

 public:
   // The entry of the chip with these attributes; made from them if it is absent.
   Zol::Ptr< ChipInfo > findOrMake( const ChipAttributes& attributes );
};

} // namespace KarvelCentral
