#pragma once

// What the field processors keep: groups, their entries, and all entries by id. Internal to
// FieldProcessor, which checks everything that comes from outside.

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "ChipModel/Fields/EntryContents.h"
#include "ChipModel/Lookup/LookupEngine.h"
#include "ChipModel/Tables/PolicerTable.h"
#include "Platform/Shim/SdkTypes.h"
#include "Platform/Zol/Assert.h"

namespace ChipModel {

struct FieldGroup;

struct FieldEntry {
   int id = 0;
   FieldGroup* group = nullptr;
   std::string name;
   EntryContents contents; // as written
   // What packets see, while the entry is installed and this is not what is written.
   std::unique_ptr< EntryContents > inHardware;
   bool modified = false;      // since the last install
   int slot = -1;              // in the group's lookup; -1: not installed
   Policer* policer = nullptr; // of what packets see, while it is installed
   bool byColor = false;       // counts colours apart
   FrameCount counters;
   ColorCounters colors;

   bool installed() const { return slot >= 0; }
   const EntryContents& effective() const {
      return inHardware != nullptr ? *inHardware : contents;
   }
   // To be called before the contents are written to.
   void preserve() {
      if ( installed() && inHardware == nullptr ) {
         inHardware = std::make_unique< EntryContents >( contents );
      }
   }
};

struct FieldGroup {
   int id = 0;
   Shim::FieldStage stage{};
   int priority = 0;
   Shim::QualifierSet qualifiers;
   int entries = 0;
   // Installed entries that look at where the frame goes; of ingress groups only, since at egress
   // that is one place.
   int destinationBound = 0;
   EgressUse* egressUse = nullptr; // of the chip, if it is an egress group
   LookupEngine lookup;
   std::vector< FieldEntry* > bySlot;
   LookupRule rule; // scratch

   void install( FieldEntry& entry, Policer* policer ) {
      if ( entry.installed() ) {
         remove( entry );
      }
      count( entry.contents, entry.contents.compile( &rule ), 1 );
      entry.policer = policer;
      entry.slot = lookup.insert( rule, entry.contents.priority, entry.id );
      entry.modified = false;
      size_t slot = static_cast< size_t >( entry.slot );
      if ( bySlot.size() <= slot ) {
         bySlot.resize( slot + 1 );
      }
      bySlot[ slot ] = &entry;
   }
   void remove( FieldEntry& entry ) {
      count( entry.effective(), entry.effective().compile( &rule ), -1 );
      lookup.remove( entry.slot, rule );
      entry.slot = -1;
      entry.policer = nullptr;
      entry.inHardware = nullptr;
   }

 private:
   void count( const EntryContents& contents, bool isBound, int one ) {
      if ( egressUse == nullptr ) {
         destinationBound += isBound ? one : 0;
      } else {
         egressUse->installed += one;
         egressUse->forForwarded += contents.takesCopiesOnly() ? 0 : one;
      }
   }
};

// All entries by id. Ids only ever count up, so the index is an array, in pages; a page
// goes with the last of its entries. The entries themselves are used again.
class FieldEntryTable {
 public:
   FieldEntry* find( int id ) const {
      size_t page = static_cast< size_t >( id ) / pageSize;
      if ( id < 0 || page >= pages_.size() || pages_[ page ] == nullptr ) {
         return nullptr;
      }
      return pages_[ page ]->entries[ static_cast< size_t >( id ) % pageSize ];
   }
   FieldEntry& add() {
      ZOL_ASSERT( nextId_ != std::numeric_limits< int >::max() );
      size_t id = static_cast< size_t >( nextId_ );
      if ( pages_.size() <= id / pageSize ) {
         pages_.resize( id / pageSize + 1 );
      }
      std::unique_ptr< Page >& page = pages_[ id / pageSize ];
      if ( page == nullptr ) {
         page = std::make_unique< Page >();
      }
      ++page->used;
      FieldEntry* entry = takeFree();
      page->entries[ id % pageSize ] = entry;
      entry->id = nextId_++;
      return *entry;
   }
   void erase( FieldEntry& entry ) {
      size_t id = static_cast< size_t >( entry.id );
      std::unique_ptr< Page >& page = pages_[ id / pageSize ];
      page->entries[ id % pageSize ] = nullptr;
      if ( --page->used == 0 ) {
         page.reset();
      }
      entry = {};
      free_.push_back( &entry );
   }
   template < typename Visitor >
   void forEach( Visitor&& visit ) const {
      for ( const std::unique_ptr< Page >& page : pages_ ) {
         for ( size_t i = 0; page != nullptr && i < pageSize; ++i ) {
            if ( page->entries[ i ] != nullptr ) {
               visit( *page->entries[ i ] );
            }
         }
      }
   }

 private:
   static constexpr size_t pageSize = 256;
   static constexpr size_t blockSize = 64;
   struct Page {
      std::array< FieldEntry*, pageSize > entries{};
      int used = 0;
   };

   FieldEntry* takeFree() {
      if ( free_.empty() ) {
         blocks_.push_back( std::make_unique< FieldEntry[] >( blockSize ) );
         for ( size_t i = blockSize; i-- > 0; ) {
            free_.push_back( &blocks_.back()[ i ] );
         }
      }
      FieldEntry* entry = free_.back();
      free_.pop_back();
      return entry;
   }

   std::vector< std::unique_ptr< Page > > pages_; // null: all its entries are gone
   std::vector< std::unique_ptr< FieldEntry[] > > blocks_;
   std::vector< FieldEntry* > free_;
   int nextId_ = 1;
};

} // namespace ChipModel
