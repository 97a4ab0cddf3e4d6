// Entity types whose headers have no source file of their own.

#include "Platform/KarvelMirror/KarvelChipAttributesMirror.h"
#include "Platform/KarvelMirror/ProgramInfo.h"

ZOL_DEFINE_ENTITY( KarvelMirror::KarvelChipAttributesMirror );
ZOL_DEFINE_ENTITY( KarvelMirror::AclPorts );
ZOL_DEFINE_ENTITY( KarvelMirror::Tunnel );
ZOL_DEFINE_ENTITY( KarvelMirror::MtpProgramInfo );
ZOL_DEFINE_ENTITY( KarvelMirror::LogicalFapMtpProgramInfo );
ZOL_DEFINE_ENTITY( KarvelMirror::LogicalFapMtpProgramInfoColl );
ZOL_DEFINE_ENTITY( KarvelMirror::SliceCapability );
ZOL_DEFINE_ENTITY( KarvelMirror::SliceMtpProgramStatus );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::ParamConfig );
