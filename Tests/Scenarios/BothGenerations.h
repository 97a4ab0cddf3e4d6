#pragma once

// Scenarios that are played on several chips, each time with a transcript of what a user could
// see, so that the transcripts can be compared.

#include <ostream>
#include <string>
#include <vector>

#include "Tests/Scenarios/Scenario.h"

namespace Scenario {

struct PortScenario {
   const char* name;
   void ( *run )();
};

inline void PrintTo( const PortScenario& scenario, std::ostream* out ) {
   *out << scenario.name;
}

inline std::vector< PortScenario >& portScenarios() {
   static std::vector< PortScenario > all;
   return all;
}

inline bool addPortScenario( const PortScenario& scenario ) {
   portScenarios().push_back( scenario );
   return true;
}

// Plays a scenario on chips of this profile, where it does not name another.
inline Transcript play( const PortScenario& scenario, const char* profile ) {
   SCOPED_TRACE( profile );
   Transcript transcript;
   Rig::recorder = &transcript;
   Rig::defaultProfile = profile;
   scenario.run();
   Rig::recorder = nullptr;
   Rig::defaultProfile.clear();
   return transcript;
}

} // namespace Scenario

#define PORT_SCENARIO( group, sentence )                                                       \
   static void group##_##sentence();                                                           \
   static const bool isAdded_##group##_##sentence =                                            \
         ::Scenario::addPortScenario( { #group "_" #sentence, &group##_##sentence } );         \
   static void group##_##sentence()
