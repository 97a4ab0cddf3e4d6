#pragma once

// The names and numbers of the shared TCAM manager's requests: what a request is called, what
// its entries may match and do, and what the manager answers. All numbers are defined here
// only.

#include "Platform/KarvelTypes/U10.h"
#include "Platform/Zol/Enum.h"
#include "Platform/Zol/Id.h"
#include "Platform/Zol/RangeChecked.h"
#include "Platform/Zol/Value.h"

namespace KarvelTcam {

ZOL_RANGE( U8Range, U8::value, 0, 0xff, 0xff );
using U8 = Zol::RangeChecked< U8Range >;
using ::U10;

// The feature that asks; requests are filed under it.
ZOL_ENUM( FeatureType, uint8_t, ( none, 0 ), ( mirroring, 1 ) );

// The groups that requests put their entries into. Each has a hardware group of its own, so
// that one entry of each can match a packet.
ZOL_ENUM( FeatureGroupType, uint8_t, ( invalid, 0 ), ( mirroring0, 130 ), ( mirroring1, 131 ),
      ( mirroring2, 132 ), ( mirroring3, 133 ) ); // of mirror destinations 0 to 3
constexpr FeatureGroupType fgtInvalid() { return FeatureGroupType::invalid; }

ZOL_ENUM( RequestConfigType, uint8_t, ( none, 0 ),
      ( programming, 1 ), // its current sub-configuration is to be in the chip
      ( deleting, 2 ) );  // nothing of it is to be there

ZOL_ENUM( QualifierType, uint8_t, ( none, 0 ), ( dstPort, 25 ), // a port qualifier
      ( dstTrunk, 26 ) );                                       // data is the trunk id

ZOL_ENUM( CounterType, uint8_t, ( none, 0 ), ( packets, 1 ), ( bytes, 2 ) );

// What an entry is there for, and what it does: the two go together.
ZOL_ENUM(
      FeatureActionType, uint8_t, ( none, 0 ), ( mirrorEgress, 54 ), ( mirrorIngress, 55 ) );
ZOL_ENUM( ActionType, uint8_t, ( none, 0 ),
      ( mirrorEgress, 57 ),    // copy the frame as sent; parameters 0 and 1 are unit and
                               // mirror destination
      ( mirrorIngress, 58 ) ); // copy the frame as received; likewise

// What became of a request. Other numbers belong to other services and never concern a request.
ZOL_ENUM( RequestStatusType, uint8_t, ( reviewing, 0 ), // taken, not carried out yet
      ( programmed, 2 ),                                // all of it is in the chip
      ( noRoom, 14 ),    // nothing of it is; it is tried again when there may be room
      ( refused, 15 ),   // nothing of it is; the chip refused a call, tried again after a while
      ( malformed, 16 ), // nothing of it is, and nothing will be until it changes
      ( withdrawn, 17 ) ); // nothing of it is, as was asked

// Where entries look packets up.
ZOL_ENUM( LookupStage, uint8_t, ( ingress, 0 ) );

class ClassData : public Zol::Value {
   ZOL_VALUE( KarvelTcam, ClassData, ( VAL, LookupStage, stage ) );
};

class RequestKey : public Zol::Value {
   ZOL_VALUE( KarvelTcam, RequestKey, ( VAL, FeatureType, featureType ),
         ( VAL, Zol::String, requestName ) );

 public:
   RequestKey() = default;
   RequestKey( FeatureType featureType, const Zol::String& requestName )
         : featureType_( featureType ), requestName_( requestName ) {}
   // True if it names a request.
   explicit operator bool() const {
      return featureType_ != FeatureType::none && !requestName_.empty();
   }
};

// One entry of one request: the request in the upper half, the entry's sequence number in the
// lower one.
class RuleId : public Zol::Id< struct RuleIdTag, uint64_t > {
 public:
   constexpr RuleId() = default;
   constexpr RuleId( uint32_t request, uint32_t sequence )
         : Id( uint64_t( request ) << 32 | sequence ) {}
   constexpr uint32_t sequence() const { return static_cast< uint32_t >( value() ); }
   Zol::String toString() const; // "3db0f2a1.7"
};

std::ostream& operator<<( std::ostream& out, RuleId id );

} // namespace KarvelTcam

template <>
struct std::hash< KarvelTcam::RuleId > {
   size_t operator()( const KarvelTcam::RuleId& id ) const { return id.value(); }
};
