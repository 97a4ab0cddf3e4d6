#pragma once

#include "Platform/Zol/Enum.h"

namespace KarvelMirror::Slice::TcamProgramStatus {

ZOL_ENUM( TcamProgramStatus, uint8_t, ( unknown, 0 ), ( success, 1 ),
      ( entryAllocationFailure, 2 ), // no TCAM entry could be created
      ( entryInstallFailure, 3 ) );  // the entry could not be installed

} // namespace KarvelMirror::Slice::TcamProgramStatus
