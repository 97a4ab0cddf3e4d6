#pragma once

// Listens to what the shared TCAM manager says of this slice's requests. It watches that the
// manager keeps to what a mirroring request can become; nothing follows from a status here,
// because the manager itself tries again what it could not carry out.

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

   // A status entity of the manager's; it must be there and of a kind that requests have.
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
