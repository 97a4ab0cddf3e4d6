#pragma once

// What an agent loads: mounters and command callbacks, made by type name for a directory name
// (here: the name of a slice).

#include "Platform/Hubdb/Store.h"
#include "Platform/Zol/Dir.h"

namespace Plugin {

// Entities that the agent shares with its plug-ins, by name.
class SharedEntityUser : public Zol::Entity {
   ZOL_ENTITY( Plugin, SharedEntityUser, Zol::Entity, ( CONST, Zol::String, name ),
         ( VAL, Zol::Ptr< Zol::Dir >, sharedEntities ) );

 public:
   // The one of that name, narrowed to T; null if there is none or it is of another type.
   template < typename T >
   Zol::Ptr< T > sharedEntity( const Zol::String& sharedName ) const {
      return sharedEntities() ? Zol::dynamicCast< T >( sharedEntities()->entity( sharedName ) )
                              : nullptr;
   }

 protected:
   explicit SharedEntityUser( const Zol::String& name ) : name_( name ) {}
};

class Mounter : public SharedEntityUser {
   ZOL_ENTITY( Plugin, Mounter, SharedEntityUser );

 public:
   using SharedEntityUser::SharedEntityUser;

   // The agent's entity manager; set before doInit.
   void entityManagerIs( Hubdb::EntityManager* manager ) { entityManager_ = manager; }

   // Declares the mounts in the mount group of the entity manager; called once.
   virtual void doInit() = 0;
   // Called once when all mounts are done.
   virtual void doMountsComplete(
         Hubdb::MountStatus status, Hubdb::EntityManager& entityManager ) = 0;
   // The name under which the type is registered.
   virtual Zol::String fwkType() const = 0;

 protected:
   Hubdb::EntityManager& entityManager() const {
      ZOL_ASSERT( entityManager_ );
      return *entityManager_;
   }

 private:
   Hubdb::EntityManager* entityManager_ = nullptr;
};

// Takes the commands that arrive on the agent's command channel for one plug-in.
class AgentCommandCallback : public SharedEntityUser {
   ZOL_ENTITY( Plugin, AgentCommandCallback, SharedEntityUser );

 public:
   using SharedEntityUser::SharedEntityUser;

   virtual void handleCommand( uint32_t socket, const Zol::String& command ) = 0;
   virtual Zol::String fwkType() const = 0;
};

} // namespace Plugin
