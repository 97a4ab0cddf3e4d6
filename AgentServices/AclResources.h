#pragma once

// What the ACLs of one chip share: port maps, port classes, range checkers, and what the chip
// refused to give back, which is tried again every second and whenever an ACL is withdrawn.
//
// If the chip refuses to destroy a group although all its known entries are gone, the group
// holds an entry that nobody can name (see TcamGroup). Such a group serves the next ACL of its
// kind.

#include <memory>
#include <vector>

#include "AgentServices/ChipAcl.h"
#include "AgentServices/PortClassManager.h"
#include "AgentServices/RangeCheckerPool.h"
#include "Platform/KarvelTcam/PortMaps.h"

namespace AgentServices {

class AclResources : public Zol::RefCounted {
 public:
   // `classes` is null on a chip without port classes.
   AclResources(
         uint32_t unit, KarvelTcam::CommonData common, Zol::Ptr< PortClassManager > classes );

   uint32_t unit() const { return unit_; }
   int sdkUnit() const { return static_cast< int >( unit_ ); } // as SDK calls take it
   const KarvelTcam::CommonData& common() const { return common_; }
   const Zol::Ptr< PortClassManager >& classes() const { return classes_; } // may be null
   RangeCheckerPool& checkers() { return *checkers_; }

   // A group for an ACL of that kind and feature, without entries.
   Zol::Ptr< TcamGroup > group( Acl::AclType type, Karvel::KarvelAclFeature feature );
   // Takes the ACL off the chip, as far as the chip allows.
   void withdraw( std::unique_ptr< ChipAcl > acl );

 private:
   void lastRelease() override { tidy(); }
   void tidy();

   uint32_t unit_;
   KarvelTcam::CommonData common_;
   Zol::Ptr< PortClassManager > classes_;
   Zol::Ptr< RangeCheckerPool > checkers_;
   std::vector< std::unique_ptr< ChipAcl > > leftAcls_;
   std::vector< Zol::Ptr< TcamGroup > > leftGroups_; // without known entries
   Zol::Clock tidyClock_;
};

} // namespace AgentServices
