#pragma once

// What the platform tells the features that run on a chip about it, one entity for each
// feature:
//
//    auto mirror = scsd->chipProfile()->feature< KarvelMirror::KarvelChipAttributesMirror >();

#include "Platform/Zol/Entity.h"

namespace KarvelCentral {

class ChipProfile : public Zol::Entity {
   ZOL_ENTITY( KarvelCentral, ChipProfile, Zol::Entity, ( CONST, Zol::String, chip ),
         ( COLL, Zol::String, Zol::Entity, features ) ); // by type name

 public:
   explicit ChipProfile( const Zol::String& chip ) : chip_( chip ) {}

   // Null if the profile has nothing for that feature.
   template < typename Feature >
   Zol::Ptr< const Feature > feature() const {
      return Zol::dynamicCast< const Feature >(
            features( Zol::String( Feature::zolTypeName() ) ) );
   }
   template < typename Feature >
   void featureIs( Zol::Ptr< Feature > feature ) {
      featuresIs( Zol::String( Feature::zolTypeName() ), Zol::Ptr< Zol::Entity >( feature ) );
   }
};

} // namespace KarvelCentral
