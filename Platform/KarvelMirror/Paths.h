#pragma once

// Where in the store the agent and the slices' plug-in meet. Per-slice entities stand below a
// base path, under the slice's name:
//
//    group.mount( slicePath( sliceCapabilityPath, "slice0" ), ..., "r" );

#include "Platform/Zol/Text.h"

namespace KarvelMirror {

// --- What the agent publishes ---------------------------------------------------------------
inline const Zol::String paramConfigPath = "hardware/karvel/mirror/paramConfig";
inline const Zol::String aclConfigInputPath = "acl/config/input";
inline const Zol::String mirroringConfigPath = "mirroring/hwconfig";
inline const Zol::String cpuRecircStatusPath =
      "hardware/karvel/centralStatus/feature/KarvelMirror/cpuRecircStatus";
inline const Zol::String mtpProgramInfoPath =
      "hardware/karvel/centralStatus/feature/KarvelMirror/mtpProgramInfo";
inline const Zol::String sliceCapabilityPath = "hardware/karvel/mirror/sliceCapability";

// --- What slices write ----------------------------------------------------------------------
inline const Zol::String sliceMtpProgramStatusPath =
      "hardware/karvel/centralStatus/feature/KarvelMirror/sliceMtpProgramStatus";
// Root of the ACL configuration that a slice aggregates; in the slice only, never mounted.
inline const Zol::String aclConfigCliPath = "acl/config/cli";

// --- Requests and their status, of all features ---------------------------------------------
inline const Zol::String tcamConfigPath = "hardware/karvel/feature/karveltcam/config/global";
inline const Zol::String tcamStatusPath = "hardware/karvel/feature/karveltcam/status/global";

inline Zol::String slicePath( const Zol::String& base, const Zol::String& slice ) {
   return base + "/" + slice;
}
// The source-trunk map of a slice's port tables.
inline Zol::String sourceTrunkMapPath( const Zol::String& slice ) {
   return "hardware/karvel/globalStatus/karvellag/tableMgrDir/sourceTrunkMap/KarvelMirror-" +
         slice;
}

} // namespace KarvelMirror
