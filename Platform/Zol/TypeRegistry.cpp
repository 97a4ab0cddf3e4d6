#include "Platform/Zol/TypeRegistry.h"

#include <map>

#include "Platform/Zol/Dir.h"

namespace Zol {

namespace {

using Types = std::map< String, TypeRegistry::Factory, std::less<> >;

// Never destroyed: registrations of unloaded plug-ins end after our own statics would.
Types& types() {
   static Types* all = new Types;
   return *all;
}

} // namespace

void TypeRegistry::typeIs( std::string_view typeName, Factory factory ) {
   bool isNew = types().emplace( typeName, factory ).second;
   ZOL_ASSERT( isNew && "a type is registered once" );
}

void TypeRegistry::typeDel( std::string_view typeName ) { types().erase( String( typeName ) ); }

bool TypeRegistry::has( std::string_view typeName ) { return types().contains( typeName ); }

Ptr< Entity > TypeRegistry::make( std::string_view typeName, std::string_view name ) {
   auto at = types().find( typeName );
   return at == types().end() ? nullptr : at->second( name );
}

std::vector< String > TypeRegistry::typeNames() {
   std::vector< String > names;
   for ( const auto& type : types() ) {
      names.push_back( type.first );
   }
   return names;
}

ZOL_REGISTER_TYPE( Zol::Dir );

} // namespace Zol
