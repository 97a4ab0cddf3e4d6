#include "Platform/Zol/Wiring.h"

#include <algorithm>
#include <map>

namespace Zol {

namespace {

struct EntityType {
   std::string_view name;
   std::string_view base;
   EntityTypeRow::Machines machines;
};

// Keyed by the object that brought the row, which takes it along when its library is unloaded.
// Made before the first row and never destroyed: rows come and go while libraries are loaded.
std::map< const void*, Reaction >& reactionRows() {
   static auto& rows = *new std::map< const void*, Reaction >;
   return rows;
}
std::map< const void*, EntityType >& entityTypes() {
   static auto& rows = *new std::map< const void*, EntityType >;
   return rows;
}

template < typename Row >
std::vector< Row > sortedOnce( std::vector< Row > rows ) {
   std::sort( rows.begin(), rows.end() );
   rows.erase( std::unique( rows.begin(), rows.end() ), rows.end() );
   return rows;
}

// The types derived from `base`, and those from them.
void addKinds( std::string_view base, std::vector< std::string_view >& kinds ) {
   for ( const auto& [ row, type ] : entityTypes() ) {
      if ( type.base == base ) {
         kinds.push_back( type.name );
         addKinds( type.name, kinds );
      }
   }
}

} // namespace

ReactionRow::ReactionRow( const Reaction& row ) { reactionRows().emplace( this, row ); }
ReactionRow::~ReactionRow() { reactionRows().erase( this ); }

EntityTypeRow::EntityTypeRow(
      std::string_view type, std::string_view base, Machines machines ) {
   entityTypes().emplace( this, EntityType{ type, base, machines } );
}
EntityTypeRow::~EntityTypeRow() { entityTypes().erase( this ); }

std::vector< Reaction > reactions() {
   std::vector< Reaction > result;
   for ( const auto& [ row, reaction ] : reactionRows() ) {
      result.push_back( reaction );
   }
   return sortedOnce( std::move( result ) );
}

std::vector< Ownership > ownerships() {
   std::vector< Ownership > result;
   for ( const auto& [ row, type ] : entityTypes() ) {
      for ( Ownership ownership : type.machines() ) {
         addKinds( ownership.machine, ownership.kinds );
         std::sort( ownership.kinds.begin(), ownership.kinds.end() );
         result.push_back( std::move( ownership ) );
      }
   }
   return sortedOnce( std::move( result ) );
}

} // namespace Zol
