#pragma once

// The interface profiles that are in use, each once. A profile removes itself from the table
// when nobody holds it any more, also after the manager has gone.

#include <memory>
#include <set>

#include "Platform/KarvelTcam/IntfProfile.h"

namespace AgentServices {

class IntfProfileManager : public KarvelTcam::KarvelTcamIntfProfileMgr {
   ZOL_ENTITY( AgentServices, IntfProfileManager, KarvelTcam::KarvelTcamIntfProfileMgr );

 public:
   IntfProfileManager();
   Zol::Ptr< const KarvelTcam::IntfProfile > intfProfile( KarvelTcam::IntfMatch match,
         const Shim::PortBitmap& ports, const Shim::PortBitmap& mask ) override;
   size_t profiles() const { return table_->size(); }

 private:
   class Listed;
   struct ByContents {
      bool operator()(
            const KarvelTcam::IntfProfile* left, const KarvelTcam::IntfProfile* right ) const;
   };
   using Table = std::set< const KarvelTcam::IntfProfile*, ByContents >;

   std::shared_ptr< Table > table_;
};

} // namespace AgentServices
