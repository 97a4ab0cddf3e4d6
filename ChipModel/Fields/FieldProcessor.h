#pragma once

// The field processors of one chip: groups of TCAM entries per stage, and their lookup.
//
// As strict as a chip: an unknown id is E_NOT_FOUND, a full stage E_RESOURCE, a qualifier that
// the group does not carry E_PARAM or the stage does not have E_UNAVAIL (FieldRules.h), and an
// action of the other stage E_PARAM. What an entry matches and does, its priority and policer
// included, takes effect at install. Ids are never used again. Only egress entries have policers.
//
// Qualifiers: data wider than its field is E_PARAM; of a mask, what lies beyond the field does
// not count. A mask of zero restricts nothing; any other makes the entry match only frames
// that have the field at all (VLAN, IP, layer-4 ports and so on). InPorts matches the ports of
// data & mask.
//
// Lookup: every group answers with its best installed entry (highest priority; among equals
// the one created first). Groups do not shadow each other.

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ChipModel/Lookup/LookupKey.h"
#include "ChipModel/Tables/Counters.h"
#include "Platform/Shim/Sdk.h"

namespace ChipModel {

struct Profile;
struct FieldEntry;

struct ActionValue {
   Shim::FieldAction action{};
   uint32_t param0 = 0;
   uint32_t param1 = 0;
};

// One qualifier of an entry, as it was given, for printing and reading back.
struct QualifierValue {
   Shim::Qualifier qualifier{};
   std::vector< uint32_t > data; // its parts; see EntryContents
   std::vector< uint32_t > mask;
   Shim::PortBitmap ports; // InPorts only: the ports that match
};

struct EntryView {
   int id = 0;
   int group = 0;
   Shim::FieldStage stage{};
   int priority = 0;
   bool installed = false;
   bool modified = false; // changed since the last install
   std::string name;      // what the agent named it by
   std::vector< QualifierValue > qualifiers;
   std::vector< ActionValue > actions;
   uint64_t packets = 0; // matched since created
   uint64_t bytes = 0;
   uint32_t policer = 0; // 0: none
   bool byColor = false; // counts colours apart:
   ColorCounters colors;
};

struct GroupView {
   int id = 0;
   Shim::FieldStage stage{};
   int priority = 0;
   Shim::QualifierSet qualifiers;
   int entries = 0;
   int installed = 0;
   bool destinationBound = false; // looked up once per destination: see GroupChoice
};

// A value to compare with under a mask; a mask bit of zero does not care.
struct Ternary {
   uint32_t data = 0;
   uint32_t mask = 0;
};

// Why an entry that is installed does not match a frame, or does not win although it does.
struct EntryMiss {
   int entry = 0;
   std::optional< Shim::Qualifier > failed; // the first that does not hold; none: it matches
   size_t failures = 0;                     // how many do not hold
};

// A range checker in use. Entries ask it by its bit: see QualifierValue of RangeCheck.
struct RangeView {
   int id = 0;
   uint32_t bit = 0;
   Shim::FieldRange what{};
   uint32_t min = 0; // both included
   uint32_t max = 0;
};

// A policer, and the entries that have it: as written, or as packets see them.
struct PolicerView {
   uint32_t id = 0;
   Shim::bcm_policer_config_s config{};
   std::vector< int > entries; // by id
   ColorCounters counters;
};

// One group's answer to one lookup. `actions` stays valid until the entry changes.
struct Match {
   int group = 0;
   int entry = 0;
   const std::vector< ActionValue >* actions = nullptr;
   uint32_t policer = 0;         // 0: none
   FieldEntry* source = nullptr; // for FieldProcessor::meter and count
};

// Installed entries of the egress stage.
struct EgressUse {
   int installed = 0;
   int forForwarded = 0; // those that a forwarded frame, too, could match
};

class FieldProcessor {
 public:
   static constexpr int maxGroups = 16; // the most of a stage, in any profile

   explicit FieldProcessor( const Profile& profile );
   ~FieldProcessor();
   FieldProcessor( const FieldProcessor& ) = delete;
   FieldProcessor& operator=( const FieldProcessor& ) = delete;

