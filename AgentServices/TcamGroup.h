#pragma once

// A hardware group of one chip, and the making and unmaking of entries in it. A group answers a
// lookup with one entry only, so whatever must match by itself has a group of its own: a port
// that two mirror destinations take is matched in both of their groups.
//
//    auto group = Zol::make< TcamGroup >( unit, GroupPurpose{ qualifiers, priority },
//          GroupLife::withEntries, classes );
//    group->renew();
//    auto entry = group->entryNew( "a name" );    // makes the hardware group, too
//    group->entryDel( { .id = entry.entryId } );  // the last takes the hardware group along
//
// Mirroring is decided at the ingress stage, egress mirroring too: it matches the forwarding
// decision there, and its action copies the frame as sent. The egress stage sees the copies.
//
// Entries and groups that the chip refuses to destroy are kept and tried again when the group
// is next renewed or taken away, so that a passing refusal leaks nothing.

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "AgentServices/PortClassManager.h"
#include "AgentServices/RefusalNote.h"
#include "Platform/Karvel/TcamServices.h"
#include "Platform/Zol/Clock.h"
#include "Platform/Zol/Ptr.h"

namespace AgentServices {

class TcamEntryManager;

// One entry and the port classes that count it as a user.
struct TcamEntry {
   int sdkId() const { return static_cast< int >( id ); } // as SDK calls take it

   Karvel::EntryId id = 0;
   uint32_t classBit = 0;          // as qualified; 0: none
   uint32_t installedClassBit = 0; // as the chip matches it since the last install
};

// E_RESOURCE and E_FULL are `exhausted`, other errors `failed`.
Karvel::TcamStatus tcamStatus( Shim::Rc rc );

// What distinguishes one hardware group from another.
struct GroupPurpose {
   Shim::QualifierSet qualifiers; // that its entries may use
   int priority = 0; // among groups: the order in which copies are listed, not which are made
   Shim::FieldStage stage = Shim::FieldStage::ingress;

   bool operator==( const GroupPurpose& ) const = default;
};

Shim::QualifierSet qualifierSet( std::initializer_list< Shim::Qualifier > qualifiers );

enum class GroupLife : uint8_t {
   asTold,      // the hardware group is there as soon as it is asked for
   withEntries, // only while it has entries
};

class TcamGroup : public Zol::RefCounted {
 public:
   // `classes` is shared by the groups of the unit; null on a chip without port classes.
   TcamGroup( uint32_t unit, const GroupPurpose& purpose, GroupLife life,
         Zol::Ptr< PortClassManager > classes );

   uint32_t unit() const { return unit_; }
   int sdkUnit() const { return static_cast< int >( unit_ ); } // as SDK calls take it
   const GroupPurpose& purpose() const { return purpose_; }
   // Null on a chip without port classes.
   PortClassManager* classes() const { return classes_.get(); }

   // What the chip refused last to whoever has entries here. It tells why something failed, not
   // whether, and is forgotten with the first entry: who failed has given back all that it had,
   // and begins anew by that.
   LastRefusal& lastRefusal() { return lastRefusal_; }

   // --- The group ------------------------------------------------------------------------
   // Whether it may have entries: renew() has succeeded, and it was not taken away since.
   bool isWanted() const { return isWanted_; }
   // Lets it have entries, in a hardware group without earlier ones that may still match. It
   // must have no entries now. On any result but `success` it is as taken away.
   Karvel::TcamStatus renew();
   // Takes the hardware group away; it must have no entries. E_BUSY if the group holds an entry
   // that nobody can name: the chip created it but reported a failure. Trying again does not
   // help then, but the hardware group serves on after renew().
   Shim::Rc takeAway();

   // --- Entries --------------------------------------------------------------------------
   // A new entry that reserves its slot; `failed` unless isWanted().
   Karvel::TcamEntryResult entryNew( const Zol::String& name );
   // Destroys an entry and gives up its port classes. On an error the entry is as before.
   Shim::Rc entryDel( const TcamEntry& entry );
   // Takes over an entry that could not be destroyed and that nobody holds any more. It matches
   // no more, unless the chip refuses that, too; destroying it is tried again every second.
   void leftoverIs( const TcamEntry& entry );

   // --- Its entry manager ----------------------------------------------------------------
   // At most one at a time, null if there is none; the group is taken away with it.
   TcamEntryManager* manager() const { return manager_; }
   void managerArrived( TcamEntryManager& manager );
   void managerGone();

 private:
   void lastRelease() override;
   Shim::Rc destroy( const TcamEntry& entry );
   void destroyLeftovers();
   void tidy();
   Shim::Rc groupDestroy();
   Shim::Rc hardwareGroupDestroy();
   Shim::Rc groupCreate();

   uint32_t unit_;
   GroupPurpose purpose_;
   GroupLife life_;
   Zol::Ptr< PortClassManager > classes_;
   TcamEntryManager* manager_ = nullptr;
   bool isWanted_ = false;
   int hardwareGroup_ = 0; // 0: none
   size_t entries_ = 0;    // without the leftovers
   std::vector< TcamEntry > leftovers_;
   LastRefusal lastRefusal_;
   Zol::Clock tidyClock_;
};

} // namespace AgentServices
