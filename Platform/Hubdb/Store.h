#pragma once

// The agent's configuration and state store: entities by path, reached through mounts.
//
// The agent owns the Store and puts entities in it. A client (a mounter) gets an EntityManager
// of its own, declares mounts as (path, type name, mode) in its mount group, and looks the
// entities up once its mounts are complete. Two types may stand at one path.
//
// Modes: 'r' read, 'w' read and write, 'c' create what is missing, 'i' create what is missing
// and hand it over as it is at that time; "wc" and "cw" mean the same. A path that is missing
// and not to be created stays missing: its look-up gives null.

#include <map>
#include <stdexcept>
#include <vector>

#include "Platform/Zol/Entity.h"

namespace Hubdb {

// Thrown for a mount or look-up that its mode forbids, and for text that is no mode.
class ModeError : public std::logic_error {
 public:
   using std::logic_error::logic_error;
};

enum class MountStatus : uint8_t { unmounted, mounted };
std::ostream& operator<<( std::ostream& out, MountStatus status );

class Mode {
 public:
   explicit Mode( std::string_view text ); // ModeError for any other letters
   bool writes() const { return writes_; }
   bool creates() const { return creates_; }

 private:
   bool writes_ = false;
   bool creates_ = false;
};

struct Mount {
   Zol::String path;
   Zol::String typeName;
   Zol::String mode;
};

class Store {
 public:
   // Puts an entity at a path, under its own type. It replaces the one of that type that is
   // there.
   void entityIs( std::string_view path, Zol::Ptr< Zol::Entity > entity );
   void entityDel( std::string_view path, std::string_view typeName );
   // Null if there is none.
   Zol::Ptr< Zol::Entity > entity( std::string_view path, std::string_view typeName ) const;
   template < typename T >
   Zol::Ptr< T > entity( std::string_view path ) const {
      return Zol::dynamicCast< T >( entity( path, T::zolTypeName() ) );
   }

   // All entities, by path and type: for browsing.
   using Place = std::pair< Zol::String, Zol::String >;
   const std::map< Place, Zol::Ptr< Zol::Entity > >& entities() const { return entities_; }

 private:
   std::map< Place, Zol::Ptr< Zol::Entity > > entities_;
};

class MountGroup {
 public:
   // ModeError if `mode` is no mode.
   void mount( std::string_view path, std::string_view typeName, std::string_view mode );
   const std::vector< Mount >& mounts() const { return mounts_; }

 private:
   std::vector< Mount > mounts_;
};

// One client's view of the store.
class EntityManager {
 public:
   explicit EntityManager( Store& store ) : store_( store ) {}

   MountGroup& mountGroup() { return group_; }
   // For the agent: carries out the mounts. The type registry makes the entities that are to be
   // created; ModeError if it does not know the type.
   MountStatus mountsComplete();

   // The entity mounted at the path, for reading; null if there is none. ModeError if the path
   // is not mounted under that type.
   template < typename T >
   Zol::Ptr< const T > entity( std::string_view path ) const {
      return find< T >( path, Access::read );
   }
   // The same for writing; ModeError if the mount does not allow it.
   template < typename T >
   Zol::Ptr< T > writableEntity( std::string_view path ) const {
      return find< T >( path, Access::write );
   }

 private:
   enum class Access { read, write };
   template < typename T >
   Zol::Ptr< T > find( std::string_view path, Access access ) const {
      checkAccess( path, T::zolTypeName(), access );
      return store_.entity< T >( path );
   }
   void checkAccess( std::string_view path, std::string_view typeName, Access access ) const;

   Store& store_;
   MountGroup group_;
};

} // namespace Hubdb
