// Entity types whose headers have no source file of their own.

#include "Platform/Plugin/Mounter.h"

ZOL_DEFINE_ENTITY( Plugin::SharedEntityUser );
ZOL_DEFINE_ENTITY( Plugin::Mounter );
ZOL_DEFINE_ENTITY( Plugin::AgentCommandCallback );
