#include "Agent/Runtime/SessionStates.h"

#include "ChipModel/Tables/GreFormats.h"

namespace Agent {

namespace {

// The worse of what the two halves of the slice say; none has nothing to say.
KarvelMirror::ProgramStatus combined( const SliceHost& slice, KarvelMirror::Mtp mtp ) {
   const KarvelMirror::SliceMtpProgramStatus& status = *slice.programStatus();
   const auto ports = slice.portStatus( mtp );
   if ( !status.ifpProgramStatusHas( mtp ) ) {
      return ports;
   }
   const auto filtered = status.ifpProgramStatus( mtp );
   return ports == KarvelMirror::ProgramStatus::success ? filtered : ports;
}

bool isFailure( KarvelMirror::ProgramStatus status ) {
   using KarvelMirror::ProgramStatus;
   return status == ProgramStatus::failed || status == ProgramStatus::resourceExhaustion;
}

// A status that says failure, with what the chip refused then. The status alone cannot tell a full
// chip from one that refused a call.
SessionOutcome failureOf(
      KarvelMirror::ProgramStatus status, const AgentServices::LastRefusal& refusal ) {
   const bool isFull = status == KarvelMirror::ProgramStatus::resourceExhaustion;
   return failedBecause( refusal, isFull ? SessionCause::entries : SessionCause::refusedCall );
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
   if ( auto problem = slice.publisher.problem( mtp ) ) {
      outcome = { SessionPhase::failed, SessionCause::destination, *problem, {} };
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

// Whether the chip has been set to put the tunnel's key into GRE headers.
bool sendsKey( const Slice& slice, const TunnelConfig& tunnel, ChipModel::Switch& chips ) {
   const ChipModel::GreEditor* editor = ChipModel::greEditor( slice.host.profile().greKeys );
   if ( !editor ) {
      return true;
   }
   const bool isIp4 = tunnel.dstIp.family() == Plix::AddressFamily::ipv4;
   const ChipModel::GreEditorPlaces& places = isIp4 ? editor->ip4 : editor->ip6;
   return chips.chip( slice.host.unit() )->tables().memories.value( places.keySelect ) != 0;
}

// Why the copies of a session with a key have none.
std::optional< std::string > keyProblem(
      const SessionConfig& session, const Slice& slice, ChipModel::Switch& chips ) {
   if ( !session.tunnel || !session.tunnel->greKey ) {
      return {};
   }
   if ( !slice.publisher.sendsKeys() ) {
      return "its copies have no GRE key: the toggle KarvelMirrorGreKey is off";
   }
   if ( !sendsKey( slice, *session.tunnel, chips ) ) {
      return "its copies have no GRE key: the chip refused to be set for keys";
   }
   return {};
}

} // namespace

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
   if ( result.reason.empty() ) {
      if ( auto unkeyed = keyProblem( session, *slice, chips ) ) {
         result.cause = SessionCause::unkeyed;
         result.reason = std::move( *unkeyed );
      }
   }
   return result;
}

} // namespace Agent
