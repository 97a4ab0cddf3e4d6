#pragma once

// The numbers under which mirroring uses the agent's TCAM services.

#include "Platform/Karvel/TcamServices.h"
#include "Platform/KarvelMirror/Mtp.h"
#include "Platform/KarvelTcam/RequestTypes.h"

namespace KarvelMirror {

// Mirror destinations are numbered from 0.
inline constexpr uint8_t maxMtps = 4;

// The ACL feature of a destination: 1 to 4.
constexpr Karvel::KarvelAclFeature aclFeature( Mtp mtp ) {
   return Karvel::KarvelAclFeature( static_cast< uint8_t >( mtp.value() + 1 ) );
}

// The feature group of a destination's requests: 130 to 133.
constexpr KarvelTcam::FeatureGroupType featureGroup( Mtp mtp ) {
   return static_cast< KarvelTcam::FeatureGroupType >(
         static_cast< uint8_t >( KarvelTcam::FeatureGroupType::mirroring0 ) + mtp.value() );
}
// The destination of such a group.
constexpr Mtp mtpOf( KarvelTcam::FeatureGroupType group ) {
   return Mtp( static_cast< uint8_t >( static_cast< uint8_t >( group ) -
         static_cast< uint8_t >( KarvelTcam::FeatureGroupType::mirroring0 ) ) );
}

// Features with entries of their own in the egress stage: limits by port, and by tunnel.
inline constexpr Karvel::KarvelTcamFeature portRateLimitFeature( 143 );
inline constexpr Karvel::KarvelTcamFeature greRateLimitFeature( 144 );

} // namespace KarvelMirror
