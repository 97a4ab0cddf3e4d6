// Entity types whose headers have no source file of their own.

#include "Platform/Karvel/AclHelper.h"
#include "Platform/Karvel/AclSmPluginEntity.h"
#include "Platform/Karvel/KarvelAclData.h"
#include "Platform/Karvel/KarvelCommonSmData.h"
#include "Platform/Karvel/TcamServices.h"

ZOL_DEFINE_ENTITY( Karvel::AclHelper );
ZOL_DEFINE_ENTITY( Ixo::AclSm );
ZOL_DEFINE_ENTITY( Karvel::AclSmPluginEntity );
ZOL_DEFINE_ENTITY( Karvel::KarvelAclUnitData );
ZOL_DEFINE_ENTITY( Karvel::KarvelAclData );
ZOL_DEFINE_ENTITY( Karvel::UnitData );
ZOL_DEFINE_ENTITY( Karvel::KarvelCommonSmData );
ZOL_DEFINE_ENTITY( Karvel::KarvelUnboundedTcamEntryManager );
ZOL_DEFINE_ENTITY( Karvel::KarvelBoundedTcamEntryManager );
ZOL_DEFINE_ENTITY( Karvel::KarvelTcamGroupManager );
