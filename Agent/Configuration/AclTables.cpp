// ACL_TABLE: the tables, where they are applied, and which sessions use them.

#include <algorithm>

#include "Agent/Configuration/Draft.h"
#include "Agent/Configuration/Names.h"

namespace Agent {

namespace {

constexpr size_t longestName = 255;

// Types that the convention has besides those that ACL_TABLE_TYPE makes.
constexpr std::string_view otherTypes[] = { "L3V4V6", "CTRLPLANE", "PFCWD", "MCLAG", "MUX",
   "DROP", "MARK_META", "MARK_META_V6", "EGR_SET_DSCP", "UNDERLAY_SET_DSCP",
   "UNDERLAY_SET_DSCPV6", "DTEL_FLOW_WATCHLIST", "DTEL_DROP_WATCHLIST", "BMCDATA", "BMCDATAV6",
   "INNER_SRC_MAC_REWRITE_TABLE_TYPE" };

bool isOtherType( const Draft& draft, const std::string& text ) {
   return draft.table( schema().aclTableType.name ).contains( text ) ||
         std::any_of( std::begin( otherTypes ), std::end( otherTypes ),
               [ & ]( std::string_view other ) { return sameText( text, other ); } );
}

std::vector< Acl::AclType > readTypes( Draft& draft, EntryReader& reader ) {
   const auto& field = schema().aclTable.type;
   const std::string text = reader.text( field );
   if ( const auto served = field.parse( text ) ) {
      return *served;
   }
   const std::string allowed = field.allowed + "; types of ACL_TABLE_TYPE are left alone";
   if ( !reader.has( field ) ) {
      reader.error( field, "missing; allowed: " + allowed );
   } else if ( !isOtherType( draft, text ) ) {
      reader.notAllowed( field, allowed );
   }
   return {};
}

// A table's name and a session's, with a slash between them, name the ACL of one of several
// sessions, so a slash would make that ambiguous.
bool isTableName( const std::string& name ) {
   return !name.empty() && name.size() <= longestName &&
         std::all_of( name.begin(), name.end(), []( char c ) {
            return isLetterOrDigit( c ) || c == '-' || c == '_' || c == '.';
         } );
}

// Some rule of the table mirrors what arrives, or a session names it.
bool isUsed( const Draft& draft, const std::string& table ) {
   const AclRuleFields& fields = schema().aclRule;
   const auto& rules = draft.table( fields.name );
   for ( auto at = rules.lower_bound( table + "|" );
         at != rules.end() && at->first.starts_with( table + "|" ); ++at ) {
      if ( at->second.find( fields.mirrorIngressAction ) ||
            at->second.find( fields.mirrorAction ) ) {
         return true;
      }
   }
   return !draft.acls.at( table ).namedBy.empty();
}

void readTable( Draft& draft, const std::string& name, const Entry& entry ) {
   const AclTableFields& fields = schema().aclTable;
   EntryReader reader( fields, name, entry, draft.findings );
   AclTableDraft& table = draft.acls[ name ];
   table.name = name;
   table.place = entry.place;
   table.typeText = reader.text( fields.type );
   table.types = readTypes( draft, reader );
   table.stage = reader.read( fields.stage );
   if ( table.isServed() && !isTableName( name ) ) {
      reader.error( "not a table's name; allowed: up to " + std::to_string( longestName ) +
            " letters, digits, '-', '_' and '.'" );
   }
   // Files in the field apply tables that do nothing to ports that are not there.
   if ( table.isServed() && isUsed( draft, name ) ) {
      table.interfaces = draft.interfacesOf( draft.interfaceList( reader, fields.ports ) );
   }
}

void warn( Draft& draft, const AclTableDraft& table, const std::string& text ) {
   draft.findings.warnings.push_back(
         { table.place, "ACL_TABLE|" + table.name + ": " + text } );
}

// What its rules ask for and what does not happen.
void checkFeeds( Draft& draft, const AclTableDraft& table ) {
   const AclTableFields& fields = schema().aclTable;
   std::vector< std::string > fed( table.feeds.begin(), table.feeds.end() );
   std::erase_if( fed, [ & ]( const auto& name ) { return table.namedBy.contains( name ); } );
   if ( fed.empty() ) {
      return;
   }
   if ( !table.isServed() ) {
      warn( draft, table,
            "type: its rules do not mirror to " + joined( fed ) +
                  ", since this agent leaves tables of type " + table.typeText + " alone" );
   } else if ( splitList( draft.table( fields.name ).at( table.name ).text( fields.ports ) )
                     .empty() ) {
      warn( draft, table, "ports: none, so its rules mirror nothing to " + joined( fed ) );
   }
}

} // namespace

size_t AclTableDraft::users() const {
   std::set< std::string > all = feeds;
   all.insert( namedBy.begin(), namedBy.end() );
   return all.size();
}

void readAcls( Draft& draft ) {
   const Table& tables = draft.table( schema().aclTable.name );
   const SessionFields& sessions = schema().session;
   for ( const auto& [ session, entry ] : draft.table( sessions.name ) ) {
      for ( const std::string& table : splitList( entry.text( sessions.acl ) ) ) {
         if ( tables.contains( table ) ) {
            draft.acls[ table ].namedBy.insert( session );
         }
      }
   }
   for ( const auto& [ name, entry ] : tables ) {
      readTable( draft, name, entry );
   }
   readAclRules( draft );
   for ( const auto& [ name, table ] : draft.acls ) {
      checkFeeds( draft, table );
   }
}

} // namespace Agent
