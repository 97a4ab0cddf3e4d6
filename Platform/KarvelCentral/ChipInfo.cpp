#include "Platform/KarvelCentral/ChipInfo.h"

namespace KarvelCentral {

const Zol::Ptr< KarvelAttributes >& karvelAttributes() {
   static const auto attributes = Zol::make< KarvelAttributes >();
   return attributes;
}

void ChipInfo::doInit( const ChipAttributes& attributes ) {
   needsLoopbackTrunkMapIs( attributes.loopbackTrunkMap() );
   usesTcamHelpersIs( attributes.mirroringTcamHelpers() );
   newTcamInterfaceIs( attributes.newTcamInterface() );
}

Zol::Ptr< ChipInfo > ChipTable::findOrMake( const ChipAttributes& attributes ) {
   if ( Zol::Ptr< ChipInfo > info = chipInfo( attributes.chip() ) ) {
      return info;
   }
   Zol::Ptr< ChipInfo > info = chipInfoIs( attributes.chip() );
   info->doInit( attributes );
   return info;
}

ZOL_DEFINE_ENTITY( KarvelAttributes );
ZOL_DEFINE_ENTITY( ChipInfo );
ZOL_DEFINE_ENTITY( ChipTable );

} // namespace KarvelCentral
