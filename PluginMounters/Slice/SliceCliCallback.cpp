#include "PluginMounters/Slice/SliceCliCallback.h"

#include "Platform/Duolog/Duolog.h"
#include "Platform/Zol/TypeRegistry.h"
#include "PluginMounters/Slice/KarvelMirrorSliceMounter.h"

namespace KarvelMirror {

namespace {

Duolog::Handle trace( "SliceCliCallback" );

} // namespace

void SliceCliCallback::handleCommand( uint32_t socket, const Zol::String& command ) {
   DUOLOG_IN( trace, 4, "handleCommand", "Socket:" << socket << ", Command:" << command );
}

Zol::Ptr< SliceMounter > SliceCliCallback::sliceMounter() const {
   return sharedEntity< SliceMounter >( name() );
}

ZOL_DEFINE_ENTITY( SliceCliCallback );
ZOL_REGISTER_TYPE( KarvelMirror::SliceCliCallback );

} // namespace KarvelMirror
