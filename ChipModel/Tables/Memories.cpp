#include "ChipModel/Tables/Memories.h"

#include <set>

#include "ChipModel/Tables/MemoryLayout.h"
#include "Platform/Zol/Assert.h"

namespace ChipModel {

using Shim::Memory;
using Shim::Rc;
using Shim::Sdk;

namespace {

constexpr int flexProfiles = 16;
constexpr int trunkMapEntries = 1024;
constexpr int modules = 256;
constexpr int editorEntries = 16;

// Whether the editor of a family looks at a memory at all.
bool looksAt( const GreEditor& editor, Memory memory ) {
   for ( const GreEditorPlaces* places : { &editor.ip4, &editor.ip6 } ) {
      for ( const FieldPlace* place : { &places->headerBytes, &places->keySelect,
                  &places->flags, &places->lengthAdjust } ) {
         if ( place->memory == memory ) {
            return true;
         }
      }
   }
   return false;
}

} // namespace

int Memories::size( Memory memory ) const {
   switch ( memory ) {
   case Shim::ING_DEVICE_PORTm:
      return Shim::maxPorts;
   case Shim::SOURCE_TRUNK_MAP_MODBASEm:
      return modules;
   case Shim::SOURCE_TRUNK_MAP_TABLEm:
      return trunkMapEntries;
   case Shim::ING_FLEX_EDITOR_PROFILEm:
   case Shim::EGR_FLEX_EDITOR_PROFILEm:
      return profile_.flexEditor ? flexProfiles : 0;
   case Shim::EGR_MIRROR_ENCAP_DATAm:
      return profile_.mirrorDestinations;
   default: {
      const GreEditor* editor = greEditor( profile_.greKeys );
      return editor != nullptr && looksAt( *editor, memory ) ? editorEntries : 0;
   }
   }
}

Rc Memories::check( Memory memory, int index ) const {
   const int entries = size( memory );
   if ( entries == 0 ) {
      return Sdk::QX_BCM_E_UNAVAIL();
   }
   return index >= 0 && index < entries ? Sdk::QX_BCM_E_NONE() : Sdk::QX_BCM_E_PARAM();
}

Shim::MemEntry Memories::reset( Memory memory, int index ) const {
   Shim::MemEntry entry;
   for ( const FieldLayout& layout : fieldsOf( memory ) ) {
      const Rc rc = fieldSet( memory, entry, layout.field,
            resetValue( profile_, { memory, index, layout.field } ) );
      ZOL_ASSERT( rc == Sdk::QX_BCM_E_NONE() );
   }
   return entry;
}

Shim::MemEntry Memories::present( Memory memory, int index ) const {
   const auto row = rows_.find( { memory, index } );
   return row == rows_.end() ? reset( memory, index ) : row->second.entry;
}

Rc Memories::read( Memory memory, int index, Shim::MemEntry* entry ) const {
   const Rc rc = check( memory, index );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      *entry = present( memory, index );
   }
   return rc;
}

Rc Memories::write( Memory memory, int index, const Shim::MemEntry& entry ) {
   const Rc rc = check( memory, index );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      rows_[ { memory, index } ] = { entry, context_.stamp() };
      ++version_;
   }
   return rc;
}

uint32_t Memories::value( const FieldPlace& place ) const {
   uint32_t value = 0;
   const Rc rc =
         fieldGet( place.memory, present( place.memory, place.index ), place.field, &value );
   ZOL_ASSERT( rc == Sdk::QX_BCM_E_NONE() );
   return value;
}

void Memories::valueIs( const FieldPlace& place, uint32_t value ) {
   Shim::MemEntry entry = present( place.memory, place.index );
   Rc rc = fieldSet( place.memory, entry, place.field, value );
   ZOL_ASSERT( rc == Sdk::QX_BCM_E_NONE() );
   rc = write( place.memory, place.index, entry );
   ZOL_ASSERT( rc == Sdk::QX_BCM_E_NONE() );
}

std::vector< MemoryEntryView > Memories::entries() const {
   std::set< Place > places;
   for ( const auto& [ place, row ] : rows_ ) {
      places.insert( place );
   }
   if ( const GreEditor* editor = greEditor( profile_.greKeys ) ) {
      for ( const GreEditorPlaces* at : { &editor->ip4, &editor->ip6 } ) {
         for ( const FieldPlace* place :
               { &at->headerBytes, &at->keySelect, &at->flags, &at->lengthAdjust } ) {
            places.insert( { place->memory, place->index } );
         }
      }
   }
   std::vector< MemoryEntryView > views;
   for ( const auto& [ memory, index ] : places ) {
      const auto row = rows_.find( { memory, index } );
      MemoryEntryView view{ memory, index, {},
         row == rows_.end() ? WriteStamp() : row->second.stamp,
         present( memory, index ) == reset( memory, index ) };
      for ( const FieldLayout& layout : fieldsOf( memory ) ) {
         view.fields.emplace_back( layout.field, value( { memory, index, layout.field } ) );
      }
      views.push_back( std::move( view ) );
   }
   return views;
}

} // namespace ChipModel
