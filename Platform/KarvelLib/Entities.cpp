// Entity types whose headers have no source file of their own.

#include "Platform/KarvelLib/MounterBase.h"

ZOL_DEFINE_ENTITY( KarvelLib::MounterBase );
