// What a session mirrors of its sources, and of the ACLs that feed it.

#include <algorithm>

#include "Agent/Configuration/Draft.h"
#include "Agent/Configuration/Names.h"
#include "Agent/Configuration/Values.h"

namespace Agent {

namespace {

constexpr size_t mostMatches = 256;

using Interfaces = std::vector< Plix::IntfId >;

// Appends a rule as it is on an ACL's interfaces: none if it is for others, several if it is
// for sub-interfaces with different VLANs of ports that the ACL has as a whole.
void appendRule( const AclRuleDraft& rule, Acl::RuleAction action, const Interfaces& interfaces,
      std::vector< Acl::RuleConfig >& rules ) {
   if ( !rule.isLimited ) {
      rules.push_back( rule.config );
      rules.back().actionIs( action );
      return;
   }
   std::map< uint16_t, Interfaces > byVlan; // 0: no VLAN besides the interface's own
   for ( const Plix::IntfId& in : rule.inPorts ) {
      auto at =
            std::lower_bound( interfaces.begin(), interfaces.end(), Plix::IntfId( in.port() ) );
      for ( ; at != interfaces.end() && at->port() == in.port(); ++at ) {
         if ( *at == in || !in.isSubIntf() ) {
            byVlan[ 0 ].push_back( *at );
         } else if ( !at->isSubIntf() ) {
            byVlan[ in.vlanId() ].push_back( *at );
         }
      }
   }
   for ( const auto& [ vlanId, limitedTo ] : byVlan ) {
      Acl::RuleConfig limited = rule.config;
      limited.actionIs( action );
      for ( const Plix::IntfId& interface : limitedTo ) {
         limited.intfIs( interface );
      }
      if ( vlanId == 0 || limitToVlan( limited, rule.type, vlanId ) ) {
         rules.push_back( std::move( limited ) );
      }
   }
}

std::optional< Masked< Plix::IpAddr > > parseSide( std::string_view text ) {
   while ( text.starts_with( ' ' ) ) {
      text.remove_prefix( 1 );
   }
   while ( text.ends_with( ' ' ) ) {
      text.remove_suffix( 1 );
   }
   return sameText( text, "any" ) ? Masked< Plix::IpAddr >() : parsePrefix( text );
}

std::optional< SessionMatch > parseMatch( std::string_view text ) {
   const size_t arrow = text.find( '>' );
   if ( arrow == std::string_view::npos ) {
      return std::nullopt;
   }
   const auto from = parseSide( text.substr( 0, arrow ) );
   const auto to = parseSide( text.substr( arrow + 1 ) );
   const Plix::IpAddr any;
   if ( !from || !to || ( from->mask == any && to->mask == any ) ) {
      return std::nullopt;
   }
   return SessionMatch{ from->value, from->mask, to->value, to->mask };
}

class FilterReader {
 public:
   FilterReader( Draft& draft, EntryReader& reader, SessionConfig& session,
         std::vector< std::string >& reasons )
         : draft_( draft ), fields_( schema().session ), reader_( reader ), session_( session ),
           reasons_( reasons ),
           isFiltered_( reader.has( fields_.acl ) || reader.has( fields_.match ) ) {}

   void read() {
      session_.mirrorsSources = !session_.sources.empty() && !isFiltered_;
      if ( isFiltered_ ) {
         readSources();
         readNamedTables();
         readMatches();
      }
      for ( const auto& [ name, table ] : draft_.acls ) {
         if ( table.feeds.contains( session_.name ) ) {
            addFeedingTable( table );
         }
      }
      std::sort( session_.acls.begin(), session_.acls.end(),
            []( const auto& left, const auto& right ) { return left.key < right.key; } );
      checkEgress();
      if ( session_.sources.empty() && !isFiltered_ && !isFed_ && !asksEgress() ) {
         reasons_.push_back( "fed by ACL rules only (it has no src_port), and no rule of a "
                             "table with ports mirrors to it" );
      }
   }

 private:
   void readSources() {
      if ( splitList( reader_.text( fields_.srcPort ) ).empty() ) {
         reader_.error( fields_.srcPort, "missing; allowed: what acl and match are to filter" );
      }
      session_.filteredInterfaces = draft_.interfacesOf( session_.sources );
   }

