#pragma once

// The channel on which a client asks the shared TCAM manager to look at its requests:
//
//    events->enqueueRequests( karvelTcamReviewRequestFactory(
//          config, karvelTcamIntfTypeFactory(), now ) );
//    events->commitBatch();
//    ...
//    events->clientWarmIs( true );     // once: the manager carries nothing out before
//
// The manager carries a batch out in a later turn of the event loop; of several review requests
// for one key the last one counts. It answers in the status directory, in the directory of the
// channel's name: one KarvelTcam::RequestStatus per request, under the request's name.

#include <vector>

#include "Platform/KarvelTcam/RequestConfig.h"

namespace KarvelTcamConfig {

// What kind of interfaces a request's profiles are made of.
ZOL_ENUM( IntfKind, uint8_t, ( frontPanel, 0 ) );

class KarvelTcamIntfType : public Zol::Entity {
   ZOL_ENTITY( KarvelTcamConfig, KarvelTcamIntfType, Zol::Entity, ( VAL, IntfKind, kind ) );
};

class KarvelTcamReviewRequest : public Zol::Entity {
   ZOL_ENTITY( KarvelTcamConfig, KarvelTcamReviewRequest, Zol::Entity,
         ( CONST, Zol::Ptr< const KarvelTcam::RequestConfig >, requestConfig ),
         ( CONST, Zol::Ptr< const KarvelTcamIntfType >, intfType ),
         ( CONST, double, time ) ); // of the request, in the agent's seconds

 public:
   KarvelTcamReviewRequest( Zol::Ptr< const KarvelTcam::RequestConfig > requestConfig,
         Zol::Ptr< const KarvelTcamIntfType > intfType, double time )
         : requestConfig_( requestConfig ), intfType_( intfType ), time_( time ) {}
};

class KarvelTcamEvents : public Zol::Entity {
   ZOL_ENTITY( KarvelTcamConfig, KarvelTcamEvents, Zol::Entity, ( CONST, Zol::String, name ),
         ( VAL, bool, clientWarm ),  // the client has made all requests of its start
         ( VAL, uint32_t, batch ) ); // how many were committed

 public:
   using Reviews = std::vector< Zol::Ptr< const KarvelTcamReviewRequest > >;

   explicit KarvelTcamEvents( const Zol::String& name ) : name_( name ) {}

   // --- For the client -------------------------------------------------------------------
   void enqueueRequests( Zol::Ptr< const KarvelTcamReviewRequest > review );
   // Hands the enqueued requests over to the manager.
   void commitBatch();

   // --- For the manager ------------------------------------------------------------------
   // The reviews that were committed since the last call, in order.
   Reviews takeCommitted();

 private:
   Reviews enqueued_;
   Reviews committed_;
};

Zol::Ptr< KarvelTcamIntfType > karvelTcamIntfTypeFactory();
Zol::Ptr< KarvelTcamReviewRequest > karvelTcamReviewRequestFactory(
      Zol::Ptr< const KarvelTcam::RequestConfig > requestConfig,
      Zol::Ptr< const KarvelTcamIntfType > intfType, double time );

} // namespace KarvelTcamConfig
