// The platform's types that a mount may ask the store to make.

#include "Platform/Acl/AclConfig.h"
#include "Platform/KarvelCentral/Status.h"
#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/Mirroring/MirroringConfig.h"
#include "Platform/Zol/TypeRegistry.h"

ZOL_REGISTER_TYPE( Acl::Input::Config );
ZOL_REGISTER_TYPE( KarvelCentral::CpuRecircStatus );
ZOL_REGISTER_TYPE( KarvelCentral::PortTabWriteRequestDir );
ZOL_REGISTER_TYPE( KarvelMirror::LogicalFapMtpProgramInfoColl );
ZOL_REGISTER_TYPE( KarvelMirror::SliceCapability );
ZOL_REGISTER_TYPE( KarvelMirror::SliceMtpProgramStatus );
ZOL_REGISTER_TYPE( KarvelMirror::Slice::ParamConfig );
ZOL_REGISTER_TYPE( Mirroring::Config );
