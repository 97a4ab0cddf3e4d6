#pragma once

// A request of the shared TCAM manager: what entries a client wants in the chip, all of them,
// under one key.
//
//    auto config = Zol::make< RequestConfig >( key, "MirroringACL-2" );
//    config->requestConfigTypeIs( RequestConfigType::programming );
//    auto rules = config->requestSubConfigIs( Orv::UniqueId::fresh(), 1, ClassData() );
//    rules->fgTypeIs( FeatureGroupType::mirroring2 );
//    auto entry = rules->entryRequestIs( rules->getRuleId( key, 0 ), ClassData() );
//    entry->qualifierIs( QualifierType::dstTrunk, { 7, 0xff } );
//    ...
//    rules->entryQEnq( entry->ruleId() );
//    config->currCfgIs( rules );
//
// and then a review request (Platform/KarvelTcamConfig). A committed sub-configuration never
// changes: the next one takes its place.

#include <vector>

#include "Platform/KarvelTcam/IntfProfile.h"
#include "Platform/KarvelTcam/RequestTypes.h"
#include "Platform/LogicalFap/LogicalFapId.h"
#include "Platform/Orv/UniqueId.h"

namespace KarvelTcam {

// --- One entry -------------------------------------------------------------------------------

class QualifierData : public Zol::Value {
   ZOL_VALUE( KarvelTcam, QualifierData, ( VAL, uint32_t, data ), ( VAL, uint32_t, mask ) );

 public:
   QualifierData() = default;
   QualifierData( uint32_t data, uint32_t mask ) : data_( data ), mask_( mask ) {}
};

class PortQualifier : public Zol::Value {
   ZOL_VALUE( KarvelTcam, PortQualifier, ( VAL, U8, modId ), ( VAL, U8, modIdMask ),
         ( VAL, U10, portId ), ( VAL, U10, portIdMask ) );

 public:
   PortQualifier() = default;
   PortQualifier( U8 modId, U8 modIdMask, U10 portId, U10 portIdMask )
         : modId_( modId ), modIdMask_( modIdMask ), portId_( portId ),
           portIdMask_( portIdMask ) {}
};

// There are many entries, so the two classes below hold their data in place.
class Action : public Zol::Value {
   ZOL_VALUE( KarvelTcam, Action, ( VAL, ActionType, type ), ( VAL, uint32_t, param0 ),
         ( VAL, uint32_t, param1 ), ( VAL, uint8_t, given ) ); // bits of the parameters set

 public:
   static constexpr uint32_t maxParams = 2;

   Action() = default;
   explicit Action( ActionType type ) : type_( type ) {}
   // A parameter by its place: 0 or 1.
   void paramIs( uint32_t key, uint32_t value ) {
      ZOL_ASSERT( key < maxParams );
      ( key == 0 ? param0_ : param1_ ) = value;
      given_ = static_cast< uint8_t >( given_ | 1U << key );
   }
   uint32_t param( uint32_t key ) const { return key == 0 ? param0_ : param1_; }
   bool paramHas( uint32_t key ) const { return key < maxParams && ( given_ >> key & 1 ); }
};

// What an entry is to count.
class CounterSet : public Zol::Value {
   ZOL_VALUE(
         KarvelTcam, CounterSet, ( VAL, uint32_t, enabled ) ); // bits of the types' numbers

 public:
   void counterIs( CounterType type, bool enabled ) {
      const uint32_t bit = 1U << static_cast< unsigned >( type );
      enabled_ = enabled ? enabled_ | bit : enabled_ & ~bit;
   }
   bool counterHas( CounterType type ) const {
      return enabled_ >> static_cast< unsigned >( type ) & 1;
   }
};

class EntryRequest : public Zol::Entity {
   ZOL_ENTITY( KarvelTcam, EntryRequest, Zol::Entity, ( CONST, RuleId, ruleId ),
         ( CONST, ClassData, classData ),
         ( VAL, Zol::Ptr< const IntfProfile >, intfProfile ), // none: any ingress port
         ( MAP, QualifierType, QualifierData, qualifier ),
         ( MAP, QualifierType, PortQualifier, portQualifier ),
         ( VAL, FeatureActionType, featureAction ), ( MAP, ActionType, Action, actionParams ),
         ( VAL, CounterSet, counterSet ),
         ( VAL, Zol::String, description ) ); // for people: shown wherever the entry is

