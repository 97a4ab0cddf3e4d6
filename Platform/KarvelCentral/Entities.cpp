// Entity types whose headers have no source file of their own.

#include "Platform/KarvelCentral/ChipProfile.h"
#include "Platform/KarvelCentral/Status.h"

ZOL_DEFINE_ENTITY( KarvelCentral::ChipProfile );
ZOL_DEFINE_ENTITY( KarvelCentral::CpuRecircStatus );
ZOL_DEFINE_ENTITY( KarvelCentral::PortTabWriteRequestDir );
ZOL_DEFINE_ENTITY( KarvelCentral::FeatureAgentCommonSmData );
