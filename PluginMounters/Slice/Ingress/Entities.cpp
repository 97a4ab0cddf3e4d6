// Entity types whose headers have no source file of their own.

#include "PluginMounters/Slice/Ingress/IfpConfig.h"
#include "PluginMounters/Slice/Ingress/IfpStatus.h"

ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpUpdateBase );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpSmConfig );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpConfig );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpSmConfigColl );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpConfigColl );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpStatus );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpSmStatus );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpStatusColl );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpSmStatusColl );
