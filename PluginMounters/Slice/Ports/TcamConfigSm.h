#pragma once

// Traces the statuses that the shared TCAM manager reports for this slice's requests, and stops
// the agent on one that a mirroring request cannot have. Nothing else follows from a status: the
// manager itself retries what it could not carry out.

#include "Platform/KarvelCentral/Status.h"
#include "Platform/KarvelTcamConfig/KarvelTcamEvents.h"
#include "Platform/Zol/Dir.h"
#include "Platform/Zol/Sm.h"

namespace KarvelMirror {

class TcamConfigSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror, TcamConfigSm, Zol::EntitySm,
         ( CONST, KarvelTcam::FeatureType, featureType ),
         ( CONST, Zol::Ptr< KarvelTcamConfig::KarvelTcamEvents >, tcamEvents ),
         ( CONST, Zol::Ptr< Zol::Dir >, tcamConfigDir ),
         ( CONST, Zol::Ptr< const Zol::Dir >, tcamStatusDir ),
         ( CONST, Zol::Ptr< const KarvelCentral::FeatureAgentCommonSmData >, acsd ) );

 public:
   TcamConfigSm( KarvelTcam::FeatureType featureType,
         Zol::Ptr< KarvelTcamConfig::KarvelTcamEvents > tcamEvents,
         Zol::Ptr< Zol::Dir > tcamConfigDir, Zol::Ptr< const Zol::Dir > tcamStatusDir,
         Zol::Ptr< const KarvelCentral::FeatureAgentCommonSmData > acsd );

   // `status` must not be null, and its type must be one that requests can have.
   void handleEventRequestStatus( const Zol::Ptr< const KarvelTcam::RequestStatus >& status );

 protected:
   void doInit() override;

 private:
   void handleStatusDir( const Zol::String& name );
   void handleRequest( const Zol::String& name );

   Zol::Ptr< const Zol::Dir > requests_; // the channel's own part of the status directory
};

Zol::Ptr< TcamConfigSm > tcamConfigSmFactory( KarvelTcam::FeatureType featureType,
      Zol::Ptr< KarvelTcamConfig::KarvelTcamEvents > tcamEvents,
      Zol::Ptr< Zol::Dir > tcamConfigDir, Zol::Ptr< const Zol::Dir > tcamStatusDir,
      Zol::Ptr< const KarvelCentral::FeatureAgentCommonSmData > acsd );

} // namespace KarvelMirror
