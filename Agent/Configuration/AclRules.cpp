// ACL_RULE: the rules of the tables, in the order in which they are tried, and the sessions
// that they mirror to.

#include <algorithm>

#include "Agent/Configuration/Draft.h"
#include "Agent/Configuration/Names.h"
#include "Agent/Configuration/Schema.h"

namespace Agent {

namespace {

class RuleReader {
 public:
   RuleReader( Draft& draft, AclTableDraft& table, const std::string& key,
         const std::string& name, const Entry& entry )
         : draft_( draft ), table_( table ), fields_( schema().aclRule ),
           reader_( fields_, key, entry, draft.findings ) {
      rule_.place = entry.place;
      rule_.config.nameIs( name );
   }

   void read() {
      readPriority();
      readPacketAction();
      readMirrorActions();
      readInPorts();
      for ( AclRuleDraft& rule : readAclMatch( reader_, table_, rule_ ) ) {
         if ( !rule.mirrorTo.empty() && !rule.isRefused ) {
            table_.feeds.insert( rule.mirrorTo );
         }
         table_.rules.push_back( std::move( rule ) );
      }
   }

 private:
   void readPriority() {
      if ( !reader_.has( fields_.priority ) ) {
         reader_.error( fields_.priority,
               "missing; allowed: " + fields_.priority.allowed +
                     ", the higher is tried first" );
      }
      rule_.config.ruleIdIs( reader_.read( fields_.priority ).value_or( 0 ) );
   }

   void readPacketAction() {
      if ( reader_.text( fields_.packetAction ).starts_with( "REDIRECT:" ) ) {
         return; // and the interface or next hop to send to
      }
      rule_.action = reader_.read( fields_.packetAction ).value_or( PacketAction::other );
   }

   void readMirrorActions() {
      const std::string older = session( fields_.mirrorAction );
      const std::string ingress = session( fields_.mirrorIngressAction );
      const std::string egress = session( fields_.mirrorEgressAction );
      if ( !older.empty() && !ingress.empty() && older != ingress ) {
         reader_.error( fields_.mirrorAction,
               "not the session of MIRROR_INGRESS_ACTION, and means the same; allowed: one of "
               "the two" );
      }
      rule_.mirrorTo = ingress.empty() ? older : ingress;
      if ( table_.stage == AclStage::egress ) {
         askEgress( rule_.mirrorTo );
         rule_.mirrorTo.clear();
      }
      askEgress( egress );
   }
   void askEgress( const std::string& session ) {
      if ( !session.empty() ) {
         draft_.egressRuleBySession.try_emplace( session, "ACL_RULE|" + reader_.key() );
      }
   }
   std::string session( std::string_view field ) {
      if ( !reader_.has( field ) ) {
         return "";
      }
      const std::string name = reader_.text( field );
      if ( !draft_.table( "MIRROR_SESSION" ).contains( name ) ) {
         reader_.error( field,
               "there is no session " + ( name.empty() ? "without a name" : name ) +
                     "; allowed: a session of MIRROR_SESSION" );
         return "";
      }
      return name;
   }

   void readInPorts() {
      const TextField& field = fields_.match.inPorts;
      if ( splitList( reader_.text( field ) ).empty() ) {
         return;
      }
      rule_.isLimited = true;
      rule_.inPorts = draft_.interfacesOf( draft_.interfaceList( reader_, field ) );
      const bool meets = std::any_of(
            rule_.inPorts.begin(), rule_.inPorts.end(), [ this ]( const Plix::IntfId& in ) {
               return std::any_of( table_.interfaces.begin(), table_.interfaces.end(),
                     [ & ]( const Plix::IntfId& intf ) {
                        return in.port() == intf.port() &&
                              ( !in.isSubIntf() || !intf.isSubIntf() || in == intf );
                     } );
            } );
      if ( !rule_.mirrorTo.empty() && !rule_.inPorts.empty() && !table_.interfaces.empty() &&
            !meets && !table_.namedBy.contains( rule_.mirrorTo ) ) {
         reader_.warning( field,
               "none of them is in the ports of " + table_.name +
                     ", so the rule mirrors nothing" );
      }
   }

