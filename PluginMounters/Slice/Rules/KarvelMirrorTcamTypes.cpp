#include "PluginMounters/Slice/Rules/KarvelMirrorTcamTypes.h"

namespace KarvelMirror {

std::optional< TcamAclType > TcamAclType::fromString( std::string_view text ) {
   if ( auto type = Zol::instanceByName< AclType >( text ) ) {
      return TcamAclType( *type );
   }
   return {};
}

std::ostream& operator<<( std::ostream& out, const TcamAclType& type ) {
   return out << type.toString();
}

KarvelMirrorAclGroupMetaData getMirroringAclData( ProgrammingOp::TcamFeature feature ) {
   switch ( feature ) {
   case ProgrammingOp::egress():
      return { 2, true };
   case ProgrammingOp::ingress():
      return { 2, false };
   case ProgrammingOp::ipIngress():
      return { 0, false };
   case ProgrammingOp::ipv6Ingress():
      return { 1, false };
   case ProgrammingOp::macIngress():
      return { 2, false };
   default:
      return { -1, false };
   }
}

Zol::Ptr< ProgrammingOp > programmingOpFactory() { return Zol::make< ProgrammingOp >(); }

Zol::Ptr< TcamGroupData > tcamGroupDataFactory() { return Zol::make< TcamGroupData >(); }

Zol::Ptr< TcamHelperConfig > tcamHelperConfigFactory() {
   return Zol::make< TcamHelperConfig >();
}

Zol::Ptr< TcamHelperStatus > tcamHelperStatusFactory() {
   return Zol::make< TcamHelperStatus >();
}

ZOL_DEFINE_ENTITY( TcamAclData );
ZOL_DEFINE_ENTITY( TcamGroupData );
ZOL_DEFINE_ENTITY( ProgrammingOp );
ZOL_DEFINE_ENTITY( RateLimitMtp );
ZOL_DEFINE_ENTITY( MtpTcamHelperConfig );
ZOL_DEFINE_ENTITY( MtpTcamHelperStatus );
ZOL_DEFINE_ENTITY( TcamHelperConfig );
ZOL_DEFINE_ENTITY( TcamHelperStatus );

} // namespace KarvelMirror
