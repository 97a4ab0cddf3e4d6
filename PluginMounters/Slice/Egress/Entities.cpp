// Entity types whose headers have no source file of their own.

#include "PluginMounters/Slice/Egress/EfpConfig.h"
#include "PluginMounters/Slice/Egress/EfpStatus.h"

ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpUpdateBase );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpSmConfig );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpConfig );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpSmConfigColl );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpConfigColl );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpStatus );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpSmStatus );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpStatusColl );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpSmStatusColl );
