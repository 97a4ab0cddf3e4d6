#pragma once

// Checked reading of one entry's fields. A field that is absent has its default; one that
// is wrong is said once, with its place and with what is allowed, and has its default, too,
// so that reading goes on and finds what else is wrong.
//
//    EntryReader session( "MIRROR_SESSION", "mirror1", entry, findings );
//    const auto queue = session.number( "queue", 0, 7 ).value_or( 0 );

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Agent/Configuration/ConfigTables.h"
#include "Agent/Configuration/Configuration.h"

namespace Agent {

struct Findings {
   std::vector< Diagnostic > errors;
   std::vector< Diagnostic > warnings;
};

// Decimal or 0x hexadecimal, nothing else around it; none otherwise or beyond 64 bits.
std::optional< uint64_t > parseNumber( std::string_view text );

// The parts between the commas, without the blanks around them.
std::vector< std::string > splitList( std::string_view text );

class EntryReader {
 public:
   // The entry and the findings outlive the reader. Fields that no one knows are errors
   // from the start.
   EntryReader( std::string table, std::string key, const Entry& entry, Findings& findings );

   const std::string& key() const { return key_; }
   const Place& place() const { return entry_.place; }
   const Entry& entry() const { return entry_; }
   bool has( std::string_view field ) const { return entry_.find( field ) != nullptr; }

   std::string text( std::string_view field ) const; // empty if absent
   // Absent: none.
   std::optional< int64_t > number( std::string_view field, int64_t low, int64_t high );
   // A name in any case, and what it stands for.
   template < typename T >
   using Choices = std::initializer_list< std::pair< std::string_view, T > >;
   template < typename T >
   std::optional< T > choice( std::string_view field, Choices< T > choices );
   // Empty if absent. An empty part between two commas is an error.
   std::vector< std::string > list( std::string_view field );

   // What `parse` makes of the text, an optional; none if absent. `allowed` is for the error.
   template < typename Parse >
   auto parsed( std::string_view field, Parse parse, std::string_view allowed )
         -> decltype( parse( std::string_view() ) );

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
   std::optional< size_t > choiceIndex(
         std::string_view field, const std::vector< std::string_view >& names );

   std::string table_;
   std::string key_;
   const Entry& entry_;
   Findings& findings_;
};

template < typename T >
std::optional< T > EntryReader::choice( std::string_view field, Choices< T > choices ) {
   if ( !has( field ) ) {
      return std::nullopt;
   }
   std::vector< std::string_view > names;
   for ( const auto& [ name, value ] : choices ) {
      names.push_back( name );
   }
   const auto index = choiceIndex( field, names );
   return index ? std::optional< T >( choices.begin()[ *index ].second ) : std::nullopt;
}

template < typename Parse >
auto EntryReader::parsed( std::string_view field, Parse parse, std::string_view allowed )
      -> decltype( parse( std::string_view() ) ) {
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
