#pragma once

// The policers of one chip, by ids of the agent's own: the chip may have none left when one is
// created, and gets it only when an entry is to have it. A removed policer goes with the last
// entry that has it; if the chip refuses to destroy it, that is tried again every second.

#include <cstdint>
#include <map>
#include <vector>

#include "Platform/Shim/SdkTypes.h"
#include "Platform/Zol/Clock.h"
#include "Platform/Zol/Ptr.h"

namespace AgentServices {

class PolicerManager : public Zol::RefCounted {
 public:
   explicit PolicerManager( uint32_t unit );

   // False, without effect, if the chip does not understand the configuration.
   bool create( const Shim::bcm_policer_config_s& config, uint32_t* id );
   // E_NOT_FOUND if there is none.
   Shim::Rc remove( uint32_t id );

   // Adds a user: gives the chip's policer, or says why there is none.
   Shim::Rc acquire( uint32_t id, uint32_t* sdkPolicer );
   // Takes a user away, one whose acquire() succeeded.
   void release( uint32_t id );

 private:
   struct Policer {
      Shim::bcm_policer_config_s config{};
      uint32_t sdkPolicer = 0; // 0: not in the chip yet
      int users = 0;
      bool removed = false;
   };

   void lastRelease() override;
   Shim::Rc createInChip( Policer& policer );
   void destroyIfUnused( std::map< uint32_t, Policer >::iterator at );
   void destroyInChip( uint32_t sdkPolicer );
   void tidy();

   int unit_;
   std::map< uint32_t, Policer > policers_;
   uint32_t nextId_ = 1;
   std::vector< uint32_t > leftovers_; // the chip's ids
   Zol::Clock tidyClock_;
};

} // namespace AgentServices
