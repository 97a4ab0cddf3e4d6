#pragma once

// The memories of one chip: entries by memory and index, with who wrote them. Entries are as
// after reset until they are written.

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "ChipModel/Profile.h"
#include "ChipModel/Tables/GreFormats.h"
#include "ChipModel/Tables/SwitchContext.h"
#include "Platform/Shim/Sdk.h"

namespace ChipModel {

// One entry, to look at.
struct MemoryEntryView {
   Shim::Memory memory{};
   int index = 0;
   std::vector< std::pair< Shim::MemField, uint32_t > > fields; // as they lie in the entry
   WriteStamp stamp;
   bool isReset = false; // its fields are as after reset
};

class Memories {
 public:
   // References must outlive this.
   Memories( const Profile& profile, const SwitchContext& context )
         : profile_( profile ), context_( context ) {}

   // How many entries a memory has on this chip; 0: it does not have the memory.
   int size( Shim::Memory memory ) const;
   Shim::Rc read( Shim::Memory memory, int index, Shim::MemEntry* entry ) const;
   Shim::Rc write( Shim::Memory memory, int index, const Shim::MemEntry& entry );

   // The chip must have the entry, and the value must fit.
   uint32_t value( const FieldPlace& place ) const;
   void valueIs( const FieldPlace& place, uint32_t value );

   // Grows with every write.
   uint64_t version() const { return version_; }
   // The entries that were written or that the egress editor looks at, by memory and index.
   std::vector< MemoryEntryView > entries() const;

 private:
   struct Row {
      Shim::MemEntry entry;
      WriteStamp stamp;
   };
   using Place = std::pair< Shim::Memory, int >;

   // E_UNAVAIL or E_PARAM if there is no such entry.
   Shim::Rc check( Shim::Memory memory, int index ) const;
   Shim::MemEntry reset( Shim::Memory memory, int index ) const;
   Shim::MemEntry present( Shim::Memory memory, int index ) const;

   const Profile& profile_;
   const SwitchContext& context_;
   std::map< Place, Row > rows_; // written since reset
   uint64_t version_ = 1;
};

} // namespace ChipModel
