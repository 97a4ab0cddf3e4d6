#pragma once

#include "Platform/Zol/Entity.h"

namespace Mirroring {

// One configured session, as far as slices look at it.
class Session : public Zol::Entity {
   ZOL_ENTITY( Mirroring, Session, Zol::Entity, ( CONST, Zol::String, name ) );

 public:
   explicit Session( const Zol::String& name ) : name_( name ) {}
};

class Config : public Zol::Entity {
   ZOL_ENTITY( Mirroring, Config, Zol::Entity, ( COLL, Zol::String, Session, session ) );

 public:
   explicit Config( std::string_view = {} ) {}
};

} // namespace Mirroring
