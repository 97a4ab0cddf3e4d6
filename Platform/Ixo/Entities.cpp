// Entity types whose headers have no source file of their own.

#include "Platform/Ixo/AclData.h"
#include "Platform/Ixo/LagPortList.h"

ZOL_DEFINE_ENTITY( Ixo::AclFragMap );
ZOL_DEFINE_ENTITY( Ixo::AclData );
ZOL_DEFINE_ENTITY( Ixo::LagPortList );
