#pragma once

// The shared TCAM manager of one chip: it brings what its clients ask for by requests into the
// chip, and keeps it so.
//
//    auto manager = Zol::make< TcamRequestManager >( unit, fap, "slice0", groups, statusDir );
//    manager->zolStart();
//    client( manager->events(), manager->intfProfileManager() );
//
// Committed batches are carried out in the next turn of the event loop, all together. The
// entries that a request's current sub-configuration asks for are compared with those that it
// has in the chip: entries that are asked for again stay as they are, new ones are installed
// before superfluous ones are released, or after, if the chip has no room for both.
//
// A request is in the chip as a whole or not at all. If the chip is full or refuses a call, the
// request is tried again whenever another request releases entries, on retry(), and every 10
// seconds. Statuses go to the status directory, see Platform/KarvelTcamConfig.
//
// Each feature group is a hardware group. When the manager goes, all entries of its requests
// go, too.

#include <map>
#include <optional>
#include <vector>

#include "AgentServices/IntfProfileManager.h"
#include "AgentServices/TcamGroupManager.h"
#include "AgentServices/TcamRequestEntry.h"
#include "Platform/KarvelTcamConfig/KarvelTcamEvents.h"
#include "Platform/Zol/Clock.h"
#include "Platform/Zol/Dir.h"
#include "Platform/Zol/Sm.h"

namespace AgentServices {

// One request for people to look at.
struct TcamRequestView {
   struct Entry {
      Zol::Ptr< const KarvelTcam::EntryRequest > request;
      Karvel::EntryId id = 0; // in the chip; 0: it is not there
   };
   KarvelTcam::RequestKey key;
   KarvelTcam::RequestConfigType type{};
   KarvelTcam::FeatureGroupType group{};
   KarvelTcam::RequestStatusType status{};
   std::vector< Entry > entries; // in the order in which they were asked for
};

class TcamRequestManager : public Zol::EntitySm {
   ZOL_ENTITY( AgentServices, TcamRequestManager, Zol::EntitySm, ( CONST, uint32_t, unit ),
         ( CONST, LogicalFap::LogicalFapId, logicalFap ),
         ( CONST, Zol::Ptr< KarvelTcamConfig::KarvelTcamEvents >, events ),
         ( CONST, Zol::Ptr< IntfProfileManager >, intfProfileManager ) );

 public:
   // The group manager must know the unit. `logicalFap` is the chip's, as requests name it, and
   // `name` the channel's.
   TcamRequestManager( uint32_t unit, LogicalFap::LogicalFapId logicalFap,
         const Zol::String& name, const Zol::Ptr< TcamGroupManager >& groupManager,
         Zol::Ptr< Zol::Dir > statusDir );

   // There may be room again: the next turn retries the requests that were not carried out.
   void retry();
   // The worst status of a feature group's requests, `withdrawn` if it has none.
   KarvelTcam::RequestStatusType status( KarvelTcam::FeatureGroupType group ) const;
   // What the chip refused last of a feature group.
   LastRefusal lastRefusal( KarvelTcam::FeatureGroupType group ) const;
   std::vector< TcamRequestView > requests() const; // by key

 protected:
   void doInit() override;
   void doCleanup() override;

 private:
   struct Line { // one entry of a request
      TcamRequestEntry contents;
      Karvel::EntryId id = 0; // 0: it is to be made
   };
   struct Request {
      Zol::Ptr< const KarvelTcam::RequestConfig > config;
      bool isDirty = false; // there was a review request since it was last carried out
      std::optional< KarvelTcam::RequestStatusType > status; // as posted
      // The one that is in the chip, or would be if there were room.
      Zol::Ptr< const KarvelTcam::RequestSubConfig > subConfig;
      std::vector< Line > lines; // of its queue; empty unless they are in the chip
   };
   struct Group {
      Zol::Ptr< TcamGroup > group;
      Zol::Ptr< TcamEntryManager > entries;
   };

   void handleEvents();
   void review();
   void takeCommitted();
   void withdrawDeleted();
   bool isPending( const Request& request ) const;
   void carryOut( const KarvelTcam::RequestKey& key, Request& request );
   bool isForThisChip( const KarvelTcam::RequestConfig& config ) const;
   KarvelTcam::RequestStatusType reconcile(
         const KarvelTcam::RequestKey& key, Request& request );
   Karvel::TcamStatus make( const KarvelTcam::RequestKey& key,
         const KarvelTcam::RequestSubConfig& subConfig, std::vector< Line >& lines );
   void release( KarvelTcam::FeatureGroupType group, std::vector< Line >& lines );
   void releaseRequest( Request& request );
   void post( const KarvelTcam::RequestKey& key, Request& request,
         KarvelTcam::RequestStatusType status );
   Group* group( KarvelTcam::FeatureGroupType type );

   const Zol::Ptr< Zol::Dir > statusDir_;
   const Zol::Ptr< PortClassManager > classes_; // null on a chip without port classes
   std::map< KarvelTcam::RequestKey, Request > requests_;
   std::map< KarvelTcam::FeatureGroupType, Group > groups_;
   uint32_t made_ = 0;     // entries, ever: tells them apart
   uint64_t released_ = 0; // entries that were in the chip, ever
   bool retryPending_ = false;
   Zol::Clock reviewClock_;
   Zol::Clock retryClock_;
};

} // namespace AgentServices
