#pragma once

// An ACL that the helper has made, with what it has become on each chip. It withdraws itself
// when its last pointer goes, if nobody has done so before.

#include <map>
#include <memory>
#include <vector>

#include "AgentServices/AclResources.h"
#include "AgentServices/ChipAcl.h"
#include "Platform/Karvel/KarvelAclData.h"

namespace AgentServices {

class LiveAcl;

// All live ACLs, in the order in which they were made. The list keeps none of them alive.
struct LiveAcls : Zol::RefCounted {
   std::vector< LiveAcl* > all;
};

class LiveAcl : public Karvel::KarvelAclData {
   ZOL_ENTITY( AgentServices, LiveAcl, Karvel::KarvelAclData );

 public:
   LiveAcl( const Ixo::AclKey& aclKey, Karvel::KarvelAclFeature feature,
         Zol::Ptr< LiveAcls > registry );

   // Null where nothing has been built.
   ChipAcl* onChip( uint32_t unit );
   ChipAcl& onChipIs( const Zol::Ptr< AclResources >& resources );
   void withdraw();

 private:
   struct OnChip {
      Zol::Ptr< AclResources > resources;
      std::unique_ptr< ChipAcl > acl;
   };

   void lastRelease() override;

   Zol::Ptr< LiveAcls > registry_;
   std::map< uint32_t, OnChip > onChips_; // by unit
};

} // namespace AgentServices
