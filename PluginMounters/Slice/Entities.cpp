// Entity types whose headers have no source file of their own.

#include "PluginMounters/Slice/EfpConfig.h"
#include "PluginMounters/Slice/EfpStatus.h"
#include "PluginMounters/Slice/IfpConfig.h"
#include "PluginMounters/Slice/IfpStatus.h"
#include "PluginMounters/Slice/KarvelMirrorSliceSm.h"

ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpUpdateBase );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpSmConfig );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpConfig );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpSmConfigColl );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpConfigColl );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpStatus );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpSmStatus );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpStatusColl );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::EfpSmStatusColl );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpUpdateBase );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpSmConfig );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpConfig );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpSmConfigColl );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpConfigColl );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpStatus );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpSmStatus );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpStatusColl );
ZOL_DEFINE_ENTITY( KarvelMirror::Slice::IfpSmStatusColl );
ZOL_DEFINE_ENTITY( KarvelMirror::SliceMtpSm::AclPortSm );
ZOL_DEFINE_ENTITY( KarvelMirror::SliceMtpSm );
ZOL_DEFINE_ENTITY( KarvelMirror::SliceRootSm );
