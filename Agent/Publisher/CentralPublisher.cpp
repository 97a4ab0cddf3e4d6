#include "Agent/Publisher/CentralPublisher.h"

#include "Agent/Configuration/Names.h"
#include "Platform/KarvelLib/Toggles.h"

namespace Agent {

using KarvelMirror::DstPort;
using KarvelMirror::ProgramStatus;
using KarvelMirror::SourcePort;

namespace {

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

// What rates the policers of a chip are used for. Sessions of one rate share one, but those with
// tunnels only among themselves.
class PolicerPool {
 public:
   explicit PolicerPool( int policers ) : policers_( static_cast< size_t >( policers ) ) {}

   // No policer is left, and none has the session's rate.
   bool isFull( const SessionConfig& session ) const {
      return session.rateIsEnforced() && !holders_.contains( rateOf( session ) ) &&
            holders_.size() >= policers_;
   }
   void add( const SessionConfig& session ) {
      if ( session.rateIsEnforced() ) {
         holders_.try_emplace( rateOf( session ), session.name );
      }
   }
   // One session of each rate.
   std::vector< std::string > holders() const {
      std::vector< std::string > names;
      for ( const auto& [ rate, name ] : holders_ ) {
         names.push_back( name );
      }
      return names;
   }

 private:
   using Rate = std::pair< bool, uint64_t >; // in a tunnel, kbit/s
   static Rate rateOf( const SessionConfig& session ) {
      return { session.tunnel.has_value(), session.rateKbps };
   }

