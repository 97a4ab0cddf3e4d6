#pragma once

// One slice: a chip, the data that the agent shares about it, and the plug-in's mounter that
// was made for it.

#include <memory>
#include <optional>
#include <string>

#include "Agent/Configuration/Configuration.h"
#include "Agent/Slices/PortTabWriter.h"
#include "Agent/Slices/SessionOutcome.h"
#include "AgentServices/EmbeddedAclHelper.h"
#include "AgentServices/TcamGroupManager.h"
#include "AgentServices/TcamRequestManager.h"
#include "ChipModel/Profile.h"
#include "Platform/Hubdb/Store.h"
#include "Platform/Karvel/KarvelCommonSmData.h"
#include "Platform/Karvel/TcamServices.h"
#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/Plugin/Mounter.h"

namespace Agent {

class SliceHost {
 public:
   // Puts the slice's paths into the store and its shared entities into their directory. The
   // plug-in is not called yet.
   SliceHost( int unit, const ChipModel::Profile& profile, Hubdb::Store& store,
         Zol::Ptr< KarvelCentral::ChipTable > chipTable,
         Zol::Ptr< AgentServices::TcamGroupManager > groupManager );
   ~SliceHost();
   SliceHost( const SliceHost& ) = delete;
   SliceHost& operator=( const SliceHost& ) = delete;

   // Brings the ports and link aggregations of the shared data up to date.
   void configurationIs( const Configuration& configuration );
   // Makes the mounter and the command callback, and carries the mounts out.
   void start();

   int unit() const { return unit_; }
   const ChipModel::Profile& profile() const { return profile_; }
   LogicalFap::LogicalFapId logicalFap() const { return scsd_->logicalFapId(); }
   Zol::Ptr< const Karvel::KarvelCommonSmData > scsd() const { return scsd_; }
   // What the slice reports; null before start().
   Zol::Ptr< const KarvelMirror::SliceMtpProgramStatus > programStatus() const;
   Zol::Ptr< Plugin::AgentCommandCallback > callback() const { return callback_; }
   // How the port mirroring of a destination went: the slice's status; on a chip that is
   // programmed by requests, the status of its request.
   KarvelMirror::ProgramStatus portStatus( KarvelMirror::Mtp mtp ) const;
   // The shared TCAM manager; null on a chip that is not programmed by requests.
   const AgentServices::TcamRequestManager* requestManager() const {
      return requestManager_.get();
   }
   // Tries refused requests again: there may be room in the TCAM now.
   void retryRequests() const;
   // The ACLs that the slice has in the chip.
   const AgentServices::EmbeddedAclHelper& aclHelper() const { return *aclHelper_; }
   // What the chip refused last to the port mirroring of a destination, to its filters, or to a
   // kind of rules of the egress stage; none if it refused nothing.
   AgentServices::LastRefusal portRefusal( KarvelMirror::Mtp mtp ) const;
   AgentServices::LastRefusal filterRefusal( KarvelMirror::Mtp mtp ) const;
   AgentServices::LastRefusal egressRefusal( KarvelMirror::RateLimitKind kind ) const;
   // Why an ACL of a destination could not be brought into the chip; none if it is there.
   std::optional< SessionOutcome > aclProblem(
         KarvelMirror::Mtp mtp, const Ixo::AclKey& key ) const;

 private:
   void makeRequestManager( const Zol::Ptr< AgentServices::TcamGroupManager >& groupManager );
   void portsAre( const Configuration& configuration );
   void channelsAre( const Configuration& configuration );
   void lagsAre( const Configuration& configuration );

   const int unit_;
   const ChipModel::Profile& profile_;
   const Zol::String name_; // "slice0"
   Hubdb::Store& store_;
   Hubdb::EntityManager entityManager_;
   Zol::Ptr< Karvel::KarvelCommonSmData > scsd_;
   Zol::Ptr< AgentServices::TcamGroupManager > groupManager_;
   Zol::Ptr< AgentServices::EmbeddedAclHelper > aclHelper_;
   Zol::Ptr< PortTabWriter > portTabWriter_;
   Zol::Ptr< AgentServices::TcamRequestManager > requestManager_;
   Zol::Ptr< Zol::Dir > shared_;
   Zol::Ptr< Plugin::Mounter > mounter_;
   Zol::Ptr< Plugin::AgentCommandCallback > callback_;
};

} // namespace Agent
