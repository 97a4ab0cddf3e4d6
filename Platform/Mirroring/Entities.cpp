// Entity types whose headers have no source file of their own.

#include "Platform/Mirroring/MirroringConfig.h"

ZOL_DEFINE_ENTITY( Mirroring::Session );
ZOL_DEFINE_ENTITY( Mirroring::Config );
