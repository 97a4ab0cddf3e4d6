#include "Agent/Configuration/FieldSchema.h"

#include <algorithm>

namespace Agent {

bool TableSchema::knows( std::string_view field ) const {
   return std::any_of( fields.begin(), fields.end(), [ field ]( const FieldSchema* known ) {
      return known->name == field;
   } ) || std::find( others.begin(), others.end(), field ) != others.end();
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
