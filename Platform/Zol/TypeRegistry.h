#pragma once

// Entity types by name, so that the store can make what a mount asks for and the agent can make
// what a plug-in brings:
//
//    ZOL_REGISTER_TYPE( KarvelMirror::SliceMounter );       // in one source file
//    Zol::Ptr< Zol::Entity > mounter =
//          Zol::TypeRegistry::make( "KarvelMirror::SliceMounter", name );
//
// A registered type has a constructor from its name (std::string_view or Zol::String). Types of
// a plug-in leave the registry when the plug-in is unloaded.

#include <string_view>
#include <vector>

#include "Platform/Zol/Entity.h"

namespace Zol {

class TypeRegistry {
 public:
   using Factory = Ptr< Entity > ( * )( std::string_view name );

   // A second type of the same name is asserted.
   static void typeIs( std::string_view typeName, Factory factory );
   static void typeDel( std::string_view typeName );
   static bool has( std::string_view typeName );
   // Null if there is no such type.
   static Ptr< Entity > make( std::string_view typeName, std::string_view name );
   static std::vector< String > typeNames();
};

template < typename T >
class TypeRegistration {
 public:
   TypeRegistration() {
      TypeRegistry::typeIs( T::zolTypeName(), []( std::string_view name ) -> Ptr< Entity > {
         return Zol::make< T >( String( name ) );
      } );
   }
   ~TypeRegistration() { TypeRegistry::typeDel( T::zolTypeName() ); }
   TypeRegistration( const TypeRegistration& ) = delete;
   TypeRegistration& operator=( const TypeRegistration& ) = delete;
};

} // namespace Zol

#define ZOL_REGISTER_TYPE( ... )                                                               \
   static const ::Zol::TypeRegistration< __VA_ARGS__ > ZOL_REGISTER_NAME_( __LINE__ )
#define ZOL_REGISTER_NAME_( line ) ZOL_REGISTER_NAME_2_( line )
#define ZOL_REGISTER_NAME_2_( line ) zolRegistration##line
