#pragma once

// What all chips of a switch share: the SDK that drives them, and who writes to them.

#include <cstdint>
#include <functional>
#include <string>

namespace ChipModel {

// Who wrote an entry of a table, and when. The chip does not know; whoever holds its switch says so
// (Control::writersAre), and entries keep it.
struct WriteStamp {
   std::string writer; // empty: nobody; the entry is as after reset
   double seconds = 0; // since the agent's start

   bool operator==( const WriteStamp& ) const = default;
};

struct SwitchContext {
   // Asked at every write; empty: nobody knows.
   std::function< WriteStamp() > writers;
   // 60527 is 6.5.27. Editor profiles lie elsewhere from version to version.
   uint32_t sdkVersion = 60527;

   WriteStamp stamp() const { return writers ? writers() : WriteStamp{ "unknown", 0 }; }
};

} // namespace ChipModel