   // --- What the SDK calls do (same meaning, errors and ranges as in Shim::Sdk) ---------
   Shim::Rc groupCreate( Shim::FieldStage, Shim::QualifierSet, int priority, int* group );
   Shim::Rc groupDestroy( int group );
   Shim::Rc groupStatusGet( int group, Shim::FieldGroupStatus* status ) const;
   Shim::Rc entryCreate( int group, int* entry );
   Shim::Rc entryDestroy( int entry );
   Shim::Rc entryInstall( int entry );
   Shim::Rc entryRemove( int entry );
   Shim::Rc entryPrioSet( int entry, int priority );
   Shim::Rc entryNameSet( int entry, const char* name );
   Shim::Rc qualifyInPorts( int entry, const Shim::PortBitmap&, const Shim::PortBitmap& mask );
   // Any qualifier but InPorts; see EntryContents for its parts. Of a port class the chip may have
   // fewer bits than the field.
   Shim::Rc qualify( int entry, Shim::Qualifier, std::initializer_list< Ternary > parts );
   Shim::Rc qualifyRangeCheck( int entry, int range );
   Shim::Rc qualifierDelete( int entry, Shim::Qualifier );
   Shim::Rc actionAdd( int entry, Shim::FieldAction, uint32_t param0, uint32_t param1 );
   Shim::Rc actionRemove( int entry, Shim::FieldAction );
   Shim::Rc actionRemoveAll( int entry );
   Shim::Rc actionGet( int entry, Shim::FieldAction, ActionValue* value ) const;
   Shim::Rc rangeCreate( Shim::FieldRange what, uint32_t min, uint32_t max, int* range );
   Shim::Rc rangeDestroy( int range );
   Shim::Rc policerCreate( const Shim::bcm_policer_config_s&, uint32_t* policer );
   Shim::Rc policerDestroy( uint32_t policer );
   Shim::Rc entryPolicerAttach( int entry, int level, uint32_t policer );
   Shim::Rc entryPolicerDetach( int entry, int level );
   Shim::Rc entryStatSet( int entry, Shim::FieldStat stat );

   // --- Packets -------------------------------------------------------------------------
   // Which groups a lookup asks. A frame with several destinations (flooded, say) is looked
   // up once for all that does not depend on the destination, and once per destination in
   // the groups that do, so that egress mirroring sees every copy that leaves.
   enum class GroupChoice { destinationFree, destinationBound };
   // True when a group of the stage has an installed entry on dstPort or dstTrunk (with a mask
   // other than zero).
   bool hasDestinationBound( Shim::FieldStage ) const;
   // Whether some group of the stage can look at more than ports, VLAN and destination.
   bool looksBeyondL2( Shim::FieldStage ) const;
   // Fills in what the range checkers find; the key has its layer-4 ports.
   void checkRanges( LookupKey& key ) const;
   // Writes at most `room` matches, one per group that matched, highest group priority
   // first; returns how many. No allocation.
   int lookup( Shim::FieldStage, GroupChoice, const LookupKey&, Match* out, int room ) const;
   // What there is to look up at egress: groups there are all destinationFree.
   const EgressUse& egressUse() const { return egressUse_; }
   // Asks a match's policer; without one a frame is green.
   Color meter( const Match& match, uint32_t frameBytes, uint64_t timeNs );
   // Adds one frame to a match's counters.
   void count( const Match& match, uint32_t frameBytes, Color color = Color::green );

   // Every other installed entry of a group (which must exist), by priority: why it is not the
   // one. A winner that is no entry's id: all of them.
   std::vector< EntryMiss > misses( int group, int winner, const LookupKey& key ) const;

   // --- Limits and reading back ---------------------------------------------------------
   int capacity( Shim::FieldStage ) const;
   void capacityIs( Shim::FieldStage, int entries ); // below what is used: no more are given
   int entriesUsed( Shim::FieldStage ) const;
   // Whether an installed entry makes copies for the unit's mirror destination.
   bool namesDestination( int unit, int destination ) const;
   int rangeCheckersUsed() const;
   int policerCapacity() const;
   void policerCapacityIs( int policers );      // likewise
   std::vector< RangeView > ranges() const;     // by id
   std::vector< PolicerView > policers() const; // by id
   std::vector< GroupView > groups() const;     // by id
   std::vector< EntryView > entries() const;    // by group priority, then priority, then id

 private:
   struct State;
   EgressUse egressUse_;
   std::unique_ptr< State > state_;
};

} // namespace ChipModel
