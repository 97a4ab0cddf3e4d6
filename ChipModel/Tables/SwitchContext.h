#pragma once

// What all chips of a switch share: the SDK that drives them, and who writes to them.

#include <cstdint>
#include <functional>
#include <string>

namespace ChipModel {

// Who wrote an entry of a table, and when. The chip does not know; the holder of its switch
// tells (Control::writersAre), and entries keep it.
struct WriteStamp {
   std::string writer; // empty: nobody; the entry is as after reset
   double seconds = 0; // since the agent's start

   bool operator==( const WriteStamp& ) const = default;
};

struct SwitchContext {
   // Called at every write; empty: nobody knows the writer.
   std::function< WriteStamp() > writers;
   // 60527 is 6.5.27. The place of editor profiles depends on the version.
   uint32_t sdkVersion = 60527;

   WriteStamp stamp() const { return writers ? writers() : WriteStamp{ "unknown", 0 }; }
};

} // namespace ChipModel
