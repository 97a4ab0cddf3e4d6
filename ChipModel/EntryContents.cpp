#include "ChipModel/EntryContents.h"

#include <bit>
#include <span>

namespace ChipModel {

namespace {

using Shim::Qualifier;

struct Part {
   KeyField field;
   uint32_t widest; // value
};

// A qualifier's place in the key, and which of its fields must hold something.
struct Shape {
   std::array< Part, 2 > parts;
   size_t partCount;
   uint8_t valid;
};

constexpr Shape shapes[] = {
   { {}, 0, 0 }, // inPorts: a set, not a value
   { { { { Key::portClass, 0xffffffff } } }, 1, 0 },
   { { { { Key::dstModId, 0xff }, { Key::dstPort, 0xff } } }, 2, validDstPort },
   { { { { Key::dstTrunk, 0xff } } }, 1, validDstTrunk },
   { { { { Key::drop, 1 } } }, 1, 0 },
   { { { { Key::outerVlanId, 0xfff } } }, 1, validOuterVlan },
};
static_assert( std::size( shapes ) == static_cast< size_t >( Qualifier::count_ ) );

std::span< const Part > partsOf( size_t qualifier ) {
   const Shape& shape = shapes[ qualifier ];
   return { shape.parts.data(), shape.partCount };
}

// Appends the bytes of the field that are cared about; false if none is.
bool compilePart( const Part& part, Ternary value, LookupRule* rule ) {
   uint32_t mask = value.mask & part.widest;
   for ( int i = part.field.length - 1; i >= 0; --i, mask >>= 8, value.data >>= 8 ) {
      if ( uint8_t byteMask = static_cast< uint8_t >( mask ) ) {
         rule->bytes.push_back( { static_cast< uint8_t >( part.field.offset + i ),
               static_cast< uint8_t >( value.data ), byteMask } );
      }
   }
   return ( value.mask & part.widest ) != 0;
}

} // namespace

void EntryContents::inPortsIs(
      const Shim::PortBitmap& data, const Shim::PortBitmap& mask ) {
   ports_ = mask.none() ? ~Shim::PortBitmap() : data & mask;
   qualifiers_.set( static_cast< size_t >( Qualifier::inPorts ) );
}

bool EntryContents::qualifierIs( Qualifier qualifier, Ternary first, Ternary second ) {
   size_t index = static_cast< size_t >( qualifier );
   std::array< Ternary, 2 > values{ first, second };
   std::span< const Part > parts = partsOf( index );
   for ( size_t i = 0; i < parts.size(); ++i ) {
      if ( values[ i ].data > parts[ i ].widest ) {
         return false;
      }
   }
   values_[ index ] = values;
   qualifiers_.set( index );
   return true;
}

void EntryContents::qualifierDel( Qualifier qualifier ) {
   qualifiers_.reset( static_cast< size_t >( qualifier ) );
}

bool EntryContents::compile( LookupRule* rule ) const {
   rule->bytes.clear();
   rule->sets.clear();
   if ( has( Qualifier::inPorts ) ) {
      compilePorts( rule );
   }
   uint8_t valid = 0;
   for ( unsigned long left = qualifiers_.to_ulong(); left != 0; left &= left - 1 ) {
      size_t index = static_cast< size_t >( std::countr_zero( left ) );
      size_t part = 0;
      for ( const Part& shape : partsOf( index ) ) {
         if ( compilePart( shape, values_[ index ][ part++ ], rule ) ) {
            valid |= shapes[ index ].valid;
         }
      }
   }
   if ( valid != 0 ) {
      rule->bytes.push_back(
            { static_cast< uint8_t >( Key::valid.offset ), valid, valid } );
   }
   return ( valid & ( validDstPort | validDstTrunk ) ) != 0;
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
   for ( size_t index = 0; index < count_; ++index ) {
      if ( !qualifiers_.test( index ) ) {
         continue;
      }
      QualifierValue value;
      value.qualifier = static_cast< Qualifier >( index );
      if ( value.qualifier == Qualifier::inPorts ) {
         value.ports = ports_;
      }
      for ( size_t i = 0; i < partsOf( index ).size(); ++i ) {
         value.data.push_back( values_[ index ][ i ].data );
         value.mask.push_back( values_[ index ][ i ].mask );
      }
      result.push_back( std::move( value ) );
   }
   return result;
}

} // namespace ChipModel
