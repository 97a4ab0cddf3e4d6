#pragma once

// The agent's mounter base.

#include "Platform/Plugin/Mounter.h"

namespace KarvelLib {

class MounterBase : public Plugin::Mounter {
   ZOL_ENTITY( KarvelLib, MounterBase, Plugin::Mounter );

 public:
   using Plugin::Mounter::Mounter;
};

} // namespace KarvelLib
