#include "Agent/Configuration/FieldSchema.h"

#include <algorithm>

namespace Agent {

const FieldSchema* TableSchema::find( std::string_view field ) const {
   const auto found = std::find_if( fields.begin(), fields.end(),
         [ field ]( const FieldSchema* known ) { return known->name == field; } );
   return found == fields.end() ? nullptr : *found;
}

bool TableSchema::knows( std::string_view field ) const {
   return find( field ) || std::find( others.begin(), others.end(), field ) != others.end();
}

std::vector< std::string_view > TableSchema::knownNames() const {
   std::vector< std::string_view > names;
   for ( const FieldSchema* field : fields ) {
      names.push_back( field->name );
   }
   names.insert( names.end(), others.begin(), others.end() );
   return names;
}

} // namespace Agent
