#include "Agent/Configuration/Fields.h"

#include <algorithm>
#include <charconv>

#include "Agent/Configuration/KnownFields.h"
#include "Agent/Configuration/Names.h"
#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

std::string_view trimmed( std::string_view text ) {
   const size_t start = text.find_first_not_of( ' ' );
   if ( start == std::string_view::npos ) {
      return "";
   }
   return text.substr( start, text.find_last_not_of( ' ' ) + 1 - start );
}

// What the user wrote, short enough for one line and without control characters.
std::string quoted( std::string_view text ) {
   constexpr size_t longest = 64;
   std::string shown = "'";
   for ( char c : text.substr( 0, longest ) ) {
      shown += static_cast< unsigned char >( c ) < 0x20 || c == 0x7f ? '?' : c;
   }
   return shown + ( text.size() > longest ? "...'" : "'" );
}

} // namespace

std::optional< uint64_t > parseNumber( std::string_view text ) {
   const bool hex = text.starts_with( "0x" ) || text.starts_with( "0X" );
   if ( hex ) {
      text.remove_prefix( 2 );
   }
   uint64_t value = 0;
   const char* end = text.data() + text.size();
   const auto [ at, error ] = std::from_chars( text.data(), end, value, hex ? 16 : 10 );
   if ( error != std::errc() || at != end ) {
      return std::nullopt;
   }
   return value;
}

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
      std::string table, std::string key, const Entry& entry, Findings& findings )
      : table_( std::move( table ) ), key_( std::move( key ) ), entry_( entry ),
        findings_( findings ) {
   checkNames();
}

void EntryReader::checkNames() {
   const auto& known = knownFields( table_ );
   for ( const Field& field : entry_.fields ) {
      if ( std::find( known.begin(), known.end(), field.name ) == known.end() ) {
         error( field.name,
               known.empty() ? "unknown; allowed: no fields"
                             : "unknown; allowed: the nearest known name is " +
                           nearestName( field.name, known ) );
      }
   }
}

std::string EntryReader::text( std::string_view field ) const {
   const Field* found = entry_.find( field );
   return found ? found->text : "";
}

std::optional< int64_t > EntryReader::number(
      std::string_view field, int64_t low, int64_t high ) {
   const Field* found = entry_.find( field );
   if ( !found ) {
      return std::nullopt;
   }
   ZOL_ASSERT( low >= 0 && low <= high );
   const auto value = parseNumber( found->text );
   if ( !value || *value < static_cast< uint64_t >( low ) ||
         *value > static_cast< uint64_t >( high ) ) {
      notAllowed( field, std::to_string( low ) + " to " + std::to_string( high ) );
      return std::nullopt;
   }
   return static_cast< int64_t >( *value );
}

std::optional< size_t > EntryReader::choiceIndex(
      std::string_view field, const std::vector< std::string_view >& names ) {
   const std::string written = text( field );
   for ( size_t i = 0; i < names.size(); ++i ) {
      if ( sameText( written, names[ i ] ) ) {
         return i;
      }
   }
   notAllowed( field, joined( names ) );
   return std::nullopt;
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
      table_ + "|" + key_ + ": " + std::string( field ) + ": " + text };
}

void EntryReader::notAllowed( std::string_view field, std::string_view allowed ) {
   error( field, quoted( text( field ) ) + "; allowed: " + std::string( allowed ) );
}

void EntryReader::error( std::string_view field, const std::string& text ) {
   findings_.errors.push_back( about( field, text ) );
}

void EntryReader::warning( std::string_view field, const std::string& text ) {
   findings_.warnings.push_back( about( field, text ) );
}

void EntryReader::error( const std::string& text ) {
   findings_.errors.push_back( { entry_.place, table_ + "|" + key_ + ": " + text } );
}

void EntryReader::warning( const std::string& text ) {
   findings_.warnings.push_back( { entry_.place, table_ + "|" + key_ + ": " + text } );
}

} // namespace Agent
