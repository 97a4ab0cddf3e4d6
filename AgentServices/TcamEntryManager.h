#pragma once

// The entries of one group, by key and by id. See
// Karvel::KarvelUnboundedTcamEntryManager for what the operations promise.
//
// What an ACL needs in the chip is in groups of the ACL's own (see ChipAcl.h). So in the manager of
// a feature, which hands out entries for ACLs beside those for plain rules, an ACL gets a number
// only: an entry for it would never be installed, but hold a slot and a hardware group. Such a
// number can be released; for all else there is no such entry.
//
// Every operation is O( 1 ) in the number of entries. `unit` is always the manager's own:
// another one is a broken invariant.

#include "AgentServices/TcamEntryTable.h"
#include "AgentServices/TcamGroup.h"
#include "Platform/Karvel/TcamServices.h"

namespace AgentServices {

// What getEntry() hands out under the name of an ACL.
enum class EntriesOfAcls : uint8_t { entries, numbers };

class TcamEntryManager : public Karvel::KarvelUnboundedTcamEntryManager {
   ZOL_ENTITY( AgentServices, TcamEntryManager, Karvel::KarvelUnboundedTcamEntryManager );

 public:
   explicit TcamEntryManager(
         Zol::Ptr< TcamGroup > group, EntriesOfAcls ofAcls = EntriesOfAcls::entries );

   Karvel::TcamEntryResult getEntry(
         uint32_t unit, const Zol::String& name, const Karvel::TcamRequestKey& key ) override;
   bool supportsAclGroup() const override;
   // May be called again for an entry that is installed: until the next install the chip
   // matches the earlier ports, whose class is kept that long. E_UNAVAIL on a chip without
   // port classes.
   Shim::Rc qualifyPortsClassId( uint32_t unit, Karvel::EntryId entryId,
         const Shim::PortBitmap& ports, Karvel::ClassSharing sharing ) override;
   Shim::Rc addInPortsForEntry( uint32_t unit, Karvel::EntryId entryId,
         const Shim::PortBitmap& ports, const Shim::PortBitmap& mask ) override;
   Shim::Rc installEntry( uint32_t unit, Karvel::EntryId entryId ) override;
   Shim::Rc uninstallEntry( uint32_t unit, Karvel::EntryId entryId ) override;
   // Releases the entry even if the chip refuses to destroy it: the group then sees to it.
   Shim::Rc releaseEntry( uint32_t unit, Karvel::EntryId entryId ) override;

   // How many entries it holds.
   size_t entries() const { return entries_.size(); }

 private:
   int unit() const { return group_->sdkUnit(); }
   TcamEntry* find( Karvel::EntryId entryId );
   void lastRelease() override;

   Zol::Ptr< TcamGroup > group_;
   const EntriesOfAcls ofAcls_;
   Karvel::EntryId nextNumber_;
   TcamEntryTable entries_;
};

} // namespace AgentServices
