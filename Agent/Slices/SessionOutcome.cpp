#include "Agent/Slices/SessionOutcome.h"

#include <array>

#include "AgentServices/PortClassManager.h"
#include "AgentServices/TcamGroup.h"
#include "Platform/Shim/Sdk.h"
#include "Platform/Zol/Assert.h"

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

constexpr std::array causes{
   SessionCauseRow{ SessionCause::none, "none", "" },
   SessionCauseRow{ SessionCause::configuration, "configuration", "" },
   SessionCauseRow{ SessionCause::chip, "chip", "" },
   SessionCauseRow{ SessionCause::destinations, "destinations", "" },
   SessionCauseRow{ SessionCause::policerPool, "policer-pool", "" },
   SessionCauseRow{ SessionCause::route, "route", "" },
   SessionCauseRow{ SessionCause::groups, "groups", "the chip has no TCAM groups left for it" },
   SessionCauseRow{
         SessionCause::entries, "entries", "the chip has no TCAM entries left for it" },
   SessionCauseRow{ SessionCause::portClasses, "port-classes",
         "the chip has no port classes left for it" },
   SessionCauseRow{
         SessionCause::policers, "policers", "the chip has no policers left for it" },
   SessionCauseRow{ SessionCause::refusedCall, "refused-call", "the chip refused" },
   SessionCauseRow{ SessionCause::destination, "destination", "" },
   SessionCauseRow{ SessionCause::unkeyed, "unkeyed", "its copies have no GRE key" },
   SessionCauseRow{ SessionCause::headers, "headers",
         "its copies cannot be read: the chip refused a part of what GRE keys need" },
   SessionCauseRow{ SessionCause::forwarding, "forwarding", "" },
   SessionCauseRow{ SessionCause::link, "link", "" },
};

// What a chip has run out of when it says so to this.
SessionCause shortageOf( const std::string& what ) {
   if ( what == "bcm_field_group_create" ) {
      return SessionCause::groups;
   }
   if ( what == "bcm_policer_create" ) {
      return SessionCause::policers;
   }
   return what == AgentServices::portClassShortage || what.starts_with( "bcm_port_class_" )
         ? SessionCause::portClasses
         : SessionCause::entries;
}

} // namespace

std::span< const SessionCauseRow > sessionCauses() { return causes; }

const SessionCauseRow& rowOf( SessionCause cause ) {
   const SessionCauseRow& row = causes.at( static_cast< size_t >( cause ) );
   ZOL_ASSERT( row.cause == cause );
   return row;
}

SessionOutcome failedBecause(
      const std::optional< Karvel::SdkRefusal >& refusal, SessionCause otherwise ) {
   SessionOutcome result{ SessionPhase::failed, otherwise, {}, refusal };
   if ( refusal ) {
      const bool isFull =
            AgentServices::tcamStatus( refusal->rc ) == Karvel::TcamStatus::exhausted;
      result.cause = isFull ? shortageOf( refusal->what ) : SessionCause::refusedCall;
   }
   result.reason = rowOf( result.cause ).text;
   if ( result.cause == SessionCause::refusedCall ) {
      result.reason += refusal
            ? " " + refusal->what + ": " + Shim::Sdk::bcm_errmsg( refusal->rc ) + " (" +
                  std::to_string( refusal->rc ) + ")"
            : " its TCAM entries";
   }
   return result;
}

} // namespace Agent
