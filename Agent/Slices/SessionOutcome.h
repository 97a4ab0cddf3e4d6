#pragma once

// What became of a session: how it stands, why, in words for people, and with the call that a
// chip refused if there was one. Docs/diagnostics.md says what to do about each cause.

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "Platform/Karvel/SdkRefusals.h"

namespace Agent {

enum class SessionPhase : uint8_t {
   active,   // in the chip
   inactive, // its tunnel has no route now, or a link is down; see reason
   refused,  // this agent or chip cannot serve it; see reason
   failed,   // programming failed; it is tried again when something changes, and by and by
   pending,  // published, no answer yet
};

// "active", as people read it.
const char* phaseName( SessionPhase phase );

enum class SessionCause : uint8_t {
   none,
   configuration, // it cannot be served as it is written
   chip,          // the chip cannot mirror so at all
   destinations,  // other sessions hold the chip's mirror destinations
   policerPool,   // other sessions hold the chip's policers
   route,         // its tunnel has no way to go
   groups,        // of the TCAM: none left
   entries,       // of the TCAM: none left
   portClasses,   // none left
   policers,      // none left
   refusedCall,   // the chip refused a call for another reason
   destination,   // the chip refused the mirror destination
   unkeyed,       // copies have no GRE key
   headers,       // the chip refused a part of what headers with a key need
   forwarding,    // the chip refused a port or port channel that it needs
   link,          // its destination, or all of its sources, cannot send
};

struct SessionCauseRow {
   SessionCause cause;
   const char* name; // for programs, and in the documentation
   const char* text; // for people; empty: it depends
};

// One row for each cause, in their order.
std::span< const SessionCauseRow > sessionCauses();
const SessionCauseRow& rowOf( SessionCause cause );

struct SessionOutcome {
   SessionPhase phase{};
   SessionCause cause = SessionCause::none; // also of an active session with wrong copies
   std::string reason;                      // what is wrong; empty: nothing
   std::optional< Karvel::SdkRefusal > refusal;
};

// Of what could not be programmed because a chip refused this. Without a refusal that is known,
// `otherwise` is the cause.
SessionOutcome failedBecause(
      const std::optional< Karvel::SdkRefusal >& refusal, SessionCause otherwise );

} // namespace Agent
