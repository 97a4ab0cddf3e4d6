#pragma once

// The mirror destination table: where the copies for each destination number go, and what
// became of them.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "ChipModel/Egress/Encapsulator.h"
#include "ChipModel/Tables/Counters.h"
#include "Platform/Shim/Sdk.h"

namespace ChipModel {

class MirrorTable {
 public:
   explicit MirrorTable( int destinations );

   // E_PARAM outside 0 to size() - 1, and for a tunnel or queue that is not valid. Replaces
   // what is there.
   Shim::Rc set( int destination, const Shim::MirrorDestination& value );
   Shim::Rc destroy( int destination );

   int size() const { return static_cast< int >( entries_.size() ); }
   bool has( int destination ) const { return destination >= 0 && destination < size(); }

   struct Entry {
      std::optional< Shim::MirrorDestination > value; // none: not set
      std::optional< TunnelHeader > header;           // of its tunnel, once a copy needed it
      uint64_t headerVersion = 0;                     // see EgressEditor
      MirrorCounters counters;
   };
   const Entry& entry( int destination ) const {
      return entries_[ static_cast< size_t >( destination ) ];
   }
   Entry& entry( int destination ) { return entries_[ static_cast< size_t >( destination ) ]; }

 private:
   std::vector< Entry > entries_;
};

} // namespace ChipModel
