#pragma once

// The agent's TCAM group manager: knows the chips, and hands out the groups of mirror
// destinations and of features, and their entry managers. The groups themselves are in
// TcamGroup.h.
//
//    auto groups = Zol::make< TcamGroupManager >();
//    groups->unitIs( 0, { .aclGroup = true, .classBits = 32 } );
//    auto entries = groups->mirroringEntryManager( 0, mtp );
//    groups->groupMirroringAclDataIs( 0, { mtp, 0, false } );
//
// An entry manager may be asked for before or after its group is registered; the group goes
// with it, and comes back only when it is registered again.

#include <map>

#include "AgentServices/BoundedEntryManager.h"
#include "AgentServices/PolicerManager.h"
#include "AgentServices/TcamGroup.h"
#include "Platform/Karvel/TcamServices.h"

namespace AgentServices {

// The traits of a chip that matter here.
struct UnitTraits {
   bool aclGroup = false; // ports are matched by class bits, not one by one
   int classBits = 0;     // of each port, 0 to 32; without aclGroup it is ignored
   int egressEntries = 0; // that a feature of the egress stage may have; 0: there are none

   bool operator==( const UnitTraits& ) const = default;
};

class TcamGroupManager : public Karvel::KarvelTcamGroupManager {
   ZOL_ENTITY( AgentServices, TcamGroupManager, Karvel::KarvelTcamGroupManager );

 public:
   // Registers a chip. Doing so again changes nothing; a chip's traits never change.
   void unitIs( uint32_t unit, const UnitTraits& traits );
   // The port classes of the unit, for callers that keep entries of their own; null on a chip
   // without them. The unit must be known, here and below.
   Zol::Ptr< PortClassManager > portClasses( uint32_t unit );

   // --- Mirror destinations --------------------------------------------------------------
   // Asking again while the manager lives is a broken invariant.
   Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > mirroringEntryManager(
         uint32_t unit, KarvelMirror::Mtp mtp ) override;
   Karvel::TcamStatus groupMirroringAclDataIs(
         uint32_t unit, const Karvel::MirroringAclGroup& group ) override;

   // --- Features -------------------------------------------------------------------------
   Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > mirroringAclEntryManager(
         uint32_t unit, Karvel::KarvelAclFeature feature ) override;
   // Doing so again changes nothing, whatever the metadata: all plain rules are alike.
   Karvel::TcamStatus groupMirroringAclDataIs( uint32_t unit, Karvel::KarvelAclFeature feature,
         const Karvel::MirroringAclMetadata& metadata ) override;

   // --- The egress stage -----------------------------------------------------------------
   // All callers get the same one.
   Zol::Ptr< Karvel::KarvelBoundedTcamEntryManager > boundedEntryManager(
         Karvel::KarvelTcamFeature feature ) override;
   bool createPolicer( uint32_t unit, const Shim::bcm_policer_config_s& config,
         uint32_t* policerId ) override;
   Shim::Rc removePolicer( uint32_t unit, uint32_t policerId ) override;

   // --- For reports ----------------------------------------------------------------------
   // What the chip refused last to a destination, a feature, or a feature of the egress stage;
   // none if it refused nothing.
   LastRefusal lastRefusal( uint32_t unit, KarvelMirror::Mtp mtp );
   LastRefusal lastRefusal( uint32_t unit, Karvel::KarvelAclFeature feature );
   LastRefusal lastRefusal( uint32_t unit, Karvel::KarvelTcamFeature feature );

 private:
   struct Destination {
      Zol::Ptr< TcamGroup > group;
      Karvel::MirroringAclGroup contents; // of the group while it is wanted
   };
   struct Unit {
      UnitTraits traits;
      Zol::Ptr< PortClassManager > classes; // null without aclGroup
      std::map< KarvelMirror::Mtp, Destination > destinations;
      std::map< Karvel::KarvelAclFeature, Zol::Ptr< TcamGroup > > features;
      Zol::Ptr< PolicerManager > policers;
   };

   Unit& unitOf( uint32_t unit );
   Destination& destination( uint32_t unit, KarvelMirror::Mtp mtp );
   TcamGroup& featureGroup( uint32_t unit, Karvel::KarvelAclFeature feature );

   std::map< uint32_t, Unit > units_;
   std::map< Karvel::KarvelTcamFeature, Zol::Ptr< BoundedEntryManager > > bounded_;
};

} // namespace AgentServices
