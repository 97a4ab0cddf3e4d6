#include "Platform/KarvelTcamConfig/KarvelTcamEvents.h"

namespace KarvelTcamConfig {

void KarvelTcamEvents::enqueueRequests( Zol::Ptr< const KarvelTcamReviewRequest > review ) {
   ZOL_ASSERT( review && review->requestConfig() );
   enqueued_.push_back( std::move( review ) );
}

void KarvelTcamEvents::commitBatch() {
   committed_.insert( committed_.end(), enqueued_.begin(), enqueued_.end() );
   enqueued_.clear();
   batchIs( batch() + 1 );
}

KarvelTcamEvents::Reviews KarvelTcamEvents::takeCommitted() {
   return std::exchange( committed_, {} );
}

Zol::Ptr< KarvelTcamIntfType > karvelTcamIntfTypeFactory() {
   return Zol::make< KarvelTcamIntfType >();
}

Zol::Ptr< KarvelTcamReviewRequest > karvelTcamReviewRequestFactory(
      Zol::Ptr< const KarvelTcam::RequestConfig > requestConfig,
      Zol::Ptr< const KarvelTcamIntfType > intfType, double time ) {
   return Zol::make< KarvelTcamReviewRequest >( requestConfig, intfType, time );
}

ZOL_DEFINE_ENTITY( KarvelTcamIntfType );
ZOL_DEFINE_ENTITY( KarvelTcamReviewRequest );
ZOL_DEFINE_ENTITY( KarvelTcamEvents );

} // namespace KarvelTcamConfig
