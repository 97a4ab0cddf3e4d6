#pragma once

// From interfaces to the chip's ports.

#include "Platform/Karvel/KarvelCommonSmData.h"
#include "Platform/Plix/IntfId.h"
#include "Platform/Shim/SdkTypes.h"

namespace KarvelTcam {

using CommonData = Zol::Ptr< const Karvel::KarvelCommonSmData >;

// Whether the interface has a port on a chip of this slice.
bool intfToPortHas( const CommonData& scsd, const Zol::String& intf );
// Its port; SysPort() if it has none.
Karvel::SysPort intfToPort( const CommonData& scsd, const Zol::String& intf );
// The same by interface; a sub-interface has the port that it is a part of.
bool intfToPortHas( const CommonData& scsd, const Plix::IntfId& intf );
Karvel::SysPort intfToPort( const CommonData& scsd, const Plix::IntfId& intf );
// All front-panel ports of the slice's chip.
Shim::PortBitmap getPbmpAll( const CommonData& scsd );

} // namespace KarvelTcam