   void readNamedTables() {
      std::map< Acl::AclType, std::string > names;
      for ( const std::string& name : reader_.list( fields_.acl ) ) {
         const auto at = draft_.acls.find( name );
         if ( at == draft_.acls.end() ) {
            reader_.error(
                  fields_.acl, "there is no table " + name + "; allowed: tables of ACL_TABLE" );
            continue;
         }
         const AclTableDraft& table = at->second;
         if ( !table.isServed() ) {
            reasons_.push_back( "tables of type " + table.typeText + " like " + name +
                  " are beyond this chip" );
         } else if ( table.stage == AclStage::egress ) {
            reasons_.push_back( name +
                  " is for egress, and mirroring on ACL egress is beyond "
                  "this chip" );
         } else if ( const std::string other = ofTheSameKind( table, names ); !other.empty() ) {
            reader_.error( fields_.acl,
                  name + " is of the kind of " + other +
                        "; allowed: one table for IPv4, one for IPv6, one for MAC addresses" );
         } else {
            if ( table.rules.empty() ) {
               reader_.warning( fields_.acl, name + " has no rules, so it mirrors nothing" );
            }
            add( table, session_.filteredInterfaces );
         }
      }
   }

   // The table before it that is for the same frames; empty if there is none.
   static std::string ofTheSameKind(
         const AclTableDraft& table, std::map< Acl::AclType, std::string >& names ) {
      for ( Acl::AclType type : table.types ) {
         if ( auto [ first, isNew ] = names.try_emplace( type, table.name ); !isNew ) {
            return first->second;
         }
      }
      return "";
   }

   void addFeedingTable( const AclTableDraft& table ) {
      if ( table.namedBy.contains( session_.name ) ) {
         if ( !table.interfaces.empty() ) {
            reader_.warning( fields_.acl,
                  table.name +
                        " filters src_port; its own ports do not count for this session" );
         }
         return;
      }
      if ( !table.isServed() || table.interfaces.empty() ) {
         return; // said at the table
      }
      isFed_ = true;
      checkLoop( table );
      add( table, onItsChip( table ) );
   }

   bool permits( const AclTableDraft& table, const AclRuleDraft& rule ) const {
      return rule.mirrorTo == session_.name ||
            ( table.namedBy.contains( session_.name ) && rule.action == PacketAction::permit );
   }

   // A rule that copies nothing keeps frames from those below it, unless it is refused.
   void checkShields( const AclTableDraft& table ) {
      const AclRuleDraft* shield = nullptr;
      for ( const AclRuleDraft& rule : table.rules ) {
         const bool copies = permits( table, rule );
         if ( rule.isRefused && !copies && !shield ) {
            shield = &rule;
         } else if ( shield && copies && !rule.isRefused ) {
            reader_.warning( "may copy more than it says: ACL_RULE|" + table.name + "|" +
                  shield->config.name() +
                  ", which keeps frames from the rules below it, is refused" );
            return;
         }
      }
   }

   // The copies are made inside a chip: the one of the destination port or of the sources; of a
   // tunnel without sources the first one that the ports of a table are on.
   Interfaces onItsChip( const AclTableDraft& table ) {
      if ( session_.unit < 0 && session_.isSentAnywhere() ) {
         session_.unit = draft_.configuration.unitOf( table.interfaces.front().port() );
      }
      const int unit = session_.unit;
      Interfaces same;
      std::vector< std::string > others;
      for ( const Plix::IntfId& interface : table.interfaces ) {
         if ( unit < 0 || draft_.configuration.unitOf( interface.port() ) == unit ) {
            same.push_back( interface );
         } else {
            others.push_back( interface.name() );
         }
      }
      if ( !others.empty() ) {
         const std::string text = " is on chip " + std::to_string( unit ) +
               ", so these ports of " + table.name +
               " on other chips are not mirrored to it: " + joined( others );
         if ( session_.isSentAnywhere() ) {
            reader_.warning( "the session" + text );
         } else {
            reader_.warning( fields_.dstPort, session_.destination + text );
         }
      }
      return same;
   }

   void checkLoop( const AclTableDraft& table ) {
      if ( draft_.configuration.unitOf( session_.destination ) < 0 ) {
         return;
      }
      for ( const Plix::IntfId& end : draft_.interfacesOf( { session_.destination } ) ) {
         for ( const Plix::IntfId& interface : table.interfaces ) {
            if ( interface.port() == end.port() ) {
               reader_.error( fields_.dstPort,
                     session_.destination + " shares " + end.port() + " with the ports of " +
                           table.name +
                           ", its copies would be mirrored again; allowed: a port that is "
                           "none of them" );
               return;
            }
         }
      }
   }

