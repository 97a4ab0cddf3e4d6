#pragma once

#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/Zol/Enum.h"

namespace KarvelMirror::Slice::TcamProgramStatus {

ZOL_ENUM( TcamProgramStatus, uint8_t, ( unknown, 0 ), ( success, 1 ),
      ( entryAllocationFailure, 2 ), // no TCAM entry could be created
      ( entryInstallFailure, 3 ) );  // the entry could not be installed

} // namespace KarvelMirror::Slice::TcamProgramStatus

namespace KarvelMirror::Slice {

using ProgramResult = TcamProgramStatus::TcamProgramStatus;

// As the agent hears of it.
inline ProgramStatus toProgramStatus( ProgramResult result ) {
   switch ( result ) {
   case ProgramResult::success:
      return ProgramStatus::success;
   case ProgramResult::entryAllocationFailure:
      return ProgramStatus::resourceExhaustion;
   case ProgramResult::entryInstallFailure:
      return ProgramStatus::failed;
   default:
      return ProgramStatus::unknown;
   }
}

} // namespace KarvelMirror::Slice
