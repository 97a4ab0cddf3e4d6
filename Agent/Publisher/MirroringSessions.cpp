#include "Agent/Publisher/MirroringSessions.h"

namespace Agent {

void MirroringSessions::set( int unit, const std::string& session, const Key& key ) {
   units_[ session ] = unit;
   config_->sessionIs( session )->greTunnelKeyIs(
         key ? Mirroring::GreTunnelKey( *key ) : Mirroring::GreTunnelKey() );
}

void MirroringSessions::announce( int unit, const Keys& sessions ) {
   Zol::Batch batch;
   for ( const auto& [ session, key ] : sessions ) {
      if ( key || !units_.contains( session ) ) {
         set( unit, session, key );
      }
   }
}

void MirroringSessions::settle(
      int unit, const Keys& sessions, const std::set< std::string >& unsettled ) {
   Zol::Batch batch;
   std::erase_if( units_, [ & ]( const auto& known ) {
      const auto& [ session, owner ] = known;
      if ( owner != unit || sessions.contains( session ) ) {
         return false;
      }
      config_->sessionDel( session );
      return true;
   } );
   for ( const auto& [ session, key ] : sessions ) {
      if ( key || !unsettled.contains( session ) ) {
         set( unit, session, key );
      }
   }
}

} // namespace Agent
