#include "Platform/KarvelMirror/EncapBufferHelper.h"

namespace KarvelMirror {

void EncapBufferHelper::TunnelSm::doInit() {
   react< &TunnelSm::handleChange, Tunnel::Attr::parameters >( tunnel() );
   react< &TunnelSm::handleChange, Tunnel::Attr::active >( tunnel() );
   react< &TunnelSm::handleChange, Tunnel::Attr::headerSize >( tunnel() );
   handleChange();
}

void EncapBufferHelper::doInit() {
   follow< &EncapBufferHelper::handleTunnel, LogicalFapMtpProgramInfo::Attr::tunnel >(
         lfMtpProgramInfo() );
}

void EncapBufferHelper::handleTunnel( TunnelId id ) {
   Zol::Ptr< const Tunnel > tunnel = lfMtpProgramInfo()->tunnel( id );
   Zol::follow< &TunnelSm::tunnel >(
         tunnelSm( id ), tunnel, [ & ] { tunnelSmDel( id ); },
         [ & ] { tunnelSmIs( id, tunnel, *this ); } );
   if ( !tunnel ) {
      encapBufferDel( id );
   }
}

void EncapBufferHelper::encapBufferFrom( const Tunnel& tunnel ) {
   if ( tunnel.parameters().dstIp().family() != family() ) {
      encapBufferDel( tunnel.tunnelId() );
      return;
   }
   EncapBuffer buffer;
   buffer.activeIs( tunnel.active() );
   buffer.headerSizeIs( tunnel.headerSize() );
   encapBufferIs( tunnel.tunnelId(), buffer );
}

ZOL_DEFINE_ENTITY( EncapBufferHelper::TunnelSm );
ZOL_DEFINE_ENTITY( EncapBufferHelper );

} // namespace KarvelMirror
