#include "Platform/KarvelMirror/EncapBufferHelper.h"

namespace KarvelMirror {

void EncapBufferHelper::TunnelSm::doInit() {
   react< &TunnelSm::handleChange, Tunnel::Attr::parameters >( tunnel() );
   react< &TunnelSm::handleChange, Tunnel::Attr::active >( tunnel() );
   react< &TunnelSm::handleChange, Tunnel::Attr::headerSize >( tunnel() );
   handleChange();
}

void EncapBufferHelper::doInit() {
   react< &EncapBufferHelper::handleTunnel, LogicalFapMtpProgramInfo::Attr::tunnel >(
         lfMtpProgramInfo() );
   for ( TunnelId id : lfMtpProgramInfo()->tunnel().keys() ) {
      handleTunnel( id );
   }
}

void EncapBufferHelper::handleTunnel( TunnelId id ) {
   Zol::Ptr< const Tunnel > tunnel = lfMtpProgramInfo()->tunnel( id );
   // One that went and came back within one batch is another entity.
   if ( tunnelSm( id ) && tunnelSm( id )->tunnel() != tunnel ) {
      tunnelSmDel( id );
   }
   if ( tunnel ) {
      tunnelSmIs( id, tunnel, *this );
   } else {
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