   Draft& draft_;
   AclTableDraft& table_;
   const AclRuleFields& fields_;
   EntryReader reader_;
   AclRuleDraft rule_;
};

// Rules of tables that the agent leaves alone count only with what they mirror.
void noteFeed( AclTableDraft& table, const Entry& rule ) {
   const AclRuleFields& fields = schema().aclRule;
   for ( const FieldSchema* action :
         { &fields.mirrorAction, &fields.mirrorIngressAction, &fields.mirrorEgressAction } ) {
      if ( const Field* field = rule.find( *action ) ) {
         table.feeds.insert( field->text );
      }
   }
}

void readRule( Draft& draft, const std::string& key, const Entry& entry ) {
   const EntryName names = entryName( key );
   const auto table = draft.acls.find( names.table );
   auto error = [ & ]( const std::string& text ) {
      draft.findings.errors.push_back( { entry.place, "ACL_RULE|" + key + ": " + text } );
   };
   if ( names.key.empty() ) {
      error( "not a rule's key; allowed: a table of ACL_TABLE, a bar, and a name" );
   } else if ( table == draft.acls.end() ) {
      error( "there is no table " + names.table + "; allowed: a table of ACL_TABLE" );
   } else if ( table->second.isServed() ) {
      RuleReader( draft, table->second, key, names.key, entry ).read();
   } else {
      noteFeed( table->second, entry );
   }
}

// Said once for a table: there may be thousands of them. A table that is applied nowhere only
// tells sessions what not to mirror.
void sayUnfiltered( Draft& draft, const AclTableDraft& table ) {
   const AclTableFields& fields = schema().aclTable;
   const auto drops = std::find_if( table.rules.begin(), table.rules.end(),
         []( const AclRuleDraft& rule ) { return rule.action == PacketAction::deny; } );
   if ( drops != table.rules.end() &&
         !splitList( draft.table( fields.name ).at( table.name ).text( fields.ports ) )
                .empty() ) {
      draft.findings.warnings.push_back( { drops->place,
            "ACL_RULE|" + table.name + "|" + drops->config.name() +
                  ": PACKET_ACTION: DROP filters no traffic here: this agent mirrors only" } );
   }
}

void orderRules( Draft& draft, AclTableDraft& table ) {
   auto& rules = table.rules;
   std::sort( rules.begin(), rules.end(), []( const auto& left, const auto& right ) {
      const uint32_t leftPriority = left.config.ruleId();
      const uint32_t rightPriority = right.config.ruleId();
      return leftPriority != rightPriority
            ? leftPriority > rightPriority
            : NaturalLess()( left.config.name(), right.config.name() );
   } );
   auto same = []( const AclRuleDraft& left, const AclRuleDraft& right ) {
      return left.config.ruleId() == right.config.ruleId() &&
            left.config.name() != right.config.name();
   };
   const auto first = std::adjacent_find( rules.begin(), rules.end(), same );
   if ( first == rules.end() || table.users() == 0 ) {
      return;
   }
   // Said once for a table: there may be thousands of them.
   const auto next = std::next( first );
   draft.findings.warnings.push_back( { next->place,
         "ACL_RULE|" + table.name + "|" + next->config.name() + ": PRIORITY: " +
               std::to_string( next->config.ruleId() ) + " is that of " + first->config.name() +
               ", too; rules of the same priority are tried in the order of their names" } );
}

} // namespace

void readAclRules( Draft& draft ) {
   for ( const auto& [ key, entry ] : draft.table( "ACL_RULE" ) ) {
      readRule( draft, key, entry );
   }
   for ( auto& [ name, table ] : draft.acls ) {
      orderRules( draft, table );
      sayUnfiltered( draft, table );
   }
   for ( const Tables::RepeatedRule& rule : draft.tables.repeatedRules ) {
      const auto table = draft.acls.find( entryName( rule.key ).table );
      if ( table == draft.acls.end() || table->second.isServed() ) {
         draft.findings.errors.push_back( rule.error );
      }
   }
}

} // namespace Agent
