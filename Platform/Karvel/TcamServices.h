#pragma once

// The agent's TCAM services, as its plug-ins see them: entry managers hand out entries of one
// feature's group; the group manager makes the groups.

#include "Platform/KarvelMirror/Mtp.h"
#include "Platform/Shim/SdkTypes.h"
#include "Platform/Zol/Entity.h"
#include "Platform/Zol/Enum.h"
#include "Platform/Zol/Value.h"

namespace Karvel {

// A hardware entry id; 0 is none. Ids are never used again.
using EntryId = uint32_t;

ZOL_ENUM( TcamStatus, uint8_t, ( success, 0 ),
      ( exhausted, 1 ), // no entry, group or port class is free
      ( failed, 2 ) );  // the chip refused for another reason

// Tells the entries of one entry manager apart.
class TcamRequestKey : public Zol::Value {
   ZOL_VALUE( Karvel, TcamRequestKey, ( VAL, KarvelMirror::Mtp, mtp ),
         ( VAL, Zol::String, aclName ), ( VAL, uint8_t, aclType ),
         ( VAL, uint32_t, rule ),      // the rule's number inside its ACL
         ( VAL, uint32_t, subRule ) ); // which of the entries that the rule became

 public:
   TcamRequestKey() = default;
   TcamRequestKey( KarvelMirror::Mtp mtp, const Zol::String& aclName, uint8_t aclType,
         uint32_t rule, uint32_t subRule )
         : mtp_( mtp ), aclName_( aclName ), aclType_( aclType ), rule_( rule ),
           subRule_( subRule ) {}
};

struct TcamEntryResult {
   TcamStatus status = TcamStatus::failed;
   EntryId entryId = 0; // 0 unless status is success
};

// Whether equal port sets may share one port class.
enum class ClassSharing : uint8_t { exclusive, shared };

// Hands out entries of one group, as many as the chip has. When its last pointer goes, its
// group goes and entries that are still held are released.
class KarvelUnboundedTcamEntryManager : public Zol::Entity {
   ZOL_ENTITY( Karvel, KarvelUnboundedTcamEntryManager, Zol::Entity );

 public:
   // Creates the entry, or finds the one made before under the same key. The slot is reserved
   // from here on, so that installing does not meet a full chip. The name is for people: it is
   // shown wherever the chip's entries are.
   virtual TcamEntryResult getEntry(
         uint32_t unit, const Zol::String& name, const TcamRequestKey& key ) = 0;
   // Whether ports are matched by their class ("AclGroup") rather than one by one.
   virtual bool supportsAclGroup() const = 0;
   virtual Shim::Rc qualifyPortsClassId( uint32_t unit, EntryId entryId,
         const Shim::PortBitmap& ports, ClassSharing sharing ) = 0;
   virtual Shim::Rc addInPortsForEntry( uint32_t unit, EntryId entryId,
         const Shim::PortBitmap& ports, const Shim::PortBitmap& mask ) = 0;
   virtual Shim::Rc installEntry( uint32_t unit, EntryId entryId ) = 0;
   // The entry matches no more, and stays held. No effect on an entry that is not installed.
   virtual Shim::Rc uninstallEntry( uint32_t unit, EntryId entryId ) = 0;
   // E_NOT_FOUND, without effect, for an id that this manager does not hold.
   virtual Shim::Rc releaseEntry( uint32_t unit, EntryId entryId ) = 0;
};

// How a policer is attached to an entry.
enum class PolicerAttach : uint8_t { single }; // it is the entry's only one

// Hands out entries of one feature on every chip, up to a bound for each. An entry belongs to
// the caller that asked for it.
class KarvelBoundedTcamEntryManager : public Zol::Entity {
   ZOL_ENTITY( Karvel, KarvelBoundedTcamEntryManager, Zol::Entity );

 public:
   // Creates an entry that counts; its slot is reserved from here on. 0 if there is none left.
   // The name is for people: it is shown wherever the chip's entries are.
   virtual EntryId getEntryWithStats(
         uint32_t unit, const Zol::String& name, Shim::FieldStat counters ) = 0;
   // Replaces the entry's policer. An entry whose new one cannot be attached can be installed all
   // the same, and then limits nothing: whoever installs it takes it back.
   virtual Shim::Rc attachPolicer(
         uint32_t unit, EntryId entryId, uint32_t policerId, PolicerAttach flag ) = 0;
   // The next install leaves the entry without a policer.
   virtual Shim::Rc detachPolicer( uint32_t unit, EntryId entryId ) = 0;
   virtual Shim::Rc installEntry( uint32_t unit, EntryId entryId ) = 0;
   // E_NOT_FOUND, without effect, for an id that this manager does not hold.
   virtual Shim::Rc releaseEntry( uint32_t unit, EntryId entryId ) = 0;
};

// A feature with entries of its own in the egress stage (KarvelMirror/Features.h).
using KarvelTcamFeature = Zol::Id< struct KarvelTcamFeatureTag, uint8_t >;

// What a destination's mirroring group is for.
struct MirroringAclGroup {
   KarvelMirror::Mtp mtp;
   int32_t type = -1; // ACL kind: 0 IPv4, 1 IPv6, 2 MAC and ports, -1 none
   bool egress = false;

   bool operator==( const MirroringAclGroup& ) const = default;
};

// A feature that keeps ACL entries (KarvelMirror/Features.h).
using KarvelAclFeature = Zol::Id< struct KarvelAclFeatureTag, uint8_t >;

// The purpose of a feature's mirroring ACL group, beyond what the feature says.
struct MirroringAclMetadata {
   bool egress = false;
   bool operator==( const MirroringAclMetadata& ) const = default;
};

class KarvelTcamGroupManager : public Zol::Entity {
   ZOL_ENTITY( Karvel, KarvelTcamGroupManager, Zol::Entity );

 public:
   // The entry manager of one destination's mirroring group on one chip. The caller owns it.
   virtual Zol::Ptr< KarvelUnboundedTcamEntryManager > mirroringEntryManager(
         uint32_t unit, KarvelMirror::Mtp mtp ) = 0;
   // Says what the destination's group is for, from now on. The group must be empty. Type -1
   // takes the group away.
   virtual TcamStatus groupMirroringAclDataIs(
         uint32_t unit, const MirroringAclGroup& group ) = 0;

   // The entry manager of one feature's plain mirroring rules on one chip: all callers get the
   // same one while somebody holds it. Its group is made with its first entry.
   virtual Zol::Ptr< KarvelUnboundedTcamEntryManager > mirroringAclEntryManager(
         uint32_t unit, KarvelAclFeature feature ) = 0;
   // Says that the feature's group is a mirroring ACL's; without it there are no entries.
   virtual TcamStatus groupMirroringAclDataIs(
         uint32_t unit, KarvelAclFeature feature, const MirroringAclMetadata& metadata ) = 0;

   // The entry manager of a feature, on all chips; null if no chip has the feature.
   virtual Zol::Ptr< KarvelBoundedTcamEntryManager > boundedEntryManager(
         KarvelTcamFeature feature ) = 0;
   // Creates a policer. The chip may get it only when an entry is to have it, so there always
   // is one for a configuration that the chip understands. False if it does not.
   virtual bool createPolicer(
         uint32_t unit, const Shim::bcm_policer_config_s& config, uint32_t* policerId ) = 0;
   // The policer goes with the last entry that has it. E_NOT_FOUND, without effect, if there is
   // none.
   virtual Shim::Rc removePolicer( uint32_t unit, uint32_t policerId ) = 0;
};

} // namespace Karvel
