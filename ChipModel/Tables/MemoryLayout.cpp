#include "ChipModel/Tables/MemoryLayout.h"

#include <algorithm>

namespace ChipModel {

using Shim::MemField;
using Shim::Memory;
using Shim::Rc;
using Shim::Sdk;

namespace {

constexpr FieldLayout devicePort[] = { { Shim::PORT_TYPEf, 0, 2 },
   { Shim::SOURCE_TRUNK_MAP_INDEXf, 2, 16 } };
constexpr FieldLayout trunkMapBase[] = { { Shim::BASEf, 0, 10 } };
constexpr FieldLayout trunkMap[] = { { Shim::MODULE_IDf, 0, 9 } };
constexpr FieldLayout flexProfile[] = { { Shim::OFFSETf, 0, 8 } };
constexpr FieldLayout encapData[] = { { Shim::GRE_KEYf, 0, 32 } };
constexpr FieldLayout encapControl[] = { { Shim::GRE_HEADER_BYTESf, 0, 5 },
   { Shim::GRE_KEY_SELECTf, 5, 2 }, { Shim::GRE_FLAGSf, 8, 16 } };
constexpr FieldLayout mirrorProfile[] = { { Shim::GRE_HEADER_BYTESf, 0, 5 },
   { Shim::GRE_KEY_SELECTf, 5, 2 }, { Shim::GRE_FLAGSf, 8, 16 },
   { Shim::L3_LENGTH_ADJUSTf, 24, 8 } };
constexpr FieldLayout greFormat[] = { { Shim::GRE_FLAGSf, 0, 16 } };
constexpr FieldLayout lengthAdjust[] = { { Shim::L3_LENGTH_ADJUSTf, 0, 8 } };

constexpr int wordBits = 32;

uint32_t maskOf( const FieldLayout& layout ) {
   return layout.width == wordBits ? ~0U : ( 1U << layout.width ) - 1;
}

const FieldLayout* layoutOf( Memory memory, MemField field ) {
   const std::span< const FieldLayout > fields = fieldsOf( memory );
   const auto found = std::ranges::find( fields, field, &FieldLayout::field );
   return found == fields.end() ? nullptr : &*found;
}

} // namespace

std::span< const FieldLayout > fieldsOf( Memory memory ) {
   switch ( memory ) {
   case Shim::ING_DEVICE_PORTm:
      return devicePort;
   case Shim::SOURCE_TRUNK_MAP_MODBASEm:
      return trunkMapBase;
   case Shim::SOURCE_TRUNK_MAP_TABLEm:
      return trunkMap;
   case Shim::ING_FLEX_EDITOR_PROFILEm:
   case Shim::EGR_FLEX_EDITOR_PROFILEm:
      return flexProfile;
   case Shim::EGR_MIRROR_ENCAP_DATAm:
      return encapData;
   case Shim::EGR_MIRROR_ENCAP_CONTROLm:
      return encapControl;
   case Shim::EGR_MIRROR_PROFILEm:
      return mirrorProfile;
   case Shim::EGR_GRE_HEADER_FORMATm:
      return greFormat;
   case Shim::EGR_TUNNEL_LENGTH_ADJUSTm:
      return lengthAdjust;
   default:
      return {};
   }
}

Rc fieldGet( Memory memory, const Shim::MemEntry& entry, MemField field, uint32_t* value ) {
   const FieldLayout* layout = layoutOf( memory, field );
   if ( layout == nullptr ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   const uint32_t word = entry.words[ static_cast< size_t >( layout->offset / wordBits ) ];
   *value = word >> ( layout->offset % wordBits ) & maskOf( *layout );
   return Sdk::QX_BCM_E_NONE();
}

Rc fieldSet( Memory memory, Shim::MemEntry& entry, MemField field, uint32_t value ) {
   const FieldLayout* layout = layoutOf( memory, field );
   if ( layout == nullptr ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   const uint32_t mask = maskOf( *layout );
   if ( ( value & ~mask ) != 0 ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   uint32_t& word = entry.words[ static_cast< size_t >( layout->offset / wordBits ) ];
   const int shift = layout->offset % wordBits;
   word = ( word & ~( mask << shift ) ) | value << shift;
   return Sdk::QX_BCM_E_NONE();
}

} // namespace ChipModel
