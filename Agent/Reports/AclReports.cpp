// What the filters of sessions have become in the chips.

#include <map>

#include "Agent/Reports/AgentReports.h"
#include "Agent/Reports/FieldText.h"

namespace Agent {

namespace {

using ChipModel::EntryView;

// The installed entries of one chip, by the names that the plug-in has given them.
using EntriesByName = std::multimap< std::string, const EntryView* >;

class AclReporter {
 public:
   explicit AclReporter( Runtime& runtime ) : runtime_( runtime ) {}

   std::vector< Report > report() {
      for ( const auto& [ name, session ] : runtime_.configuration().sessions ) {
         const int unit = session.unit;
         const bool isFiltered = !session.acls.empty() || !session.matches.empty();
         if ( session.refused || unit < 0 || !isFiltered ) {
            continue;
         }
         chip_ = runtime_.chips().control().state( unit );
         entries_.clear();
         for ( const EntryView& entry : chip_.entries ) {
            if ( entry.installed ) {
               entries_.emplace( entry.name, &entry );
            }
         }
         addSession( session );
      }
      return { acls_, hardware_ };
   }

 private:
   void addSession( const SessionConfig& session ) {
      for ( const SessionAcl& acl : session.acls ) {
         for ( const Acl::RuleConfig& rule : acl.rules->rules ) {
            addRule( session, acl, rule );
         }
      }
      if ( !session.matches.empty() ) {
         addMatches( session );
      }
   }

   static std::vector< std::string > namesOf( const auto& interfaces ) {
      std::vector< std::string > names;
      for ( const Plix::IntfId& interface : interfaces ) {
         names.push_back( interface.name() );
      }
      return names;
   }

   void addRule(
         const SessionConfig& session, const SessionAcl& acl, const Acl::RuleConfig& rule ) {
      const auto [ first, last ] =
            entries_.equal_range( session.name + " " + acl.key.aclName() + "|" + rule.name() );
      const Sum sum = addEntries( session.name, acl.key.aclName(), rule.name(), first, last );
      acls_.rows.push_back(
            { session.name, acl.key.aclName(), Zol::toString( acl.key.aclType() ),
                  namesOf( acl.interfaces ), rule.name(), int64_t( rule.ruleId() ),
                  rule.action() == Acl::RuleAction::permit ? "mirror" : "leave alone",
                  sum.entries, sum.packets, sum.bytes } );
   }

   void addMatches( const SessionConfig& session ) {
      const auto [ first, last ] = entries_.equal_range( session.name );
      const Sum sum = addEntries( session.name, plainMatch(), Cell(), first, last );
      acls_.rows.push_back(
            { session.name, plainMatch(), "ip", namesOf( session.filteredInterfaces ), Cell(),
                  Cell(), "mirror", sum.entries, sum.packets, sum.bytes } );
   }

   // In the place of an ACL's name.
   static Cell plainMatch() { return { Value(), "(match)" }; }

   struct Sum {
      int64_t entries = 0;
      int64_t packets = 0;
      int64_t bytes = 0;
   };

   Sum addEntries( const std::string& session, const Cell& acl, const Cell& rule,
         EntriesByName::const_iterator first, EntriesByName::const_iterator last ) {
      Sum sum;
      for ( auto at = first; at != last; ++at ) {
         const EntryView& entry = *at->second;
         const auto packets = static_cast< int64_t >( entry.packets );
         const auto bytes = static_cast< int64_t >( entry.bytes );
         hardware_.rows.push_back( { session, acl, rule, int64_t( entry.id ),
               int64_t( entry.priority ), matchCell( runtime_, chip_, entry ),
               actionsCell( runtime_, chip_, entry.actions ), packets, bytes } );
         ++sum.entries;
         sum.packets += packets;
         sum.bytes += bytes;
      }
      return sum;
   }

   Runtime& runtime_;
   ChipModel::ChipState chip_; // of the session in hand
   EntriesByName entries_;
   Report acls_{ "acls",
      { "session", "acl", "type", "interfaces", "rule", "priority", "does", "entries",
            "packets", "bytes" },
      {}, "no session is filtered" };
   Report hardware_{ "acl entries",
      { "session", "acl", "rule", "entry", "priority", "matches", "action", "packets",
            "bytes" },
      {}, "no entry of a filter is installed" };
};

} // namespace

std::vector< Report > aclReports( Runtime& runtime ) { return AclReporter( runtime ).report(); }

} // namespace Agent
