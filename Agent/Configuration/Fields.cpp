#include "Agent/Configuration/Fields.h"

#include <algorithm>

#include "Agent/Configuration/Names.h"

namespace Agent {

namespace {

std::string_view trimmed( std::string_view text ) {
   const size_t start = text.find_first_not_of( ' ' );
   if ( start == std::string_view::npos ) {
      return "";
   }
   return text.substr( start, text.find_last_not_of( ' ' ) + 1 - start );
}

} // namespace

std::vector< std::string > splitList( std::string_view text ) {
   std::vector< std::string > parts;
   if ( trimmed( text ).empty() ) {
      return parts;
   }
   while ( true ) {
      const size_t comma = text.find( ',' );
      parts.emplace_back( trimmed( text.substr( 0, comma ) ) );
      if ( comma == std::string_view::npos ) {
         return parts;
      }
      text.remove_prefix( comma + 1 );
   }
}

EntryReader::EntryReader(
      const TableSchema& table, std::string key, const Entry& entry, Findings& findings )
      : table_( table ), key_( std::move( key ) ), entry_( entry ), findings_( findings ) {
   checkNames();
}

void EntryReader::checkNames() {
   for ( const Field& field : entry_.fields ) {
      if ( table_.knows( field.name ) ) {
         continue;
      }
      const auto known = table_.knownNames();
      const std::string meant = nearName( field.name, known );
      meant_.push_back( meant );
      std::vector< std::string_view > rows;
      for ( const FieldSchema* row : table_.fields ) {
         rows.push_back( row->name );
      }
      error( field.name,
            known.empty()          ? "unknown; allowed: no fields"
                  : !meant.empty() ? "unknown; allowed: the nearest known name is " + meant
                                   : "unknown; allowed: " + joined( rows ) );
   }
}

bool EntryReader::isMeant( std::string_view field ) const {
   return has( field ) || std::find( meant_.begin(), meant_.end(), field ) != meant_.end();
}

std::string EntryReader::text( std::string_view field ) const {
   const Field* found = entry_.find( field );
   return found ? found->text : "";
}

std::vector< std::string > EntryReader::list( std::string_view field ) {
   std::vector< std::string > parts = splitList( text( field ) );
   if ( std::erase( parts, "" ) > 0 ) {
      error( field, "an empty name between commas; allowed: names" );
   }
   return parts;
}

Diagnostic EntryReader::about( std::string_view field, const std::string& text ) const {
   const Field* found = entry_.find( field );
   return { found ? found->place : entry_.place,
      table_.name + "|" + key_ + ": " + std::string( field ) + ": " + text };
}

void EntryReader::notAllowed( std::string_view field, std::string_view allowed ) {
   error( field, inQuotes( text( field ) ) + "; allowed: " + std::string( allowed ) );
}

void EntryReader::error( std::string_view field, const std::string& text ) {
   findings_.errors.push_back( about( field, text ) );
}

void EntryReader::warning( std::string_view field, const std::string& text ) {
   findings_.warnings.push_back( about( field, text ) );
}

void EntryReader::error( const std::string& text ) {
   findings_.errors.push_back( { entry_.place, table_.name + "|" + key_ + ": " + text } );
}

void EntryReader::warning( const std::string& text ) {
   findings_.warnings.push_back( { entry_.place, table_.name + "|" + key_ + ": " + text } );
}

void EntryReader::refuse( std::string_view field, const std::string& text ) {
   findings_.refusals.push_back( { about( field, "" ).place, table_.name + "|" + key_,
         std::string( field ) + ": " + text } );
}

void EntryReader::refuse( const std::string& text ) {
   findings_.refusals.push_back( { entry_.place, table_.name + "|" + key_, text } );
}

} // namespace Agent
