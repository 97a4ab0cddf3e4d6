#pragma once

// The entries of one feature of the egress stage, on every chip that has it. See
// Karvel::KarvelBoundedTcamEntryManager for what the operations promise.
//
// An entry holds a policer from when it is attached until it is neither attached nor at work in
// the chip any more: an install or a release ends that.

#include <map>

#include "AgentServices/PolicerManager.h"
#include "AgentServices/TcamGroup.h"
#include "Platform/Karvel/TcamServices.h"

namespace AgentServices {

class BoundedEntryManager : public Karvel::KarvelBoundedTcamEntryManager {
   ZOL_ENTITY( AgentServices, BoundedEntryManager, Karvel::KarvelBoundedTcamEntryManager );

 public:
   // Registers a chip, with the most entries that the feature may have there. Doing so again
   // changes nothing.
   void unitIs( uint32_t unit, const GroupPurpose& purpose, size_t bound,
         Zol::Ptr< PolicerManager > policers );

   // What the chip refused last to the feature. The unit must be known, here and below.
   const LastRefusal& lastRefusal( uint32_t unit );
   Karvel::EntryId getEntryWithStats(
         uint32_t unit, const Zol::String& name, Shim::FieldStat counters ) override;
   Shim::Rc attachPolicer( uint32_t unit, Karvel::EntryId entryId, uint32_t policerId,
         Karvel::PolicerAttach flag ) override;
   Shim::Rc detachPolicer( uint32_t unit, Karvel::EntryId entryId ) override;
   Shim::Rc installEntry( uint32_t unit, Karvel::EntryId entryId ) override;
   Shim::Rc releaseEntry( uint32_t unit, Karvel::EntryId entryId ) override;

 private:
   struct Held {
      TcamEntry entry;
      uint32_t policer = 0;          // as attached; 0: none
      uint32_t installedPolicer = 0; // at work since the last install
   };
   struct Unit {
      Zol::Ptr< TcamGroup > group;
      size_t bound = 0;
      Zol::Ptr< PolicerManager > policers;
      std::map< Karvel::EntryId, Held > entries;
   };

   void lastRelease() override;
   Unit& unitOf( uint32_t unit );
   // Null if the entry is not held.
   static Held* find( Unit& of, Karvel::EntryId entryId );
   static Shim::Rc attach( Unit& of, Held& held, uint32_t policerId );
   static Shim::Rc detach( Unit& of, Held& held );
   static void destroy( Unit& of, const Held& held );

   std::map< uint32_t, Unit > units_;
};

} // namespace AgentServices
