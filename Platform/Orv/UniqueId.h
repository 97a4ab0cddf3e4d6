#pragma once

#include "Platform/Zol/Value.h"

namespace Orv {

// A number that is handed out once in the life of the process. A default one is no number.
class UniqueId : public Zol::Value {
   ZOL_VALUE( Orv, UniqueId, ( VAL, uint64_t, number ) );

 public:
   UniqueId() = default;
   static UniqueId fresh();
   explicit operator bool() const { return number() != 0; }
};

} // namespace Orv
