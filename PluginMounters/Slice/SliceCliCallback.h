#pragma once

// The slice's hook for the agent's command channel. The library answers no commands: they are
// routed here so that they can be seen in the trace.

#include "Platform/Plugin/Mounter.h"

namespace KarvelMirror {

class SliceMounter;

class SliceCliCallback : public Plugin::AgentCommandCallback {
   ZOL_ENTITY( KarvelMirror, SliceCliCallback, Plugin::AgentCommandCallback );

 public:
   // `name` is that of the slice's mounter.
   explicit SliceCliCallback( const Zol::String& name ) : AgentCommandCallback( name ) {}

   // Traced, at level 4, and ignored; nothing is written back.
   void handleCommand( uint32_t socket, const Zol::String& command ) override;
   // The mounter of the same name; none if there is none or it is of another type.
   Zol::Ptr< SliceMounter > sliceMounter() const;
   Zol::String fwkType() const override { return Zol::String( zolTypeName() ); }
};

} // namespace KarvelMirror
