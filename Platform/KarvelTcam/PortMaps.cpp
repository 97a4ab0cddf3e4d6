#include "Platform/KarvelTcam/PortMaps.h"

namespace KarvelTcam {

bool intfToPortHas( const CommonData& scsd, const Zol::String& intf ) {
   return scsd->intfToPortHas( intf );
}

Karvel::SysPort intfToPort( const CommonData& scsd, const Zol::String& intf ) {
   return scsd->intfToPort( intf );
}

bool intfToPortHas( const CommonData& scsd, const Plix::IntfId& intf ) {
   return scsd->intfToPortHas( intf.port() );
}

Karvel::SysPort intfToPort( const CommonData& scsd, const Plix::IntfId& intf ) {
   return scsd->intfToPort( intf.port() );
}

Shim::PortBitmap getPbmpAll( const CommonData& scsd ) {
   Shim::PortBitmap all;
   for ( int32_t port : scsd->chipPort() ) {
      all.set( static_cast< size_t >( port ) );
   }
   return all;
}

} // namespace KarvelTcam
