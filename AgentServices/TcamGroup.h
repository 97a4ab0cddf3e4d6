#pragma once

// The hardware group of one mirror destination on one chip, and the making and unmaking of
// entries in it. A group answers a lookup with one entry only, so every destination has a
// group of its own: a port that two sessions mirror matches in both.
//
// All mirroring groups are looked up at the ingress stage: egress mirroring matches the
// forwarding decision there, and its action copies the frame as sent.
//
// What the chip refuses to destroy is kept and tried again when the group is next replaced
// or taken away, so that a passing refusal leaks nothing.

#include <cstdint>
#include <vector>

#include "AgentServices/PortClassManager.h"
#include "Platform/Karvel/TcamServices.h"
#include "Platform/Zol/Ptr.h"

namespace AgentServices {

// One entry and the port classes that its users' counts are held for.
struct TcamEntry {
   int sdkId() const { return static_cast< int >( id ); } // as SDK calls take it

   Karvel::EntryId id = 0;
   uint32_t classBit = 0;          // as qualified; 0: none
   uint32_t installedClassBit = 0; // as the chip matches it since the last install
};

// E_RESOURCE and E_FULL are `exhausted`, other errors `failed`.
Karvel::TcamStatus tcamStatus( Shim::Rc rc );

class TcamGroup : public Zol::RefCounted {
 public:
   // `classes` is shared by the groups of the unit; null on a chip without port classes.
   TcamGroup( uint32_t unit, KarvelMirror::Mtp mtp, Zol::Ptr< PortClassManager > classes );

   uint32_t unit() const { return unit_; }
   int sdkUnit() const { return static_cast< int >( unit_ ); } // as SDK calls take it
   // Null on a chip without port classes.
   PortClassManager* classes() const { return classes_.get(); }

   // --- The group ------------------------------------------------------------------------
   // Makes the hardware group that `wanted` is for, after taking away one that is for
   // something else; type -1 only takes away. The group must have no entries. Unless
   // `success`, there is no group, or the old one where the chip refused to destroy it.
   Karvel::TcamStatus contentsIs( const Karvel::MirroringAclGroup& wanted );

   // --- Entries --------------------------------------------------------------------------
   // A new entry that reserves its slot; `failed` while there is no group.
   Karvel::TcamEntryResult entryNew( const Zol::String& name );
   // Destroys an entry and gives up its port classes. On an error the entry is as before.
   Shim::Rc entryDel( const TcamEntry& entry );
   // Takes over an entry that could not be destroyed and that nobody holds any more.
   void leftoverIs( const TcamEntry& entry );

   // --- Its entry manager ----------------------------------------------------------------
   // At most one at a time; the group goes with it.
   void managerArrived();
   void managerGone();

 private:
   void lastRelease() override;
   Shim::Rc destroy( const TcamEntry& entry );
   Shim::Rc groupDestroy();
   Shim::Rc groupCreate();

   uint32_t unit_;
   KarvelMirror::Mtp mtp_;
   Zol::Ptr< PortClassManager > classes_;
   bool hasManager_ = false;
   Karvel::MirroringAclGroup contents_; // type -1: there is none, or it is to go
   int hardwareGroup_ = 0;              // 0: none
   size_t entries_ = 0;                 // without the leftovers
   std::vector< TcamEntry > leftovers_;
};

} // namespace AgentServices
