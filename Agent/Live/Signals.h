#pragma once

// The signals that a live agent obeys, as a descriptor that its event loop polls: a handler
// could come in the middle of anything.

#include <optional>

#include "Agent/Live/Socket.h"

namespace Agent {

class Signals {
 public:
   // From here on SIGTERM, SIGINT and SIGHUP wait until they are taken.
   Signals();

   int descriptor() const { return descriptor_.number(); }
   // The number of the next signal that waits.
   std::optional< int > take();

 private:
   Descriptor descriptor_;
};

} // namespace Agent
