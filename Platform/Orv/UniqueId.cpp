#include "Platform/Orv/UniqueId.h"

namespace Orv {

UniqueId UniqueId::fresh() {
   static uint64_t last = 0;
   UniqueId id;
   id.numberIs( ++last );
   return id;
}

} // namespace Orv
