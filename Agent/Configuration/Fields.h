#pragma once

// Checked reading of one entry's fields. A field that is absent has its default; one that
// is wrong is said once, with its place and with what is allowed, and has its default, too,
// so that reading goes on and finds what else is wrong.
//
//    EntryReader reader( schema().session, "mirror1", entry, findings );
//    tunnel.ttl = reader.read( schema().session.ttl );

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Agent/Configuration/ConfigTables.h"
#include "Agent/Configuration/Configuration.h"
#include "Agent/Configuration/FieldSchema.h"

namespace Agent {

// An entry that is well formed and cannot be served: it is left out, and the rest is served.
struct LeftOutEntry {
   Place place;
   std::string entry;  // "TABLE|KEY"
   std::string reason; // of which field, if of one; and what is allowed
   Diagnostic asWarning() const { return { place, entry + ": refused: " + reason }; }
   // Who changes a single entry meant what it says.
   Diagnostic asError() const { return { place, entry + ": " + reason }; }
};

struct Findings {
   std::vector< Diagnostic > errors;
   std::vector< Diagnostic > warnings;
   std::vector< LeftOutEntry > refusals;
};

// The parts between the commas, without the blanks around them.
std::vector< std::string > splitList( std::string_view text );

class EntryReader {
 public:
   // The entry and the findings outlive the reader. Fields that no one knows are errors
   // from the start.
   EntryReader(
         const TableSchema& table, std::string key, const Entry& entry, Findings& findings );

   const std::string& key() const { return key_; }
   const Place& place() const { return entry_.place; }
   const Entry& entry() const { return entry_; }
   bool has( std::string_view field ) const { return entry_.find( field ) != nullptr; }
   // Also if it is mistyped, which has been said: then it is not missing.
   bool isMeant( std::string_view field ) const;

   // None, or the default, if the field is absent or wrong.
   template < typename T >
   std::optional< T > read( const ValueField< T >& field );
   template < typename T >
   T read( const DefaultedField< T >& field ) {
      return read( static_cast< const ValueField< T >& >( field ) ).value_or( field.value );
   }

   std::string text( std::string_view field ) const; // empty if absent
   // Empty if absent. An empty part between two commas is an error.
   std::vector< std::string > list( std::string_view field );

   // At the field's place, or the entry's if the field is absent.
   void notAllowed( std::string_view field, std::string_view allowed ); // quotes the field
   void error( std::string_view field, const std::string& text );
   void warning( std::string_view field, const std::string& text );
   void refuse( std::string_view field, const std::string& text );
   // About the entry as a whole.
   void error( const std::string& text );
   void warning( const std::string& text );
   void refuse( const std::string& text );

 private:
   Diagnostic about( std::string_view field, const std::string& text ) const;
   void checkNames();

   const TableSchema& table_;
   std::string key_;
   const Entry& entry_;
   Findings& findings_;
   std::vector< std::string > meant_; // by names that no one knows
};

template < typename T >
std::optional< T > EntryReader::read( const ValueField< T >& field ) {
   const Field* found = entry_.find( field );
   if ( !found ) {
      return std::nullopt;
   }
   std::optional< T > value = field.parse( found->text );
   if ( !value ) {
      notAllowed( field, field.allowed );
   }
   return value;
}

} // namespace Agent