 public:
   EntryRequest( RuleId ruleId, const ClassData& classData )
         : ruleId_( ruleId ), classData_( classData ) {}
};

// --- All entries of one pass -----------------------------------------------------------------

class RequestSubConfig : public Zol::Entity {
   ZOL_ENTITY( KarvelTcam, RequestSubConfig, Zol::Entity, ( CONST, Orv::UniqueId, id ),
         ( CONST, uint32_t, number ), // of the request's, from 1
         ( CONST, ClassData, classData ), ( VAL, FeatureGroupType, fgType ),
         ( COLL, RuleId, EntryRequest, entryRequest ) );

 public:
   RequestSubConfig( Orv::UniqueId id, uint32_t number, const ClassData& classData )
         : id_( id ), number_( number ), classData_( classData ) {}

   // The entry of this number (0 and up) within the request: the same in every
   // sub-configuration.
   RuleId getRuleId( const RequestKey& key, uint32_t sequence ) const {
      return { static_cast< uint32_t >( Zol::hash( key ) ), sequence };
   }
   // Adds an entry to those that are to be programmed, in this order. The entry must exist, and
   // is added once.
   void entryQEnq( RuleId ruleId ) { entryQ_.push_back( ruleId ); }
   const std::vector< RuleId >& entryQ() const { return entryQ_; }

 private:
   std::vector< RuleId > entryQ_;
};

// --- A request -------------------------------------------------------------------------------

class PipeInfoPerFap : public Zol::Entity {
   ZOL_ENTITY( KarvelTcam, PipeInfoPerFap, Zol::Entity,
         ( CONST, LogicalFap::LogicalFapId, fap ),
         ( VAL, bool, allPipes ) ); // the entries look at the packets of every pipe

 public:
   explicit PipeInfoPerFap( LogicalFap::LogicalFapId fap ) : fap_( fap ) {}
};

// The forwarding processors that a request is for.
class FapSet : public Zol::Entity {
   ZOL_ENTITY( KarvelTcam, FapSet, Zol::Entity,
         ( VAL, bool, logicalFap ), // they are logical ones
         ( COLL, LogicalFap::LogicalFapId, PipeInfoPerFap, fap ) );
};

class ClassInfo : public Zol::Entity {
   ZOL_ENTITY( KarvelTcam, ClassInfo, Zol::Entity, ( VAL, ClassData, classData ) );
};

class RequestConfig : public Zol::Entity {
   ZOL_ENTITY( KarvelTcam, RequestConfig, Zol::Entity, ( CONST, RequestKey, requestKey ),
         ( CONST, Zol::String, requestName ), ( OWN, FapSet, fapSet ),
         ( OWN, ClassInfo, classInfo ), ( VAL, RequestConfigType, requestConfigType ),
         ( COLL, Orv::UniqueId, RequestSubConfig, requestSubConfig ),
         ( VAL, Zol::Ptr< const RequestSubConfig >, currCfg ) ); // the one in force

 public:
   RequestConfig( const RequestKey& requestKey, const Zol::String& requestName )
         : requestKey_( requestKey ), requestName_( requestName ) {}
};

// The manager's answer to a request. Each answer is a new object.
class RequestStatus : public Zol::Entity {
   ZOL_ENTITY( KarvelTcam, RequestStatus, Zol::Entity, ( CONST, RequestKey, requestKey ),
         ( CONST, RequestStatusType, statusType ) );

 public:
   RequestStatus( const RequestKey& requestKey, RequestStatusType statusType )
         : requestKey_( requestKey ), statusType_( statusType ) {}
};

} // namespace KarvelTcam
