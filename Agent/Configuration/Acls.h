#pragma once

// ACL_TABLE and ACL_RULE while a configuration is made: the tables with their rules, and what
// they have to do with mirror sessions.

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Agent/Configuration/Configuration.h"
#include "Agent/Configuration/Fields.h"
#include "Agent/Configuration/Schema.h"

namespace Agent {

struct AclRuleDraft {
   // The kind of ACL that the rule stands in: of frames that a table's own kinds do not have,
   // the one for MAC addresses.
   Acl::AclType type = Acl::AclType::none;
   Acl::RuleConfig config; // without its action and its interfaces; ruleId is the priority
   PacketAction action = PacketAction::other;
   std::string mirrorTo;                // a session; empty: none
   bool isLimited = false;              // only on `inPorts`, which may be none
   std::vector< Plix::IntfId > inPorts; // none within another
   bool isRefused = false;              // it matches nothing, and shields nothing
   Place place;
};

struct AclTableDraft {
   std::string name;
   std::string typeText;
   std::vector< Acl::AclType > types; // none: this agent leaves such tables alone
   AclStage stage = AclStage::ingress;
   std::vector< Plix::IntfId > interfaces; // of a table that sessions use; none within another
   std::vector< AclRuleDraft > rules;      // in the order in which they are tried
   std::set< std::string > feeds;          // the sessions that its rules mirror to
   std::set< std::string > namedBy;        // the sessions that filter their sources by it
   Place place;

   bool isServed() const { return !types.empty(); }
   // How many sessions have an ACL of their own from it.
   size_t users() const;
};

using AclTableDrafts = std::map< std::string, AclTableDraft >;

// The rule with what it matches on, for each kind of ACL that it stands in. A rule with a field
// that its table or protocol does not have, or that no chip here can match on, is refused.
std::vector< AclRuleDraft > readAclMatch(
      EntryReader& reader, const AclTableDraft& table, const AclRuleDraft& rule );

// Limits a rule to an outer VLAN; false if it is for another one already.
bool limitToVlan( Acl::RuleConfig& rule, Acl::AclType type, uint16_t vlanId );

} // namespace Agent
