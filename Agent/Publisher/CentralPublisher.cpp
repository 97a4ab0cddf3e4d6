#include "Agent/Publisher/CentralPublisher.h"

#include "ChipModel/Tables/GreFormats.h"
#include "Platform/Karvel/SdkCall.h"
#include "Platform/KarvelLib/Toggles.h"

namespace Agent {

using KarvelMirror::DstPort;
using KarvelMirror::ProgramStatus;
using KarvelMirror::SourcePort;

namespace {

Duolog::Handle trace( "CentralPublisher" );

constexpr Zol::Seconds retryInterval = 10;
constexpr const char* toggleFile = "KarvelLib.json";

// Makes a set attribute of an entity equal to what is wanted, by the differences.
template < typename Wanted, typename Present, typename Add, typename Remove >
void becomes( const Wanted& wanted, Present present, Add add, Remove remove ) {
   for ( const auto& element : present ) {
      if ( !wanted.contains( element ) ) {
         remove( element );
      }
   }
   for ( const auto& element : wanted ) {
      add( element );
   }
}

KarvelMirror::AclKey programKey( const Ixo::AclKey& key ) {
   KarvelMirror::AclKey result;
   result.aclNameIs( key.aclName() );
   result.aclTypeIs( key.aclType() );
   return result;
}

// Whether mirroring can work at all on a chip; why not, if it cannot.
std::optional< std::string > chipRefusal( const ChipModel::Profile& profile ) {
   const std::string chip = "chip profile " + std::string( profile.name );
   if ( !profile.tcamHelpers ) {
      return chip + " has no TCAM helpers: it mirrors nothing";
   }
   return {};
}

} // namespace

CentralPublisher::CentralPublisher( const SliceHost& slice,
      Zol::Ptr< KarvelMirror::LogicalFapMtpProgramInfoColl > programInfo,
      Zol::Ptr< Acl::Input::Config > aclInput, MirroringSessions& sessions )
      : slice_( slice ), programInfo_( programInfo ), aclInput_( aclInput ),
        sessions_( sessions ),
        insertsHeaders_( !slice.profile().logicalTables ||
              KarvelLib::toggle( toggleFile, "KarvelMirrorT4Gre", true ) ),
        sendsKeys_( ChipModel::greEditor( slice.profile().greKeys ) == nullptr ||
              KarvelLib::toggle( toggleFile, "KarvelMirrorGreKey", true ) ),
        publishClock_( [ this ] {
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
   sessions_.settle( slice_.unit(), {} );
   programInfo_->lfMtpProgramInfoDel( slice_.logicalFap() );
   wanted_.clear();
   dropUnusedAcls();
}

void CentralPublisher::configurationIs(
      const Configuration& configuration, const PortStates& states ) {
   const Resolver resolver( configuration, states );
   const std::map< Mtp, Use > before = uses_;
   choose( configuration );
   wanted_.clear();
   for ( const auto& [ mtp, use ] : uses_ ) {
      wanted_[ mtp ] = wantedMtp( configuration, resolver, mtp, use,
            sendsKeys_ ? GreKeyUse::sent : GreKeyUse::leftOut );
   }
   for ( const auto& [ mtp, use ] : before ) {
      auto at = uses_.find( mtp );
      const auto known = published_.find( mtp );
      const bool stays = at != uses_.end() && at->second == use;
      if ( !stays ||
            ( known != published_.end() && wanted_.at( mtp ).editsAclOf( known->second ) ) ) {
         withdraw( mtp );
      }
   }
   keys_.clear();
   for ( const auto& [ mtp, use ] : uses_ ) {
      const SessionConfig& session = configuration.sessions.at( use.session );
      keys_[ use.session ] = session.tunnel ? session.tunnel->greKey : std::nullopt;
   }
   sessions_.announce( slice_.unit(), keys_ );
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
      if ( session.refused || session.unit != slice_.unit() ) {
         continue;
      }
      const auto directions = directionsOf( session );
      const int needs = static_cast< int >( directions.size() );
      if ( chipCannot ) {
         refusals_[ name ] = *chipCannot;
      } else if ( session.tunnel && !insertsHeaders_ ) {
         refusals_[ name ] = "the chip inserts no headers: the toggle KarvelMirrorT4Gre is off";
      } else if ( taken + needs > capacity ) {
         refusals_[ name ] = "needs " + std::to_string( needs ) + " of the chip's " +
               std::to_string( capacity ) + " mirror destinations; " +
               std::to_string( capacity - taken ) + " free, held by " + holders( granted );
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

void CentralPublisher::withdraw( Mtp mtp ) {
   if ( auto info = programInfo_->lfMtpProgramInfo( slice_.logicalFap() ) ) {
      info->mtpProgramInfoDel( mtp );
      info->tunnelDel( tunnelOf( mtp ) );
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
      const WantedMtp& wanted = wanted_.at( mtp );
      auto present = published_.find( mtp );
      if ( ( present != published_.end() && present->second == wanted ) ||
            !targetIs( mtp, wanted ) ) {
         continue;
      }
      publishRules( wanted );
      publishTunnel( *info, mtp, wanted );
      auto program = info->mtpProgramInfoIs( mtp );
      program->sessionIs( use.session );
      program->directionIs( use.direction );
      program->aclPortMirroringIs( !wanted.sources.empty() );
      becomes(
            wanted.sources, program->srcPort(),
            [ & ]( const SourcePort& port ) { program->srcPortIs( port ); },
            [ & ]( const SourcePort& port ) { program->srcPortDel( port ); } );
      becomes(
            wanted.dstPorts, program->dstPort(),
            [ & ]( const DstPort& port ) { program->dstPortIs( port ); },
            [ & ]( const DstPort& port ) { program->dstPortDel( port ); } );
      publishFilters( *program, wanted );
      published_[ mtp ] = wanted;
   }
   std::set< std::string > unsettled;
   for ( const auto& [ mtp, problem ] : problems_ ) {
      if ( const auto use = uses_.find( mtp ); use != uses_.end() ) {
         unsettled.insert( use->second.session );
      }
   }
   sessions_.settle( slice_.unit(), keys_, unsettled );
   dropUnusedAcls();
   armRetry();
}

void CentralPublisher::publishTunnel(
      KarvelMirror::LogicalFapMtpProgramInfo& info, Mtp mtp, const WantedMtp& wanted ) {
   if ( wanted.tunnel ) {
      auto tunnel = info.tunnelIs( tunnelOf( mtp ) );
      tunnel->parametersIs( *wanted.tunnel );
      tunnel->headerSizeIs( wanted.headerSize );
      tunnel->activeIs( wanted.target.has_value() );
   } else {
      info.tunnelDel( tunnelOf( mtp ) );
   }
}

void CentralPublisher::publishFilters(
      KarvelMirror::MtpProgramInfo& program, const WantedMtp& wanted ) {
   Zol::Set< KarvelMirror::AclKey > keys;
   for ( const SessionAcl& acl : wanted.acls ) {
      const KarvelMirror::AclKey key = programKey( acl.key );
      keys.insert( key );
      Zol::Set< Plix::IntfId > ports;
      Zol::Set< Plix::IntfId > subInterfaces;
      for ( const Plix::IntfId& interface : acl.interfaces ) {
         ( interface.isSubIntf() ? subInterfaces : ports ).insert( interface );
      }
      auto aclPorts = program.aclPortsIs( key );
      becomes(
            ports, aclPorts->intf(),
            [ & ]( const Plix::IntfId& intf ) { aclPorts->intfIs( intf ); },
            [ & ]( const Plix::IntfId& intf ) { aclPorts->intfDel( intf ); } );
      becomes(
            subInterfaces, aclPorts->subIntf(),
            [ & ]( const Plix::IntfId& intf ) { aclPorts->subIntfIs( intf ); },
            [ & ]( const Plix::IntfId& intf ) { aclPorts->subIntfDel( intf ); } );
   }
   becomes(
         keys, program.acl(),
         [ & ]( const KarvelMirror::AclKey& key ) { program.aclIs( key ); },
         [ & ]( const KarvelMirror::AclKey& key ) {
            program.aclDel( key );
            program.aclPortsDel( key );
         } );
   becomes(
         wanted.matches, program.ipMatch(),
         [ & ]( const KarvelMirror::IpMatch& match ) { program.ipMatchIs( match ); },
         [ & ]( const KarvelMirror::IpMatch& match ) { program.ipMatchDel( match ); } );
   becomes(
         wanted.matchInterfaces, program.ipMatchIntf(),
         [ & ]( const Plix::IntfId& intf ) { program.ipMatchIntfIs( intf ); },
         [ & ]( const Plix::IntfId& intf ) { program.ipMatchIntfDel( intf ); } );
}

void CentralPublisher::publishRules( const WantedMtp& wanted ) {
   for ( const SessionAcl& acl : wanted.acls ) {
      inputAcls_.insert( acl.key );
      aclInput_->aclTypeConfigIs( acl.key.aclType() )
            ->aclIs( acl.key.aclName() )
            ->currCfgIs( acl.rules );
   }
}

void CentralPublisher::dropUnusedAcls() {
   std::set< Ixo::AclKey > used;
   for ( const auto& [ mtp, wanted ] : wanted_ ) {
      for ( const SessionAcl& acl : wanted.acls ) {
         used.insert( acl.key );
      }
   }
   std::erase_if( inputAcls_, [ & ]( const Ixo::AclKey& key ) {
      if ( used.contains( key ) ) {
         return false;
      }
      aclInput_->aclTypeConfigIs( key.aclType() )->aclDel( key.aclName() );
      return true;
   } );
}

bool CentralPublisher::targetIs( Mtp mtp, const WantedMtp& wanted ) {
   auto present = targets_.find( mtp );
   const int unit = slice_.unit();
   const int destination = mtp.value();
   if ( !wanted.target ) {
      return present == targets_.end() || targetDel( mtp );
   }
   if ( present != targets_.end() && present->second == *wanted.target ) {
      return true;
   }
   const Shim::MirrorDestination target = *wanted.target;
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

// A tunnel without a route must not send its copies along the old one.
bool CentralPublisher::targetDel( Mtp mtp ) {
   const int unit = slice_.unit();
   const int destination = mtp.value();
   const Shim::Rc rc =
         KARVEL_SDK_CALL( trace, bcm_mirror_destination_destroy, ( unit, destination ) );
   if ( rc != Shim::Sdk::QX_BCM_E_NONE() && rc != Shim::Sdk::QX_BCM_E_NOT_FOUND() ) {
      problems_[ mtp ] = std::string( "mirror destination could not be taken back: " ) +
            Shim::Sdk::bcm_errmsg( rc );
      return false;
   }
   problems_.erase( mtp );
   targets_.erase( mtp );
   return true;
}

void CentralPublisher::armRetry() {
   if ( retryClock_.timeMin() == Zol::never && !uses_.empty() ) {
      retryClock_.timeMinIs( Zol::activityManager().now() + retryInterval );
   }
}

bool CentralPublisher::isFailed( Mtp mtp ) const {
   const auto status = slice_.programStatus();
   if ( !status ) {
      return false;
   }
   for ( ProgramStatus programmed :
         { status->programStatus( mtp ), status->ifpProgramStatus( mtp ) } ) {
      if ( programmed == ProgramStatus::failed ||
            programmed == ProgramStatus::resourceExhaustion ) {
         return true;
      }
   }
   return aclProblem( mtp ).has_value();
}

std::optional< SessionOutcome > CentralPublisher::aclProblem( Mtp mtp ) const {
   const auto at = published_.find( mtp );
   if ( at != published_.end() ) {
      for ( const SessionAcl& acl : at->second.acls ) {
         if ( auto problem = slice_.aclProblem( mtp, acl.key ) ) {
            return problem;
         }
      }
   }
   return {};
}

// Tries only the rules of the egress stage again; the ingress side may be in order. Removing and
// adding the ports again makes the plug-in work them out anew.
bool CentralPublisher::retryEgress( Mtp mtp ) {
   const auto status = slice_.programStatus();
   const auto known = published_.find( mtp );
   const auto rules = known == published_.end() ? std::nullopt : known->second.egressRules();
   const ProgramStatus programmed =
         status && rules ? status->efpProgramStatus( *rules ) : ProgramStatus::success;
   if ( programmed != ProgramStatus::failed &&
         programmed != ProgramStatus::resourceExhaustion ) {
      return false;
   }
   auto info = programInfo_->lfMtpProgramInfo( slice_.logicalFap() );
   auto program = info->mtpProgramInfo( mtp );
   for ( const DstPort& port : known->second.dstPorts ) {
      program->dstPortDel( port );
      program->dstPortIs( port );
   }
   return true;
}

void CentralPublisher::retryFailed() {
   slice_.retryRequests();
   bool failedSome = false;
   for ( const auto& [ mtp, use ] : uses_ ) {
      const bool failed = isFailed( mtp );
      if ( failed ) {
         withdraw( mtp );
      }
      const bool egressFailed = !failed && retryEgress( mtp );
      failedSome = failedSome || failed || egressFailed || problems_.contains( mtp );
   }
   if ( failedSome ) {
      publishClock_.timeMinIs( Zol::activityManager().now() );
   } else {
      armRetry();
   }
}

std::optional< SessionOutcome > CentralPublisher::refusal( const std::string& session ) const {
   auto at = refusals_.find( session );
   return at == refusals_.end() ? std::nullopt : std::optional( at->second );
}

std::optional< std::string > CentralPublisher::problem( Mtp mtp ) const {
   auto at = problems_.find( mtp );
   return at == problems_.end() ? std::nullopt : std::optional( at->second );
}

} // namespace Agent
