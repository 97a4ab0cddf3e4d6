#include "ChipModel/Fields/EntryContents.h"

#include <bit>
#include <span>

#include "ChipModel/Fields/FieldCatalogue.h"

namespace ChipModel {

namespace {

using Shim::Qualifier;

std::span< const KeyPart > partsOf( size_t qualifier ) {
   return fieldCatalogue[ qualifier ].place.parts();
}

// Appends the bytes of the field that are cared about; false if none is.
bool compilePart( KeyField field, Ternary value, LookupRule* rule ) {
   const bool cares = value.mask != 0;
   for ( int i = field.length - 1; i >= 0; --i, value.mask >>= 8, value.data >>= 8 ) {
      if ( uint8_t byteMask = static_cast< uint8_t >( value.mask ) ) {
         rule->bytes.push_back( { static_cast< uint8_t >( field.offset + i ),
               static_cast< uint8_t >( value.data ), byteMask } );
      }
   }
   return cares;
}

template < typename Visit >
void forEachBit( unsigned long bits, Visit&& visit ) {
   for ( ; bits != 0; bits &= bits - 1 ) {
      visit( static_cast< size_t >( std::countr_zero( bits ) ) );
   }
}

} // namespace

void EntryContents::inPortsIs( const Shim::PortBitmap& data, const Shim::PortBitmap& mask ) {
   ports_ = mask.none() ? ~Shim::PortBitmap() : data & mask;
   qualifiers_.set( static_cast< size_t >( Qualifier::inPorts ) );
}

// How many parts stand before those of the qualifier.
size_t EntryContents::placeOf( size_t qualifier ) const {
   size_t place = 0;
   forEachBit( qualifiers_.to_ulong() & ( ( 1UL << qualifier ) - 1 ),
         [ & ]( size_t before ) { place += partsOf( before ).size(); } );
   return place;
}

bool EntryContents::qualifierIs( Qualifier qualifier, std::initializer_list< Ternary > parts ) {
   const size_t index = static_cast< size_t >( qualifier );
   const std::span< const KeyPart > shape = partsOf( index );
   size_t number = 0;
   for ( const Ternary& part : parts ) {
      if ( part.data > shape[ number++ ].widest ) {
         return false;
      }
   }
   const size_t place = placeOf( index );
   if ( !has( qualifier ) ) {
      parts_.insert( parts_.begin() + static_cast< ptrdiff_t >( place ), shape.size(), {} );
      qualifiers_.set( index );
   }
   number = 0;
   for ( const Ternary& part : parts ) {
      parts_[ place + number ] = part;
      ++number;
   }
   return true;
}

void EntryContents::qualifierDel( Qualifier qualifier ) {
   const size_t index = static_cast< size_t >( qualifier );
   if ( has( qualifier ) ) {
      const auto first = parts_.begin() + static_cast< ptrdiff_t >( placeOf( index ) );
      parts_.erase( first, first + static_cast< ptrdiff_t >( partsOf( index ).size() ) );
      qualifiers_.reset( index );
   }
}

Ternary EntryContents::firstPart( Qualifier qualifier ) const {
   return has( qualifier ) ? parts_[ placeOf( static_cast< size_t >( qualifier ) ) ]
                           : Ternary();
}

bool EntryContents::takesCopiesOnly() const {
   const Ternary value = firstPart( Qualifier::mirrorCopy );
   return ( value.data & value.mask & 1 ) != 0;
}

bool EntryContents::compile( LookupRule* rule ) const {
   rule->bytes.clear();
   rule->sets.clear();
   if ( has( Qualifier::inPorts ) ) {
      compilePorts( rule );
   }
   unsigned valid = 0;
   const Ternary* value = parts_.data();
   forEachBit( qualifiers_.to_ulong(), [ & ]( size_t index ) {
      for ( const KeyPart& part : partsOf( index ) ) {
         const Ternary limited{ value->data, value->mask & part.widest };
         if ( compilePart( part.field, limited, rule ) ) {
            valid |= fieldCatalogue[ index ].place.valid;
         }
         ++value;
      }
   } );
   compilePart( Key::valid, { valid, valid }, rule );
   return ( valid & ( validDstPort | validDstTrunk ) ) != 0;
}

std::vector< Qualifier > EntryContents::failures( const LookupKey& key ) const {
   std::vector< Qualifier > failed;
   if ( has( Qualifier::inPorts ) && !ports_.test( key.get( Key::inPort ) ) ) {
      failed.push_back( Qualifier::inPorts );
   }
   const Ternary* value = parts_.data();
   const uint32_t present = key.get( Key::valid );
   forEachBit( qualifiers_.to_ulong(), [ & ]( size_t index ) {
      const unsigned needed = fieldCatalogue[ index ].place.valid;
      bool matches = true;
      for ( const KeyPart& part : partsOf( index ) ) {
         const uint32_t mask = value->mask & part.widest;
         matches = matches &&
               ( mask == 0 ||
                     ( ( present & needed ) == needed &&
                           ( ( key.get( part.field ) ^ value->data ) & mask ) == 0 ) );
         ++value;
      }
      if ( !matches ) {
         failed.push_back( static_cast< Qualifier >( index ) );
      }
   } );
   return failed;
}

void EntryContents::compilePorts( LookupRule* rule ) const {
   if ( ports_.all() ) {
      return;
   }
   Shim::PortBitmap ports = ports_;
   SetTerm term{ static_cast< uint8_t >( Key::inPort.offset ), {} };
   const Shim::PortBitmap lowest( ~uint64_t{ 0 } );
   for ( uint64_t& word : term.accepted ) {
      word = ( ports & lowest ).to_ullong();
      ports >>= 64;
   }
   rule->sets.push_back( term );
}

std::vector< QualifierValue > EntryContents::qualifiers() const {
   std::vector< QualifierValue > result;
   const Ternary* part = parts_.data();
   forEachBit( qualifiers_.to_ulong(), [ & ]( size_t index ) {
      QualifierValue value;
      value.qualifier = static_cast< Qualifier >( index );
      if ( value.qualifier == Qualifier::inPorts ) {
         value.ports = ports_;
      }
      for ( size_t i = 0; i < partsOf( index ).size(); ++i, ++part ) {
         value.data.push_back( part->data );
         value.mask.push_back( part->mask );
      }
      result.push_back( std::move( value ) );
   } );
   return result;
}

} // namespace ChipModel
