#include "Tests/Platform/TestEntities.h"

ZOL_DEFINE_ENTITY( Sample::Port );
ZOL_DEFINE_ENTITY( Sample::Config );
ZOL_DEFINE_ENTITY( Sample::Watcher );
