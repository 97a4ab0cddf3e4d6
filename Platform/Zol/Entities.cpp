// Entity types whose headers have no source file of their own.

#include "Platform/Zol/Dir.h"

ZOL_DEFINE_ENTITY( Zol::Dir );
