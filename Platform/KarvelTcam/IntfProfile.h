#pragma once

// Interface profiles: the sets of ingress ports that entries match, and how the chip is to
// match them. Equal profiles are one object, so they are compared by pointer.

#include "Platform/Shim/SdkTypes.h"
#include "Platform/Zol/Entity.h"

namespace KarvelTcam {

enum class IntfMatch : uint8_t {
   classId, // by a class that the ports carry; not on every chip
   inPorts, // by a bitmap
};

class IntfProfile : public Zol::RefCounted {
 public:
   IntfProfile( IntfMatch match, const Shim::PortBitmap& ports, const Shim::PortBitmap& mask )
         : match_( match ), ports_( ports ), mask_( mask ) {}
   IntfMatch match() const { return match_; }
   const Shim::PortBitmap& ports() const { return ports_; }
   // The ports that a match by bitmap looks at.
   const Shim::PortBitmap& mask() const { return mask_; }

 private:
   const IntfMatch match_;
   const Shim::PortBitmap ports_;
   const Shim::PortBitmap mask_;
};

class KarvelTcamIntfProfileMgr : public Zol::Entity {
   ZOL_ENTITY( KarvelTcam, KarvelTcamIntfProfileMgr, Zol::Entity );

 public:
   // The profile of these ports. It lives while somebody holds it.
   virtual Zol::Ptr< const IntfProfile > intfProfile(
         IntfMatch match, const Shim::PortBitmap& ports, const Shim::PortBitmap& mask ) = 0;
};

} // namespace KarvelTcam
