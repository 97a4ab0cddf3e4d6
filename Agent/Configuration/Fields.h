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

struct Findings {
   std::vector< Diagnostic > errors;
   std::vector< Diagnostic > warnings;
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

   // None, or the default, if the field is absent or wrong.
   template < typename T >
   std::optional< T > read( const ValueField< T >& field ) {
      return parsed( field, field.parse, field.allowed );
   }
   template < typename T >
   T read( const DefaultedField< T >& field ) {
      return parsed( field, field.parse, field.allowed ).value_or( field.value );
   }

   std::string text( std::string_view field ) const; // empty if absent
   // Empty if absent. An empty part between two commas is an error.
   std::vector< std::string > list( std::string_view field );

   // What `parse` makes of the text, an optional; none if absent. `allowed` is for the error.
   template < typename Parser >
   auto parsed( std::string_view field, const Parser& parse, std::string_view allowed )
         -> decltype( parse( std::string_view() ) );
   // For fields whose rows are not in Schema.h.
   std::optional< int64_t > number( std::string_view field, int64_t low, int64_t high );
   template < typename T >
   std::optional< T > choice( std::string_view field, Choices< T > choices );

   // At the field's place, or the entry's if the field is absent.
   void notAllowed( std::string_view field, std::string_view allowed ); // quotes the field
   void error( std::string_view field, const std::string& text );
   void warning( std::string_view field, const std::string& text );
   // About the entry as a whole.
   void error( const std::string& text );
   void warning( const std::string& text );

 private:
   Diagnostic about( std::string_view field, const std::string& text ) const;
   void checkNames();

   const TableSchema& table_;
   std::string key_;
   const Entry& entry_;
   Findings& findings_;
};

template < typename T >
std::optional< T > EntryReader::choice( std::string_view field, Choices< T > choices ) {
   if ( !has( field ) ) {
      return std::nullopt;
   }
   const ValueKind< T > kind( choices );
   return parsed( field, kind.parse, kind.allowed );
}

template < typename Parser >
auto EntryReader::parsed( std::string_view field, const Parser& parse,
      std::string_view allowed ) -> decltype( parse( std::string_view() ) ) {
   const Field* found = entry_.find( field );
   if ( !found ) {
      return {};
   }
   auto value = parse( std::string_view( found->text ) );
   if ( !value ) {
      notAllowed( field, allowed );
   }
   return value;
}

} // namespace Agent
