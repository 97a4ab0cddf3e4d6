#include "Platform/Hubdb/Store.h"

#include "Platform/Zol/TypeRegistry.h"

namespace Hubdb {

std::ostream& operator<<( std::ostream& out, MountStatus status ) {
   return out << ( status == MountStatus::mounted ? "mounted" : "unmounted" );
}

Mode::Mode( std::string_view text ) {
   bool reads = false;
   for ( char letter : text ) {
      switch ( letter ) {
      case 'r':
         reads = true;
         break;
      case 'w':
         writes_ = true;
         break;
      case 'c':
      case 'i':
         creates_ = true;
         break;
      default:
         throw ModeError( "mount mode '" + Zol::String( text ) + "': letters are r, w, c, i" );
      }
   }
   if ( reads == writes_ ) {
      throw ModeError( "mount mode '" + Zol::String( text ) + "': one of r and w is needed" );
   }
}

void Store::entityIs( std::string_view path, Zol::Ptr< Zol::Entity > entity ) {
   ZOL_ASSERT( !!entity );
   entities_[ Place( path, entity->typeName() ) ] = entity;
}

void Store::entityDel( std::string_view path, std::string_view typeName ) {
   entities_.erase( Place( path, typeName ) );
}

Zol::Ptr< Zol::Entity > Store::entity(
      std::string_view path, std::string_view typeName ) const {
   auto at = entities_.find( Place( path, typeName ) );
   return at == entities_.end() ? nullptr : at->second;
}

void MountGroup::mount(
      std::string_view path, std::string_view typeName, std::string_view mode ) {
   Mode checked( mode );
   mounts_.push_back( { Zol::String( path ), Zol::String( typeName ), Zol::String( mode ) } );
}

MountStatus EntityManager::mountsComplete() {
   auto isMissing = [ this ]( const Mount& mount ) {
      return Mode( mount.mode ).creates() && !store_.entity( mount.path, mount.typeName );
   };
   // All types are looked for before the first entity is made: a mount group is carried out as
   // a whole or not at all.
   for ( const Mount& mount : group_.mounts() ) {
      if ( isMissing( mount ) && !Zol::TypeRegistry::has( mount.typeName ) ) {
         throw ModeError( "mount of '" + mount.path + "': no type " + mount.typeName );
      }
   }
   for ( const Mount& mount : group_.mounts() ) {
      if ( isMissing( mount ) ) {
         std::string_view path = mount.path;
         store_.entityIs( path,
               Zol::TypeRegistry::make(
                     mount.typeName, path.substr( path.rfind( '/' ) + 1 ) ) );
      }
   }
   return MountStatus::mounted;
}

void EntityManager::checkAccess(
      std::string_view path, std::string_view typeName, Access access ) const {
   bool isMounted = false;
   for ( const Mount& mount : group_.mounts() ) {
      if ( mount.path == path && mount.typeName == typeName ) {
         isMounted = true;
         if ( access == Access::read || Mode( mount.mode ).writes() ) {
            return;
         }
      }
   }
   throw ModeError( "'" + Zol::String( path ) + "' is not mounted as " +
         Zol::String( typeName ) + ( isMounted ? " for writing" : "" ) );
}

} // namespace Hubdb
