// Entity types whose headers have no source file of their own.

#include "Platform/Acl/AclConfig.h"

ZOL_DEFINE_ENTITY( Acl::AclConfig );
ZOL_DEFINE_ENTITY( Acl::AclTypeConfig );
ZOL_DEFINE_ENTITY( Acl::Config );
ZOL_DEFINE_ENTITY( Acl::Input::Config );