   void add( const AclTableDraft& table, const Interfaces& interfaces ) {
      if ( interfaces.empty() || table.rules.empty() ) {
         return;
      }
      checkShields( table );
      for ( Acl::AclType type : { Acl::ip(), Acl::ipv6(), Acl::mac() } ) {
         add( table, type, interfaces );
      }
   }
   void add( const AclTableDraft& table, Acl::AclType type, const Interfaces& interfaces ) {
      std::vector< Acl::RuleConfig > rules;
      rules.reserve( table.rules.size() );
      for ( const AclRuleDraft& rule : table.rules ) {
         if ( rule.type == type && !rule.isRefused ) {
            appendRule( rule,
                  permits( table, rule ) ? Acl::RuleAction::permit : Acl::RuleAction::deny,
                  interfaces, rules );
         }
      }
      if ( rules.empty() ) {
         return;
      }
      SessionAcl acl;
      acl.key = Ixo::AclKey( aclName( table, type ), type );
      acl.interfaces = interfaces;
      acl.rules = keptOrNew( acl.key, std::move( rules ) );
      session_.acls.push_back( std::move( acl ) );
   }

   // Entries are named by it, so the several ACLs of a table have different names.
   std::string aclName( const AclTableDraft& table, Acl::AclType type ) const {
      const std::string kind = type == table.types[ 0 ] ? "" : ":" + Zol::toString( type );
      return table.name + kind + ( table.users() > 1 ? "/" + session_.name : "" );
   }

   Zol::Ptr< const Acl::RuleList > keptOrNew(
         const Ixo::AclKey& key, std::vector< Acl::RuleConfig > rules ) const {
      const auto before = draft_.previous.sessions.find( session_.name );
      if ( before != draft_.previous.sessions.end() ) {
         for ( const SessionAcl& acl : before->second.acls ) {
            if ( acl.key == key && acl.rules->rules == rules ) {
               return acl.rules;
            }
         }
      }
      return Zol::make< const Acl::RuleList >( std::move( rules ) );
   }

   void readMatches() {
      const std::vector< std::string > written = reader_.list( fields_.match );
      if ( written.size() > mostMatches ) {
         reader_.error( fields_.match,
               "there are " + std::to_string( written.size() ) + "; allowed: up to " +
                     std::to_string( mostMatches ) );
         return;
      }
      for ( const std::string& text : written ) {
         if ( auto match = parseMatch( text ) ) {
            session_.matches.push_back( *match );
         } else {
            reader_.error( fields_.match,
                  "'" + text +
                        "'; allowed: SOURCE>DESTINATION, each an IPv4 address, a prefix like "
                        "10.0.0.0/8, or any, and not both any" );
         }
      }
      for ( const Plix::IntfId& interface : session_.filteredInterfaces ) {
         if ( interface.isSubIntf() && !session_.matches.empty() ) {
            reasons_.push_back( "a match on the sub-interface " + interface.name() +
                  " is beyond this chip (an acl takes sub-interfaces)" );
            break;
         }
      }
      if ( session_.filteredInterfaces.empty() ) {
         session_.matches.clear(); // a port channel without members
      }
   }

   bool asksEgress() const { return draft_.egressRuleBySession.contains( session_.name ); }

   void checkEgress() {
      const auto rule = draft_.egressRuleBySession.find( session_.name );
      if ( rule != draft_.egressRuleBySession.end() ) {
         reasons_.push_back( "mirroring on ACL egress, which " + rule->second +
               " asks for, is beyond this chip" );
      }
      const bool isEgress =
            reader_.has( fields_.direction ) && session_.direction != SessionDirection::rx;
      if ( isFiltered_ && isEgress ) {
         reasons_.push_back( "acl and match filter what arrives (direction RX); mirroring on "
                             "ACL egress is beyond this chip" );
      }
      if ( isFed_ && session_.sources.empty() && session_.direction == SessionDirection::tx ) {
         reader_.warning( fields_.direction,
               "TX has no effect without src_port: rules mirror what arrives" );
      }
      if ( !session_.mirrorsSources ) {
         session_.direction = SessionDirection::rx;
      }
   }

   Draft& draft_;
   const SessionFields& fields_;
   EntryReader& reader_;
   SessionConfig& session_;
   std::vector< std::string >& reasons_;
   const bool isFiltered_;
   bool isFed_ = false;
};

} // namespace

void readFilters( Draft& draft, EntryReader& reader, SessionConfig& session,
      std::vector< std::string >& reasons ) {
   FilterReader( draft, reader, session, reasons ).read();
}

} // namespace Agent
