#pragma once

// A directory: entities by name, of any type.

#include "Platform/Zol/Entity.h"

namespace Zol {

class Dir : public Entity {
   ZOL_ENTITY( Zol, Dir, Entity, ( COLL, Zol::String, Entity, entity ) );

 public:
   explicit Dir( std::string_view = {} ) {}
};

} // namespace Zol
