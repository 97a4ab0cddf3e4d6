#include "Agent/Runtime/SessionStates.h"

#include "ChipModel/Tables/GreFormats.h"

namespace Agent {

const char* phaseName( SessionPhase phase ) {
   switch ( phase ) {
   case SessionPhase::active:
      return "active";
   case SessionPhase::inactive:
      return "inactive";
   case SessionPhase::refused:
      return "refused";
   case SessionPhase::failed:
      return "failed";
   default:
      return "pending";
   }
}

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

// Why copies are not limited as they should be; none if they are.
std::optional< std::string > rateProblem( const Slice& slice, const WantedMtp& wanted ) {
   using KarvelMirror::ProgramStatus;
   const auto rules = wanted.egressRules();
   const ProgramStatus status = rules ? slice.host.programStatus()->efpProgramStatus( *rules )
                                      : ProgramStatus::success;
   const std::string what =
         wanted.isLimited() ? "its rate is not limited: " : "its copies have no source tag: ";
   switch ( status ) {
   case ProgramStatus::resourceExhaustion:
      return what + "the chip has no TCAM entries left for it";
   case ProgramStatus::failed:
      return what + "the chip refused its TCAM entries or policers";
   default:
      return {};
   }
}

// Adds what there is to say of one destination.
void judge(
      const Slice& slice, KarvelMirror::Mtp mtp, const MtpUse& use, SessionState& state ) {
   using KarvelMirror::ProgramStatus;
   const ProgramStatus programmed = combined( slice.host, mtp );
   const WantedMtp& wanted = slice.publisher.wanted( mtp );
   state.held.push_back( { slice.host.unit(), mtp, use.direction, programmed, wanted.route } );
   auto failed = [ & ]( const std::string& reason ) {
      state.phase = SessionPhase::failed;
      state.reason = reason;
   };
   if ( auto problem = slice.publisher.problem( mtp ) ) {
      failed( *problem );
   } else if ( programmed == ProgramStatus::resourceExhaustion ) {
      failed( "the chip has no TCAM entries left for it" );
   } else if ( programmed == ProgramStatus::failed ) {
      failed( "the chip refused its TCAM entries" );
   } else if ( auto unlimited = rateProblem( slice, wanted ) ) {
      failed( *unlimited );
   } else if ( !wanted.target && state.phase != SessionPhase::failed ) {
      state.phase = SessionPhase::inactive;
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
      result.reason = session.refused.value_or( "its destination is on no chip" );
      return result;
   }
   if ( auto refusal = slice->publisher.refusal( session.name ) ) {
      result.reason = *refusal;
      return result;
   }
   result.phase = SessionPhase::active;
   for ( const auto& [ mtp, use ] : slice->publisher.uses() ) {
      if ( use.session == session.name ) {
         judge( *slice, mtp, use, result );
      }
   }
   if ( result.reason.empty() ) {
      result.reason = keyProblem( session, *slice, chips ).value_or( "" );
   }
   return result;
}

} // namespace Agent
