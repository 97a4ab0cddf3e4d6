#include "Agent/Publisher/CentralPublisher.h"

#include "Platform/Karvel/SdkCall.h"

namespace Agent {

using KarvelMirror::SourcePort;

namespace {

Duolog::Handle trace( "CentralPublisher" );

constexpr Zol::Seconds retryInterval = 10;

std::vector< CentralPublisher::Direction > directionsOf( const SessionConfig& session ) {
   using Direction = CentralPublisher::Direction;
   switch ( session.direction ) {
   case SessionDirection::rx: return { Direction::ingress };
   case SessionDirection::tx: return { Direction::egress };
   default: return { Direction::ingress, Direction::egress };
   }
}

// Whether mirroring can work at all on a chip; why not, if it cannot.
std::optional< std::string > chipRefusal( const ChipModel::ChipProfile& profile ) {
   const std::string chip = "chip profile " + std::string( profile.name );
   if ( !profile.tcamHelpers ) {
      return chip + " has no TCAM helpers: it mirrors nothing";
   }
   if ( profile.tcamInterface == ChipModel::TcamInterface::request ) {
      return chip + " takes TCAM work as requests only, which is not supported yet";
   }
   return {};
}

} // namespace

CentralPublisher::CentralPublisher( const SliceHost& slice,
      Zol::Ptr< KarvelMirror::LogicalFapMtpProgramInfoColl > programInfo )
      : slice_( slice ), programInfo_( programInfo ), publishClock_( [ this ] {
           publishClock_.timeMinIs( Zol::never );
           publish();
        } ),
        retryClock_( [ this ] {
           retryClock_.timeMinIs( Zol::never );
           retryFailed();
        } ) {}

CentralPublisher::~CentralPublisher() {
   uses_.clear();
   std::vector< Mtp > all;
   for ( const auto& [ mtp, target ] : targets_ ) {
      all.push_back( mtp );
   }
   for ( Mtp mtp : all ) {
      withdraw( mtp );
   }
   programInfo_->lfMtpProgramInfoDel( slice_.logicalFap() );
}

void CentralPublisher::configurationIs( const Configuration& configuration ) {
   const std::map< Mtp, Use > before = uses_;
   choose( configuration );
   wanted_.clear();
   for ( const auto& [ mtp, use ] : uses_ ) {
      wanted_[ mtp ] = wantedOf( configuration, use );
   }
   for ( const auto& [ mtp, use ] : before ) {
      auto at = uses_.find( mtp );
      if ( at == uses_.end() || at->second != use ) {
         withdraw( mtp );
      }
   }
   publishClock_.timeMinIs( Zol::activityManager().now() );
   retryFailed();
}

// Grants destinations in the order of the sessions' names, then hands out numbers: first to
// those that have one, so that nothing that stays is moved.
void CentralPublisher::choose( const Configuration& configuration ) {
   refusals_.clear();
   const int capacity = slice_.profile().mirrorDestinations;
   const std::optional< std::string > chipCannot = chipRefusal( slice_.profile() );
   std::vector< std::pair< std::string, int > > granted;
   std::set< Use > wanted;
   int taken = 0;
   for ( const auto& [ name, session ] : configuration.sessions ) {
      if ( session.refused || configuration.unitOf( session.destination ) != slice_.unit() ) {
         continue;
      }
      const auto directions = directionsOf( session );
      const int needs = static_cast< int >( directions.size() );
      if ( chipCannot ) {
         refusals_[ name ] = *chipCannot;
      } else if ( taken + needs > capacity ) {
         refusals_[ name ] = "needs " + std::to_string( needs ) + " of the chip's " +
                             std::to_string( capacity ) + " mirror destinations; " +
                             std::to_string( capacity - taken ) + " free, held by " +
                             holders( granted );
      } else {
         taken += needs;
         granted.emplace_back( name, needs );
         for ( Direction direction : directions ) {
            wanted.insert( { name, direction } );
         }
      }
   }
   std::erase_if( uses_, [ & ]( const auto& use ) { return !wanted.contains( use.second ); } );
   for ( const auto& [ mtp, use ] : uses_ ) {
      wanted.erase( use );
   }
   uint8_t number = 0;
   for ( const Use& use : wanted ) {
      while ( uses_.contains( Mtp( number ) ) ) {
         ++number;
      }
      uses_[ Mtp( number ) ] = use;
   }
}

std::string CentralPublisher::holders(
      const std::vector< std::pair< std::string, int > >& granted ) const {
   std::string text;
   for ( const auto& [ name, count ] : granted ) {
      text += ( text.empty() ? "" : ", " ) + name;
      if ( count > 1 ) {
         text += " (" + std::to_string( count ) + ")";
      }
   }
   return text.empty() ? "nobody" : text;
}

CentralPublisher::Wanted CentralPublisher::wantedOf(
      const Configuration& configuration, const Use& use ) const {
   const SessionConfig& session = configuration.sessions.at( use.session );
   const auto modId = static_cast< uint32_t >( slice_.unit() );
   auto portNumber = [ & ]( const std::string& name ) {
      return configuration.ports.at( name ).chipPort;
   };
   Wanted wanted;
   auto target = configuration.portChannels.find( session.destination );
   if ( target != configuration.portChannels.end() ) {
      wanted.target = { Shim::MirrorDestination::Kind::trunk, target->second.trunk };
   } else {
      wanted.target = { Shim::MirrorDestination::Kind::port, portNumber( session.destination ) };
   }
   for ( const std::string& source : session.sources ) {
      auto channel = configuration.portChannels.find( source );
      if ( channel == configuration.portChannels.end() ) {
         wanted.sources.insert( SourcePort::ofPort( modId, portNumber( source ) ) );
      } else if ( use.direction == Direction::ingress ) {
         for ( const std::string& member : channel->second.members ) {
            wanted.sources.insert( SourcePort::ofPort( modId, portNumber( member ) ) );
         }
      } else if ( !channel->second.members.empty() ) {
         // Without members there is nothing to match; when the first one comes this is a
         // change of sources.
         wanted.sources.insert( SourcePort::ofTrunk( channel->second.trunk ) );
      }
   }
   return wanted;
}

void CentralPublisher::withdraw( Mtp mtp ) {
   if ( auto info = programInfo_->lfMtpProgramInfo( slice_.logicalFap() ) ) {
      info->mtpProgramInfoDel( mtp );
   }
   published_.erase( mtp );
   problems_.erase( mtp );
   if ( targets_.erase( mtp ) ) {
      const int unit = slice_.unit();
      const int destination = mtp.value();
      KARVEL_SDK_CALL( trace, bcm_mirror_destination_destroy, ( unit, destination ) );
   }
}

void CentralPublisher::publish() {
   // One batch: a destination appears with all that is known of it.
   Zol::Batch batch;
   auto info = programInfo_->lfMtpProgramInfoIs( slice_.logicalFap() );
   for ( const auto& [ mtp, use ] : uses_ ) {
      const Wanted& wanted = wanted_.at( mtp );
      auto present = published_.find( mtp );
      if ( ( present != published_.end() && present->second == wanted ) ||
            !targetIs( mtp, wanted ) ) {
         continue;
      }
      auto program = info->mtpProgramInfoIs( mtp );
      program->sessionIs( use.session );
      program->directionIs( use.direction );
      program->aclPortMirroringIs( true );
      const auto old = program->srcPort();
      for ( const SourcePort& source : old ) {
         if ( !wanted.sources.contains( source ) ) {
            program->srcPortDel( source );
         }
      }
      for ( const SourcePort& source : wanted.sources ) {
         program->srcPortIs( source );
      }
      published_[ mtp ] = wanted;
   }
   armRetry();
}

bool CentralPublisher::targetIs( Mtp mtp, const Wanted& wanted ) {
   auto present = targets_.find( mtp );
   if ( present != targets_.end() && present->second == wanted.target ) {
      return true;
   }
   const int unit = slice_.unit();
   const int destination = mtp.value();
   const Shim::MirrorDestination target = wanted.target;
   Shim::Rc rc =
         KARVEL_SDK_CALL( trace, bcm_mirror_destination_set, ( unit, destination, target ) );
   if ( rc != Shim::Sdk::QX_BCM_E_NONE() ) {
      problems_[ mtp ] = std::string( "mirror destination could not be set: " ) +
                         Shim::Sdk::bcm_errmsg( rc );
      return false;
   }
   problems_.erase( mtp );
   targets_[ mtp ] = target;
   return true;
}

void CentralPublisher::armRetry() {
   if ( retryClock_.timeMin() == Zol::never && !uses_.empty() ) {
      retryClock_.timeMinIs( Zol::activityManager().now() + retryInterval );
   }
}

void CentralPublisher::retryFailed() {
   auto status = slice_.programStatus();
   bool failedSome = false;
   for ( const auto& [ mtp, use ] : uses_ ) {
      const auto state = status ? status->programStatus( mtp ) : KarvelMirror::ProgramStatus();
      const bool failed = state == KarvelMirror::ProgramStatus::failed ||
                          state == KarvelMirror::ProgramStatus::resourceExhaustion;
      if ( failed ) {
         withdraw( mtp );
      }
      failedSome = failedSome || failed || problems_.contains( mtp );
   }
   if ( failedSome ) {
      publishClock_.timeMinIs( Zol::activityManager().now() );
   } else {
      armRetry();
   }
}

std::optional< std::string > CentralPublisher::refusal( const std::string& session ) const {
   auto at = refusals_.find( session );
   return at == refusals_.end() ? std::nullopt : std::optional( at->second );
}

std::optional< std::string > CentralPublisher::problem( Mtp mtp ) const {
   auto at = problems_.find( mtp );
   return at == problems_.end() ? std::nullopt : std::optional( at->second );
}

} // namespace Agent
