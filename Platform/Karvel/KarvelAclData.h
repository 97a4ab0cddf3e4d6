#pragma once

// What an ACL has become on the chips.
//
// A rule becomes one sub-rule for the ports that the ACL is applied to as a whole (sub-rule
// 0) and one for each outer VLAN of the sub-interfaces (1 and up). A sub-rule becomes one
// or more entries, since some matches take several. Entries stay uninstalled until the ACL
// is committed.

#include <algorithm>
#include <span>
#include <vector>

#include "Platform/Ixo/AclData.h"
#include "Platform/Karvel/TcamServices.h"

namespace Karvel {

struct AclEntry {
   EntryId entryId = 0;
   uint32_t ruleNum = 0;
   uint32_t subRuleNum = 0;
   EntryId key() const { return entryId; }
};

// The entries in the order in which they were made, which is the order of the rules.
class AclEntryList {
 public:
   void add( const AclEntry& entry ) { entries_.push_back( entry ); }
   void clear() { entries_.clear(); }
   std::span< const AclEntry > all() const { return entries_; }
   std::span< const AclEntry > ofSubRule( uint32_t ruleNum, uint32_t subRuleNum ) const {
      const auto before = []( const AclEntry& entry, std::pair< uint32_t, uint32_t > number ) {
         return std::pair( entry.ruleNum, entry.subRuleNum ) < number;
      };
      const std::pair number( ruleNum, subRuleNum );
      auto first = std::lower_bound( entries_.begin(), entries_.end(), number, before );
      auto last = first;
      while ( last != entries_.end() && last->ruleNum == ruleNum &&
            last->subRuleNum == subRuleNum ) {
         ++last;
      }
      return { first, last };
   }

 private:
   std::vector< AclEntry > entries_;
};

// The ACL on one chip. Rules are built in ascending order, their sub-rules likewise.
class KarvelAclUnitData : public Zol::Entity {
   ZOL_ENTITY( Karvel, KarvelAclUnitData, Zol::Entity, ( CONST, uint32_t, unit ),
         ( VAL, Ixo::IxoPortList, sessionSrcIntfList ), // the ports of sub-rules 0
         ( VAL, Ixo::IxoPortList,
               sessionSrcSubIntfList ), // the sub-interfaces of the others
         ( MAP, uint32_t, uint16_t, sessionSrcSubIntfEntries ), // sub-rule to outer VLAN
         ( VAL, bool, committed ) );

 public:
   explicit KarvelAclUnitData( uint32_t unit ) : unit_( unit ) {}
   AclEntryList& entries() { return entries_; }
   const AclEntryList& entries() const { return entries_; }

 private:
   AclEntryList entries_;
};

class KarvelAclData : public Zol::Entity {
   ZOL_ENTITY( Karvel, KarvelAclData, Zol::Entity, ( CONST, Ixo::AclKey, aclKey ),
         ( CONST, KarvelAclFeature, feature ),
         ( COLL, uint32_t, KarvelAclUnitData, unitData ) );

 public:
   KarvelAclData( const Ixo::AclKey& aclKey, KarvelAclFeature feature )
         : aclKey_( aclKey ), feature_( feature ) {}
};

} // namespace Karvel
