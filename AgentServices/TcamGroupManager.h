#pragma once

// The agent's TCAM group manager: knows the chips, and hands out each mirror destination's
// group and entry manager. The groups themselves are in TcamGroup.h.
//
//    auto groups = Zol::make< TcamGroupManager >();
//    groups->unitIs( 0, { .aclGroup = true, .classBits = 32 } );
//    auto entries = groups->mirroringEntryManager( 0, mtp );
//    groups->groupMirroringAclDataIs( 0, { mtp, 0, false } );
//
// The entry manager may be asked for before or after its group is registered; the group
// goes with it, and comes back only when it is registered again.

#include <map>

#include "AgentServices/TcamGroup.h"
#include "Platform/Karvel/TcamServices.h"

namespace AgentServices {

// What matters of a chip here.
struct UnitTraits {
   bool aclGroup = false; // ports are matched by class bits, not one by one
   int classBits = 0;     // of each port, 0 to 32; without aclGroup it is ignored

   bool operator==( const UnitTraits& ) const = default;
};

class TcamGroupManager : public Karvel::KarvelTcamGroupManager {
   ZOL_ENTITY( AgentServices, TcamGroupManager, Karvel::KarvelTcamGroupManager );

 public:
   // Makes a chip known. Saying the same again changes nothing; a chip's traits never
   // change.
   void unitIs( uint32_t unit, const UnitTraits& traits );

   // The unit must be known, here and below. Asking again while the manager lives is a
   // broken invariant.
   Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > mirroringEntryManager(
         uint32_t unit, KarvelMirror::Mtp mtp ) override;
   Karvel::TcamStatus groupMirroringAclDataIs(
         uint32_t unit, const Karvel::MirroringAclGroup& group ) override;

 private:
   struct Unit {
      UnitTraits traits;
      Zol::Ptr< PortClassManager > classes; // null without aclGroup
      std::map< KarvelMirror::Mtp, Zol::Ptr< TcamGroup > > groups;
   };

   TcamGroup& group( uint32_t unit, KarvelMirror::Mtp mtp );

   std::map< uint32_t, Unit > units_;
};

} // namespace AgentServices