   size_t policers_;
   std::map< Rate, std::string > holders_;
};

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
      Zol::Ptr< Acl::Input::Config > aclInput, MirroringSessions& sessions,
      ChipReconciler& chip )
      : slice_( slice ), chip_( chip ), programInfo_( programInfo ), aclInput_( aclInput ),
        sessions_( sessions ),
        insertsHeaders_( !slice.profile().logicalTables ||
              KarvelLib::toggle( toggleFile, "KarvelMirrorT4Gre", true ) ),
        sendsKeys_( KarvelLib::toggle( toggleFile, "KarvelMirrorGreKey", true ) ),
        policers_( slice.profile().policers ), publishClock_( [ this ] {
           publishClock_.timeMinIs( Zol::never );
           publish();
        } ),
        retryClock_( [ this ] {
           if ( !retryFailed() ) {
              retryClock_.restart();
              armRetry();
           }
        } ) {
   chip_.lateChangeHandlerIs(
         [ this ] { publishClock_.timeMinIs( Zol::activityManager().now() ); } );
}

CentralPublisher::~CentralPublisher() {
   chip_.lateChangeHandlerIs( {} );
   uses_.clear();
   for ( const auto& [ mtp, holder ] : holders_ ) {
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
   const std::map< Mtp, WantedMtp > wantedBefore = std::move( wanted_ );
   choose( configuration );
   wanted_.clear();
   const auto stays = [ & ]( Mtp mtp ) {
      const auto was = before.find( mtp );
      const auto is = uses_.find( mtp );
      return was != before.end() && is != uses_.end() && was->second == is->second;
   };
   for ( const auto& [ mtp, use ] : uses_ ) {
      wanted_[ mtp ] = wantedMtp( configuration, resolver, mtp, use,
            sendsKeys_ ? GreKeyUse::sent : GreKeyUse::leftOut,
            stays( mtp ) ? wantedBefore.at( mtp ).hop : std::nullopt );
   }
   for ( const auto& [ mtp, use ] : before ) {
      const auto known = published_.find( mtp );
      if ( !stays( mtp ) ) {
         withdraw( mtp );
      } else if ( known != published_.end() &&
            wanted_.at( mtp ).startsAfresh( known->second ) ) {
         withdrawRules( mtp );
      }
   }
   keys_.clear();
   for ( const auto& [ mtp, use ] : uses_ ) {
      const SessionConfig& session = configuration.sessions.at( use.session );
      keys_[ use.session ] = session.tunnel ? session.tunnel->greKey : std::nullopt;
   }
   sessions_.announce( slice_.unit(), keys_ );
   publishClock_.timeMinIs( Zol::activityManager().now() );
   retryClock_.restart();
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
   PolicerPool rates( policers_ );
   for ( const auto& [ name, session ] : configuration.sessions ) {
      if ( session.refused || session.unit != slice_.unit() ) {
         continue;
      }
      const auto directions = directionsOf( session );
      const int needs = static_cast< int >( directions.size() );
      if ( chipCannot ) {
         refuse( name, SessionCause::chip, *chipCannot );
      } else if ( session.tunnel && !insertsHeaders_ ) {
         refuse( name, SessionCause::chip,
               "the chip inserts no headers: the toggle KarvelMirrorT4Gre is off" );
      } else if ( taken + needs > capacity ) {
         refuse( name, SessionCause::destinations,
               "needs " + std::to_string( needs ) + " of the chip's " +
                     std::to_string( capacity ) + " mirror destinations; " +
                     std::to_string( capacity - taken ) + " free, held by " +
                     holders( granted ) );
      } else if ( rates.isFull( session ) ) {
         refuse( name, SessionCause::policerPool,
               "needs a policer for " + std::to_string( session.rateKbps ) +
                     " kbit/s; the chip has " +
                     ( policers_ == 0 ? "none"
                                      : std::to_string( policers_ ) +
                                       ", all used for the rates of " +
                                       joined( rates.holders() ) ) );
      } else {
         taken += needs;
         rates.add( session );
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
   for ( const Use& use : wanted ) {
      uses_[ freeNumber( use ) ] = use;
   }
}

// The lowest; one that the chip has not given back only if there is no other.
CentralPublisher::Mtp CentralPublisher::freeNumber( const Use& use ) const {
   std::optional< Mtp > stuck;
   for ( uint8_t number = 0; number < slice_.profile().mirrorDestinations; ++number ) {
      const Mtp mtp( number );
      if ( uses_.contains( mtp ) ) {
         continue;
      }
      if ( !isHeldByAnother( mtp, use ) ) {
         return mtp;
      }
      stuck = stuck.value_or( mtp );
   }
   ZOL_ASSERT( stuck && "no more is granted than the chip has" );
   return *stuck;
}

void CentralPublisher::refuse(
      const std::string& session, SessionCause cause, const std::string& reason ) {
   refusals_[ session ] = { SessionPhase::refused, cause, reason, {} };
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

void CentralPublisher::withdrawRules( Mtp mtp ) {
   if ( auto info = programInfo_->lfMtpProgramInfo( slice_.logicalFap() ) ) {
      info->mtpProgramInfoDel( mtp );
      info->tunnelDel( tunnelOf( mtp ) );
   }
   published_.erase( mtp );
}

// Rules first: the chip keeps a destination that an entry names.
void CentralPublisher::withdraw( Mtp mtp ) {
   withdrawRules( mtp );
   chip_.targetDel( mtp );
}

void CentralPublisher::publish() {
   // One batch: a destination appears with all that is known of it.
   Zol::Batch batch;
   auto info = programInfo_->lfMtpProgramInfoIs( slice_.logicalFap() );
   for ( const auto& [ mtp, use ] : uses_ ) {
      const WantedMtp& wanted = wanted_.at( mtp );
      const auto present = published_.find( mtp );
      if ( present != published_.end() && present->second == wanted ) {
         continue;
      }
      if ( !wanted.target ) {
         // A tunnel without a route must not send its copies along the old one.
         withdraw( mtp );
      } else if ( targetIs( mtp, use, *wanted.target ) ) {
         publishProgram( *info, mtp, use, wanted );
      } else {
         continue;
      }
      published_[ mtp ] = wanted;
   }
   std::set< std::string > unsettled;
   for ( const auto& [ mtp, use ] : uses_ ) {
      if ( chip_.destinationRefusal( mtp ) ) {
         unsettled.insert( use.session );
      }
   }
   sessions_.settle( slice_.unit(), keys_, unsettled );
   dropUnusedAcls();
   armRetry();
}

void CentralPublisher::publishProgram( KarvelMirror::LogicalFapMtpProgramInfo& info, Mtp mtp,
      const Use& use, const WantedMtp& wanted ) {
   publishRules( wanted );
   publishTunnel( info, mtp, wanted );
   auto program = info.mtpProgramInfoIs( mtp );
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
}

void CentralPublisher::publishTunnel(
      KarvelMirror::LogicalFapMtpProgramInfo& info, Mtp mtp, const WantedMtp& wanted ) {
   if ( wanted.tunnel ) {
      auto tunnel = info.tunnelIs( tunnelOf( mtp ) );
      tunnel->parametersIs( *wanted.tunnel );
      tunnel->headerSizeIs( wanted.headerSize );
      tunnel->activeIs( true );
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

// Copies that entries of somebody else's may still make.
bool CentralPublisher::isHeldByAnother( Mtp mtp, const Use& use ) const {
   const auto holder = holders_.find( mtp );
   return chip_.isLeaving( mtp ) && holder != holders_.end() && holder->second != use;
}

bool CentralPublisher::targetIs(
      Mtp mtp, const Use& use, const Shim::MirrorDestination& target ) {
   if ( isHeldByAnother( mtp, use ) ) {
      return false;
   }
   holders_[ mtp ] = use;
   return chip_.targetIs( mtp, target );
}

void CentralPublisher::armRetry() {
   retryClock_.pendingIs( !uses_.empty() ); // a failure may be told later
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

bool CentralPublisher::retryFailed() {
   slice_.retryRequests();
   bool failedSome = false;
   for ( const auto& [ mtp, use ] : uses_ ) {
      const bool failed = isFailed( mtp );
      if ( failed ) {
         withdrawRules( mtp );
      }
      const bool egressFailed = !failed && retryEgress( mtp );
      failedSome = failedSome || failed || egressFailed;
   }
   if ( failedSome ) {
      publishClock_.timeMinIs( Zol::activityManager().now() );
   }
   return failedSome;
}

std::optional< SessionOutcome > CentralPublisher::refusal( const std::string& session ) const {
   auto at = refusals_.find( session );
   return at == refusals_.end() ? std::nullopt : std::optional( at->second );
}

std::optional< Refusal > CentralPublisher::targetRefusal( Mtp mtp ) const {
   return chip_.destinationRefusal( mtp );
}

} // namespace Agent
