#pragma once

#include "Platform/Zol/Entity.h"
#include "Platform/Zol/Value.h"

namespace Mirroring {

// The key of a session's GRE tunnel (RFC 2890); by default it has none.
class GreTunnelKey : public Zol::Value {
   ZOL_VALUE( Mirroring, GreTunnelKey, ( VAL, bool, present ), ( VAL, uint32_t, key ) );

 public:
   GreTunnelKey() = default;
   explicit GreTunnelKey( uint32_t key ) : present_( true ), key_( key ) {}
};

// One configured session, as far as slices look at it.
class Session : public Zol::Entity {
   ZOL_ENTITY( Mirroring, Session, Zol::Entity, ( CONST, Zol::String, name ),
         ( VAL, GreTunnelKey, greTunnelKey ) );

 public:
   explicit Session( const Zol::String& name ) : name_( name ) {}
};

class Config : public Zol::Entity {
   ZOL_ENTITY( Mirroring, Config, Zol::Entity, ( COLL, Zol::String, Session, session ) );

 public:
   explicit Config( std::string_view = {} ) {}
};

} // namespace Mirroring
