#pragma once

// One ACL on one chip: its hardware group and the entries in it, from the first rule to the
// last entry given back. An ACL has a group of its own, because a group answers a lookup with
// one entry only, and no ACL may keep a frame from another.
//
// Traffic depends on the order. The installed entries are always the beginning of the ACL: so a
// frame that an earlier rule keeps from a later one never meets the later one alone. Hence
// entries are installed from the first rule to the last, and go from the last to the first. An
// entry that the chip refuses to destroy keeps those before it until it goes.

#include <cstdint>
#include <utility>
#include <vector>

#include "AgentServices/AclEntryWriter.h"
#include "AgentServices/AclPorts.h"
#include "AgentServices/TcamGroup.h"
#include "Platform/Karvel/AclHelper.h"

namespace AgentServices {

class AclResources;

// What an SDK call's code, or the answer of a group, means for the ACL.
Ixo::AclCreateError aclError( Karvel::TcamStatus status );
inline Ixo::AclCreateError aclError( Shim::Rc rc ) { return aclError( tcamStatus( rc ) ); }

class ChipAcl {
 public:
   // The resources must outlive this.
   ChipAcl( AclResources& resources, const Ixo::AclKey& key, Karvel::KarvelAclFeature feature );

   // Make the entries of one sub-rule, all of them or none, and add them to `list`. Neither
   // rules nor their sub-rules may come in descending order.
   Ixo::AclCreateError ipRule( uint32_t ruleNum, uint32_t subRuleNum,
         const Karvel::IpAclRuleData& rule, const Zol::String& name,
         Karvel::AclEntryList& list );
   Ixo::AclCreateError macRule( uint32_t ruleNum, uint32_t subRuleNum,
         const Acl::RuleConfig& rule, const Zol::String& name, Karvel::AclEntryList& list );

   // Qualifies the entries with the interfaces of the unit's data. Installed entries match as
   // before until the next commit.
   Ixo::AclCreateError portsAre( const Karvel::KarvelAclUnitData& unitData );
   // Installs all entries that have ports, or none. May be done again after changes of ports
   // or of the entries themselves. While the ACL loses some ports and gains others at once,
   // the entries that lose some match nothing for a moment.
   Ixo::AclCreateError commit();

   // Gives back everything but the empty group. False if the chip refused: to be tried again.
   bool withdraw();
   const Zol::Ptr< TcamGroup >& group() const { return group_; }

 private:
   struct Entry {
      int sdkId() const { return static_cast< int >( id ); } // as SDK calls take it

      Karvel::EntryId id = 0;
      uint32_t scope = 0;
      uint32_t version = 0; // of the scope's ports that it is qualified with; 0: with none
      bool isInstalled = false;
   };
   struct Number {
      uint32_t rule = 0;
      uint32_t subRule = 0;
      auto operator<=>( const Number& ) const = default;
   };

   // The state before a sub-rule, to return to.
   struct Mark {
      size_t entries = 0;
      size_t checkers = 0;
   };

   Mark start( const Number& number ) const;
   template < typename Write >
   Ixo::AclCreateError entryNew( uint32_t scope, const Zol::String& name, Write write );
   Ixo::AclCreateError finish( const Mark& before, const Number& number,
         Ixo::AclCreateError error, Karvel::AclEntryList& list );
   void takeBack( const Mark& before );

   Shim::Rc qualify();
   Shim::Rc qualifyClass( const Entry& entry, uint32_t bit );
   Shim::Rc qualifyPorts(
         const Entry& entry, const Shim::PortBitmap& pbmp, const Shim::PortBitmap& mask );
   Shim::Rc install();
   Shim::Rc install( Entry& entry );
   Shim::Rc dropLostPorts( size_t first, bool gains );
   Shim::Rc uninstall( Entry& entry );
   void uninstallAll();

   AclResources& resources_;
   const Acl::AclType type_;
   Zol::Ptr< TcamGroup > group_;
   AclPorts ports_;
   HeldCheckers checkers_;
   Number last_;
   std::vector< Entry > entries_; // in the order of the rules
};

} // namespace AgentServices
