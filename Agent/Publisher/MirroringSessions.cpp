#include "Agent/Publisher/MirroringSessions.h"

#include <utility>

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

void MirroringSessions::renewKeys() {
   Zol::Batch batch;
   for ( const auto& [ session, unit ] : units_ ) {
      auto shown = config_->sessionIs( session );
      hidden_.try_emplace( session, shown->greTunnelKey() );
      shown->greTunnelKeyIs( Mirroring::GreTunnelKey() );
   }
   turnsHidden_ = 2;
   showClock_.timeMinIs( Zol::activityManager().now() );
}

// Of its clock, which fires at every turn until it is told otherwise.
void MirroringSessions::showKeys() {
   if ( --turnsHidden_ > 0 ) {
      return; // slices look for keys within the turn
   }
   showClock_.timeMinIs( Zol::never );
   Zol::Batch batch;
   for ( const auto& [ session, key ] : std::exchange( hidden_, {} ) ) {
      if ( units_.contains( session ) ) {
         config_->sessionIs( session )->greTunnelKeyIs( key );
      }
   }
}

} // namespace Agent
