#pragma once

// What a field of config_db.json is: its name, what it may hold, and what it is if it is absent.
// The rows of all tables are in Schema.h, with those of AclMatchFields.h. A row is the handle by which a field is read:
//
//    const SessionFields& fields = schema().session;
//    session.queue = reader.read( fields.queue ); // within its range; none if it is absent

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Agent/Configuration/Names.h"
#include "Agent/Configuration/Values.h"
#include "Platform/Zol/Assert.h"

namespace Agent {

struct FieldSchema;

// A table of config_db.json. Its fields are members of the struct that is derived from it.
struct TableSchema {
   explicit TableSchema( std::string tableName ) : name( std::move( tableName ) ) {}
   TableSchema( const TableSchema& ) = delete;
   TableSchema& operator=( const TableSchema& ) = delete;

   const FieldSchema* find( std::string_view field ) const; // null if it has no row
   bool knows( std::string_view field ) const;
   std::vector< std::string_view > knownNames() const;

   std::string name;
   std::vector< const FieldSchema* > fields;
   // The convention has them, too, and mirroring does not need them: they have no effect.
   std::vector< std::string_view > others;
   // Devices say much about themselves in some tables: there, anything else is passed over.
   bool isOpen = false;
};

struct NumberRange {
   int64_t low;
   int64_t high;
};

// Also the row of a text or a list that only the reader of its table can check.
struct FieldSchema {
   FieldSchema( TableSchema& table, std::string_view fieldName, std::string_view fieldDefault,
         std::string_view fieldDoc, std::string_view fieldOnlyFor = "" )
         : name( fieldName ), byDefault( fieldDefault ), doc( fieldDoc ),
           onlyFor( fieldOnlyFor ) {
      table.fields.push_back( this );
   }
   FieldSchema( const FieldSchema& ) = delete;
   FieldSchema& operator=( const FieldSchema& ) = delete;
   operator std::string_view() const { return name; }

   std::string_view name;
   // Of the documentation: the default's text, or words for what it means that there is none;
   // what it says behind `allowed`.
   std::string_view byDefault;
   std::string_view doc;
   std::string_view onlyFor; // entries of these types, a list; empty: of all types

   std::string allowed; // as errors say it; empty: see the reader of the table
   std::function< bool( std::string_view ) > accepts; // a text; none: see the same
   std::optional< NumberRange > range; // of numbers; of those with a mask, without it
};
using TextField = FieldSchema;

// A name in any case, and what it stands for.
template < typename T >
using Choices = std::initializer_list< std::pair< std::string_view, T > >;

// What is made of a field's text: none if that is not allowed.
template < typename T >
using Parse = std::function< std::optional< T >( std::string_view ) >;

template < typename T >
struct ValueKind {
   ValueKind( NumberRange numbers );
   ValueKind( Choices< T > choices );
   ValueKind( std::string allowedTexts, Parse< T > parseText )
         : allowed( std::move( allowedTexts ) ), parse( std::move( parseText ) ) {}

   std::string allowed;
   Parse< T > parse;
   std::optional< NumberRange > range;
};

// Without a default: what is absent is none.
template < typename T >
struct ValueField : FieldSchema {
   ValueField( TableSchema& table, std::string_view fieldName, ValueKind< T > kind,
         std::string_view fieldDefault, std::string_view fieldDoc,
         std::string_view fieldOnlyFor = "" )
         : FieldSchema( table, fieldName, fieldDefault, fieldDoc, fieldOnlyFor ),
           parse( std::move( kind.parse ) ) {
      allowed = std::move( kind.allowed );
      range = kind.range;
      accepts = [ this ]( std::string_view text ) { return parse( text ).has_value(); };
   }
   Parse< T > parse;
};

// `byDefault` is a text that the field could hold.
template < typename T >
struct DefaultedField : ValueField< T > {
   template < typename... Columns >
   explicit DefaultedField( TableSchema& table, std::string_view fieldName, ValueKind< T > kind,
         Columns... columns )
         : ValueField< T >( table, fieldName, std::move( kind ), columns... ) {
      const std::optional< T > parsed = this->parse( this->byDefault );
      ZOL_ASSERT( parsed );
      value = *parsed;
   }
   T value{};
};

template < typename T >
ValueKind< T >::ValueKind( NumberRange numbers )
      : allowed( std::to_string( numbers.low ) + " to " + std::to_string( numbers.high ) ),
        range( numbers ) {
   ZOL_ASSERT( std::in_range< T >( numbers.high ) );
   parse = [ numbers ]( std::string_view text ) -> std::optional< T > {
      const auto value = parseNumber( text );
      if ( !value || std::cmp_less( *value, numbers.low ) ||
            std::cmp_greater( *value, numbers.high ) ) {
         return std::nullopt;
      }
      return static_cast< T >( *value );
   };
}

template < typename T >
ValueKind< T >::ValueKind( Choices< T > choices ) {
   std::vector< std::string_view > names;
   for ( const auto& choice : choices ) {
      names.push_back( choice.first );
   }
   allowed = joined( names );
   parse = [ all = std::vector< std::pair< std::string_view, T > >( choices ) ](
                 std::string_view text ) -> std::optional< T > {
      for ( const auto& [ name, value ] : all ) {
         if ( sameText( text, name ) ) {
            return value;
         }
      }
      return std::nullopt;
   };
}

} // namespace Agent
