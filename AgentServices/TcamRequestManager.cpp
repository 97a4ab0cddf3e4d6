#include "AgentServices/TcamRequestManager.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "Platform/Duolog/Duolog.h"

namespace AgentServices {

using Karvel::TcamStatus;
using KarvelTcam::FeatureGroupType;
using KarvelTcam::RequestConfigType;
using KarvelTcam::RequestKey;
using KarvelTcam::RequestStatusType;
using KarvelTcam::RequestSubConfig;

namespace {

Duolog::Handle trace( "TcamRequestManager" );

constexpr Zol::Seconds retryInterval = 10;

RequestStatusType toRequestStatus( TcamStatus status ) {
   switch ( status ) {
   case TcamStatus::success:
      return RequestStatusType::programmed;
   case TcamStatus::exhausted:
      return RequestStatusType::noRoom;
   default:
      return RequestStatusType::refused;
   }
}

FeatureGroupType groupOf( const Zol::Ptr< const RequestSubConfig >& subConfig ) {
   return subConfig ? subConfig->fgType() : KarvelTcam::fgtInvalid();
}

} // namespace

TcamRequestManager::TcamRequestManager( uint32_t unit, LogicalFap::LogicalFapId logicalFap,
      const Zol::String& name, const Zol::Ptr< TcamGroupManager >& groupManager,
      Zol::Ptr< Zol::Dir > statusDir )
      : unit_( unit ), logicalFap_( logicalFap ),
        events_( Zol::make< KarvelTcamConfig::KarvelTcamEvents >( name ) ),
        intfProfileManager_( Zol::make< IntfProfileManager >() ), statusDir_( statusDir ),
        classes_( groupManager->portClasses( unit ) ),
        reviewClock_( *this, [ this ] { review(); } ),
        retryClock_( *this, [ this ] { retry(); } ) {}

void TcamRequestManager::doInit() {
   using Events = KarvelTcamConfig::KarvelTcamEvents::Attr;
   react< &TcamRequestManager::handleEvents, Events::batch >( events() );
   react< &TcamRequestManager::handleEvents, Events::clientWarm >( events() );
   statusDir_->entityIs( events()->name(), Zol::Ptr< Zol::Entity >( Zol::make< Zol::Dir >() ) );
   handleEvents();
}

void TcamRequestManager::doCleanup() {
   reviewClock_.timeMinIs( Zol::never );
   retryClock_.timeMinIs( Zol::never );
   for ( auto& [ key, request ] : requests_ ) {
      releaseRequest( request );
   }
   requests_.clear();
   groups_.clear();
   statusDir_->entityDel( events()->name() );
}

void TcamRequestManager::handleEvents() {
   reviewClock_.timeMinIs( Zol::activityManager().now() );
}

void TcamRequestManager::retry() {
   retryClock_.timeMinIs( Zol::never );
   retryPending_ = true;
   reviewClock_.timeMinIs( Zol::activityManager().now() );
}

// --- Reviews ---------------------------------------------------------------------------------

void TcamRequestManager::review() {
   reviewClock_.timeMinIs( Zol::never );
   if ( !events()->clientWarm() ) {
      return; // requests that are still to come may want the same entries, or the same room
   }
   takeCommitted();
   const uint64_t atStart = released_;
   withdrawDeleted();
   bool retryAll = std::exchange( retryPending_, false ) || released_ != atStart;
   for ( ;; ) {
      const uint64_t before = released_;
      for ( auto& [ key, request ] : requests_ ) {
         if ( request.isDirty || ( retryAll && isPending( request ) ) ) {
            carryOut( key, request );
         }
      }
      if ( released_ == before ) {
         break;
      }
      retryAll = true; // ends: each time less is left that can be released
   }
   const bool anyPending = std::any_of( requests_.begin(), requests_.end(),
         [ this ]( const auto& element ) { return isPending( element.second ); } );
   retryClock_.timeMinIs(
         anyPending ? Zol::activityManager().now() + retryInterval : Zol::never );
}

void TcamRequestManager::takeCommitted() {
   for ( const auto& review : events()->takeCommitted() ) {
      const RequestKey& key = review->requestConfig()->requestKey();
      Request& request = requests_[ key ];
      request.config = review->requestConfig();
      request.isDirty = true;
   }
   for ( auto& [ key, request ] : requests_ ) {
      if ( request.isDirty ) {
         post( key, request, RequestStatusType::reviewing );
      }
   }
}

// Runs first, because it makes room.
void TcamRequestManager::withdrawDeleted() {
   for ( auto at = requests_.begin(); at != requests_.end(); ) {
      auto& [ key, request ] = *at;
      if ( request.config->requestConfigType() != RequestConfigType::deleting ) {
         ++at;
         continue;
      }
      releaseRequest( request );
      post( key, request, RequestStatusType::withdrawn );
      if ( auto statuses =
                  Zol::dynamicCast< Zol::Dir >( statusDir_->entity( events()->name() ) ) ) {
         statuses->entityDel( key.requestName() );
      }
      at = requests_.erase( at );
   }
}

bool TcamRequestManager::isPending( const Request& request ) const {
   return request.status == RequestStatusType::noRoom ||
         request.status == RequestStatusType::refused;
}

void TcamRequestManager::carryOut( const RequestKey& key, Request& request ) {
   request.isDirty = false;
   const RequestStatusType status = reconcile( key, request );
   DUOLOG( trace, 1,
         "TcamRequestManager::"
               << "carryOut"
               << " RequestKey: " << key << " StatusType: " << status );
   post( key, request, status );
}

void TcamRequestManager::post(
      const RequestKey& key, Request& request, RequestStatusType status ) {
   if ( request.status == status ) {
      return;
   }
   request.status = status;
   auto statuses = Zol::dynamicCast< Zol::Dir >( statusDir_->entity( events()->name() ) );
   if ( statuses ) {
      statuses->entityIs( key.requestName(),
            Zol::Ptr< Zol::Entity >( Zol::make< KarvelTcam::RequestStatus >( key, status ) ) );
   }
}

// --- Entries ---------------------------------------------------------------------------------

namespace {

// Gives each line of `wanted` an entry of `present` with the same contents, each entry once.
// Entries that nobody wants stay in `present`.
template < typename Line >
void takeOver( std::vector< Line >& present, std::vector< Line >& wanted ) {
   std::vector< Line* > have;
   std::vector< Line* > want;
   for ( size_t i = 0; i < std::max( present.size(), wanted.size() ); ++i ) {
      // Most lines have kept their place.
      if ( i < present.size() && i < wanted.size() &&
            present[ i ].contents == wanted[ i ].contents ) {
         wanted[ i ].id = std::exchange( present[ i ].id, 0 );
         continue;
      }
      if ( i < present.size() ) {
         have.push_back( &present[ i ] );
      }
      if ( i < wanted.size() ) {
         want.push_back( &wanted[ i ] );
      }
   }
   const auto byContents = []( const Line* left, const Line* right ) {
      return left->contents < right->contents;
   };
   std::stable_sort( have.begin(), have.end(), byContents );
   std::stable_sort( want.begin(), want.end(), byContents );
   auto at = have.begin();
   for ( Line* line : want ) {
      while ( at != have.end() && byContents( *at, line ) ) {
         ++at;
      }
      if ( at != have.end() && ( *at )->contents == line->contents ) {
         line->id = std::exchange( ( *at )->id, 0 );
         ++at;
      }
   }
   std::erase_if( present, []( const Line& line ) { return line.id == 0; } );
}

} // namespace

// Whether a request is for the packets of this chip, all of them, and its rules are of the class
// that it announces.
bool TcamRequestManager::isForThisChip( const KarvelTcam::RequestConfig& config ) const {
   const Zol::Ptr< const KarvelTcam::FapSet > faps = config.fapSet();
   const Zol::Ptr< const KarvelTcam::PipeInfoPerFap > own =
         faps && faps->logicalFap() ? faps->fap( logicalFap_ ) : nullptr;
   const Zol::Ptr< const KarvelTcam::ClassInfo > info = config.classInfo();
   return own && own->allPipes() && info && info->classData() == config.currCfg()->classData();
}

RequestStatusType TcamRequestManager::reconcile( const RequestKey& key, Request& request ) {
   const Zol::Ptr< const RequestSubConfig > wanted = request.config->currCfg();
   const uint64_t releasedAfterAll = released_ + request.lines.size();
   std::vector< Line > lines;
   bool good = wanted && isForThisChip( *request.config ) && group( wanted->fgType() );
   if ( good ) {
      lines.reserve( wanted->entryQ().size() );
      for ( const KarvelTcam::RuleId id : wanted->entryQ() ) {
         const auto entry = wanted->entryRequest( id );
         const auto contents = entry ? requestEntry( *entry ) : std::nullopt;
         good = good && contents;
         if ( good ) {
            lines.push_back( { *contents } );
         }
      }
   }
   if ( !good || wanted->fgType() != groupOf( request.subConfig ) ) {
      releaseRequest( request );
   }
   request.subConfig = wanted;
   if ( !good ) {
      return RequestStatusType::malformed;
   }
   takeOver( request.lines, lines );
   TcamStatus status = make( key, *wanted, lines );
   if ( status == TcamStatus::exhausted && !request.lines.empty() ) {
      release( wanted->fgType(), request.lines );
      status = make( key, *wanted, lines );
   }
   release( wanted->fgType(), request.lines );
   request.lines = std::move( lines );
   if ( status != TcamStatus::success ) {
      releaseRequest( request );
      released_ = releasedAfterAll; // releasing what was made in vain frees no room for others
   }
   return toRequestStatus( status );
}

TcamStatus TcamRequestManager::make(
      const RequestKey& key, const RequestSubConfig& subConfig, std::vector< Line >& lines ) {
   Group& at = *group( subConfig.fgType() );
   const RefusalNote note( at.group->lastRefusal() );
   if ( !at.group->isWanted() ) {
      const TcamStatus status = at.group->renew();
      if ( status != TcamStatus::success ) {
         return status;
      }
   }
   for ( size_t i = 0; i < lines.size(); ++i ) {
      if ( lines[ i ].id != 0 ) {
         continue;
      }
      const auto request = subConfig.entryRequest( subConfig.entryQ()[ i ] );
      const Karvel::TcamEntryResult entry = at.entries->getEntry( unit(),
            request->description(), { KarvelMirror::Mtp(), key.requestName(), 0, ++made_, 0 } );
      if ( entry.status != TcamStatus::success ) {
         return entry.status;
      }
      const Shim::Rc rc = writeEntry( lines[ i ].contents, unit(), *at.entries, entry.entryId );
      if ( rc != Shim::Sdk::QX_BCM_E_NONE() ) {
         at.entries->releaseEntry( unit(), entry.entryId );
         return tcamStatus( rc );
      }
      lines[ i ].id = entry.entryId;
   }
   return TcamStatus::success;
}

void TcamRequestManager::release( FeatureGroupType type, std::vector< Line >& lines ) {
   for ( const Line& line : lines ) {
      if ( line.id != 0 ) {
         group( type )->entries->releaseEntry( unit(), line.id );
         ++released_;
      }
   }
   lines.clear();
}

void TcamRequestManager::releaseRequest( Request& request ) {
   release( groupOf( request.subConfig ), request.lines );
}

// Null if there is no such feature group.
TcamRequestManager::Group* TcamRequestManager::group( FeatureGroupType type ) {
   if ( type == KarvelTcam::fgtInvalid() ||
         !Zol::instanceByNumber< FeatureGroupType >( static_cast< int >( type ) ) ) {
      return nullptr;
   }
   Group& place = groups_[ type ];
   if ( !place.group ) {
      place.group =
            Zol::make< TcamGroup >( unit(), requestGroupPurpose( type, classes_ != nullptr ),
                  GroupLife::withEntries, classes_ );
      place.entries = Zol::make< TcamEntryManager >( place.group );
   }
   return &place;
}

// --- For reports -----------------------------------------------------------------------------

LastRefusal TcamRequestManager::lastRefusal( FeatureGroupType type ) const {
   const auto at = groups_.find( type );
   return at == groups_.end() ? LastRefusal() : at->second.group->lastRefusal();
}

RequestStatusType TcamRequestManager::status( FeatureGroupType type ) const {
   RequestStatusType worst = RequestStatusType::withdrawn;
   const auto badness = []( RequestStatusType status ) {
      switch ( status ) {
      case RequestStatusType::withdrawn:
         return 0;
      case RequestStatusType::programmed:
         return 1;
      case RequestStatusType::reviewing:
         return 2;
      case RequestStatusType::noRoom:
         return 3;
      default:
         return 4;
      }
   };
   for ( const auto& [ key, request ] : requests_ ) {
      if ( groupOf( request.config->currCfg() ) == type && request.status &&
            badness( *request.status ) > badness( worst ) ) {
         worst = *request.status;
      }
   }
   return worst;
}

std::vector< TcamRequestView > TcamRequestManager::requests() const {
   std::vector< TcamRequestView > views;
   for ( const auto& [ key, request ] : requests_ ) {
      const auto subConfig = request.config->currCfg();
      TcamRequestView view{ key, request.config->requestConfigType(), groupOf( subConfig ),
         request.status.value_or( RequestStatusType::reviewing ), {} };
      const bool isThere = subConfig == request.subConfig;
      for ( size_t i = 0; subConfig && i < subConfig->entryQ().size(); ++i ) {
         view.entries.push_back( { subConfig->entryRequest( subConfig->entryQ()[ i ] ),
               isThere && i < request.lines.size() ? request.lines[ i ].id : 0 } );
      }
      views.push_back( std::move( view ) );
   }
   return views;
}

ZOL_DEFINE_ENTITY( TcamRequestManager );

} // namespace AgentServices
