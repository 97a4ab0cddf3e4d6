#include "Agent/Runtime/SessionStates.h"

#include <algorithm>
#include <set>

#include "ChipModel/Tables/GreFormats.h"

namespace Agent {

namespace {

bool isFailure( KarvelMirror::ProgramStatus status ) {
   using KarvelMirror::ProgramStatus;
   return status == ProgramStatus::failed || status == ProgramStatus::resourceExhaustion;
}

// The worse of what the two halves of the slice say; none has nothing to say.
KarvelMirror::ProgramStatus combined( const SliceHost& slice, KarvelMirror::Mtp mtp ) {
   const KarvelMirror::SliceMtpProgramStatus& status = *slice.programStatus();
   const auto ports = slice.portStatus( mtp );
   if ( !status.ifpProgramStatusHas( mtp ) ) {
      return ports;
   }
   const auto filtered = status.ifpProgramStatus( mtp );
   const bool portsAreWorse = isFailure( ports ) ||
         ( ports != KarvelMirror::ProgramStatus::success && !isFailure( filtered ) );
   return portsAreWorse ? ports : filtered;
}

// A status that says failure, with what the chip refused then. The status alone cannot tell a full
// chip from one that refused a call.
SessionOutcome failureOf(
      KarvelMirror::ProgramStatus status, const AgentServices::LastRefusal& refusal ) {
   const bool isFull = status == KarvelMirror::ProgramStatus::resourceExhaustion;
   return failedBecause( refusal, isFull ? SessionCause::entries : SessionCause::refusedCall );
}

// What the agent's own write to the chip was refused.
SessionOutcome failureOf( SessionCause cause, const Refusal& refusal ) {
   return { SessionPhase::failed, cause, refusal.toString(),
      Karvel::SdkRefusal{ refusal.call, refusal.code } };
}

// Why copies are not limited as they should be; none if they are.
std::optional< SessionOutcome > rateProblem( const Slice& slice, const WantedMtp& wanted ) {
   const auto rules = wanted.egressRules();
   if ( !rules || !isFailure( slice.host.programStatus()->efpProgramStatus( *rules ) ) ) {
      return {};
   }
   SessionOutcome result = failureOf( slice.host.programStatus()->efpProgramStatus( *rules ),
         slice.host.egressRefusal( *rules ) );
   result.reason = ( wanted.isLimited() ? "its rate is not limited: "
                                        : "its copies have no source tag: " ) +
         result.reason;
   return result;
}

// Adds what there is to say of one destination.
void judge(
      const Slice& slice, KarvelMirror::Mtp mtp, const MtpUse& use, SessionState& state ) {
   using KarvelMirror::ProgramStatus;
   const ProgramStatus programmed = combined( slice.host, mtp );
   const WantedMtp& wanted = slice.publisher.wanted( mtp );
   state.held.push_back( { slice.host.unit(), mtp, use.direction, programmed, wanted.route } );
   SessionOutcome& outcome = state;
   const bool portsFailed = isFailure( slice.host.portStatus( mtp ) );
   if ( auto refusal = slice.publisher.targetRefusal( mtp ) ) {
      outcome = failureOf( SessionCause::destination, *refusal );
   } else if ( auto aclProblem = slice.publisher.aclProblem( mtp ) ) {
      outcome = *aclProblem;
   } else if ( isFailure( programmed ) ) {
      outcome = failureOf( programmed,
            portsFailed ? slice.host.portRefusal( mtp ) : slice.host.filterRefusal( mtp ) );
   } else if ( auto unlimited = rateProblem( slice, wanted ) ) {
      outcome = *unlimited;
   } else if ( !wanted.target && state.phase != SessionPhase::failed ) {
      state.phase = SessionPhase::inactive;
      state.cause = SessionCause::route;
      state.reason = wanted.route;
   } else if ( programmed == ProgramStatus::unknown && state.phase == SessionPhase::active ) {
      state.phase = SessionPhase::pending;
   }
}

// What the headers of a tunnel with a key are like, by what the chip holds.
enum class KeyedHeaders : uint8_t { keyed, plain, broken };

KeyedHeaders keyedHeaders(
      const Slice& slice, const TunnelConfig& tunnel, ChipModel::Switch& chips ) {
   const ChipModel::GreEditor* editor = ChipModel::greEditor( slice.host.profile().greKeys );
   if ( !editor ) {
      return KeyedHeaders::keyed;
   }
   const bool isIp4 = tunnel.dstIp.family() == Plix::AddressFamily::ipv4;
   const ChipModel::GreEditorPlaces& places = isIp4 ? editor->ip4 : editor->ip6;
   const ChipModel::Memories& memories = chips.chip( slice.host.unit() )->tables().memories;
   int changed = 0; // of the four places that only together make a header with a key
   for ( const ChipModel::FieldPlace& place :
         { places.headerBytes, places.keySelect, places.flags, places.lengthAdjust } ) {
      changed += memories.value( place ) != resetValue( slice.host.profile(), place ) ? 1 : 0;
   }
   if ( changed == 4 ) {
      return KeyedHeaders::keyed;
   }
   // A header-insertion profile counts the key's bytes.
   return changed == 0 && !slice.host.profile().logicalTables ? KeyedHeaders::plain
                                                              : KeyedHeaders::broken;
}

// What is wrong with the copies of a session with a key.
std::optional< SessionOutcome > keyProblem(
      const SessionConfig& session, const Slice& slice, ChipModel::Switch& chips ) {
   if ( !session.tunnel || !session.tunnel->greKey ) {
      return {};
   }
   auto unkeyed = []( const char* why ) {
      return SessionOutcome{ SessionPhase::active, SessionCause::unkeyed,
         std::string( rowOf( SessionCause::unkeyed ).text ) + ": " + why, {} };
   };
   if ( !slice.publisher.sendsKeys() ) {
      return unkeyed( "the toggle KarvelMirrorGreKey is off" );
   }
   switch ( keyedHeaders( slice, *session.tunnel, chips ) ) {
   case KeyedHeaders::keyed:
      return {};
   case KeyedHeaders::plain:
      return unkeyed( "the chip refused to be set for keys" );
   default:
      return SessionOutcome{ SessionPhase::failed, SessionCause::headers,
         rowOf( SessionCause::headers ).text, {} };
   }
}

} // namespace

bool lacksKey( const SessionConfig& session, const Slice& slice, ChipModel::Switch& chips ) {
   return session.tunnel && session.tunnel->greKey && slice.publisher.sendsKeys() &&
         keyedHeaders( slice, *session.tunnel, chips ) != KeyedHeaders::keyed;
}

namespace {

// "Ethernet4" of the sub-interface "Ethernet4.10".
std::string portOf( const std::string& source ) {
   return source.substr( 0, source.find( '.' ) );
}

// What the chip refused of an interface: itself, its members, or a VLAN of theirs.
std::optional< Refusal > refusalOf( const std::string& interface, const Forwarding& of ) {
   const auto channel = of.configuration.portChannels.find( interface );
   std::vector< std::string > ports{ interface };
   if ( channel != of.configuration.portChannels.end() ) {
      if ( auto refusal = of.chip.trunkRefusal( channel->second.trunk ) ) {
         return refusal;
      }
      ports = channel->second.members;
   }
   for ( const auto& [ vid, vlan ] : of.configuration.vlans ) {
      const bool isMember = std::any_of( vlan.members.begin(), vlan.members.end(),
            [ & ]( const VlanMemberConfig& member ) { return member.interface == interface; } );
      if ( auto refusal = isMember ? of.chip.vlanRefusal( vid ) : std::nullopt ) {
         return refusal;
      }
   }
   for ( const std::string& name : ports ) {
      const auto port = of.configuration.ports.find( name );
      if ( port == of.configuration.ports.end() ) {
         continue;
      }
      if ( auto refusal = of.chip.portRefusal( port->second.chipPort ) ) {
         return refusal;
      }
   }
   return {};
}

// Where what it mirrors arrives or leaves.
std::set< std::string > sourcesOf( const SessionConfig& session ) {
   std::set< std::string > names;
   for ( const std::string& source : session.sources ) {
      names.insert( portOf( source ) );
   }
   for ( const SessionAcl& acl : session.acls ) {
      for ( const Plix::IntfId& interface : acl.interfaces ) {
         names.insert( interface.port() );
      }
   }
   return names;
}

} // namespace

std::optional< SessionOutcome > forwardingTrouble(
      const SessionConfig& session, const SessionState& state, const Forwarding& of ) {
   const std::set< std::string > sources = sourcesOf( session );
   std::set< std::string > needed = sources;
   const bool leavesByInterface = !session.tunnel && session.destination != cpuDestination;
   if ( leavesByInterface ) {
      needed.insert( session.destination );
   }
   for ( const std::string& interface : needed ) {
      if ( auto refusal = refusalOf( interface, of ) ) {
         return failureOf( SessionCause::forwarding, *refusal );
      }
   }
   if ( leavesByInterface ) {
      if ( auto why = of.states.whyDown( of.configuration, session.destination ) ) {
         return SessionOutcome{ SessionPhase::inactive, SessionCause::link,
            *why + ": its copies are dropped", {} };
      }
   }
   std::optional< std::string > firstWhy;
   for ( const std::string& source : sources ) {
      auto why = of.states.whyDown( of.configuration, source );
      if ( !why ) {
         return {}; // a source that works is mirrored
      }
      firstWhy = firstWhy ? firstWhy : why;
   }
   if ( !firstWhy || !state.reason.empty() ) {
      return {};
   }
   return SessionOutcome{ SessionPhase::inactive, SessionCause::link,
      *firstWhy + ": there is nothing to copy", {} };
}

SessionState sessionState(
      const SessionConfig& session, const Slice* slice, ChipModel::Switch& chips ) {
   SessionState result;
   result.config = &session;
   result.phase = SessionPhase::refused;
   if ( session.refused || !slice ) {
      result.cause = SessionCause::configuration;
      result.reason = session.refused.value_or( "its destination is on no chip" );
      return result;
   }
   if ( auto refusal = slice->publisher.refusal( session.name ) ) {
      result.cause = refusal->cause;
      result.reason = refusal->reason;
      return result;
   }
   result.phase = SessionPhase::active;
   for ( const auto& [ mtp, use ] : slice->publisher.uses() ) {
      if ( use.session == session.name ) {
         judge( *slice, mtp, use, result );
      }
   }
   if ( result.phase == SessionPhase::active && result.reason.empty() ) {
      if ( auto trouble = keyProblem( session, *slice, chips ) ) {
         static_cast< SessionOutcome& >( result ) = *trouble;
      }
   }
   return result;
}

} // namespace Agent
