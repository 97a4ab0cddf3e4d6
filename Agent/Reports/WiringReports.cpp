#include "Agent/Reports/AgentReports.h"
#include "Platform/Zol/Wiring.h"

namespace Agent {

std::vector< Report > wiringReports() {
   auto text = []( std::string_view view ) { return std::string( view ); };
   Report reactions{ "reactions", { "machine", "watches", "attribute", "handler" }, {},
      "no machine reacts" };
   for ( const Zol::Reaction& edge : Zol::reactions() ) {
      reactions.rows.push_back( { text( edge.machine ), text( edge.entity ),
            text( edge.attribute ), text( edge.handler ) } );
   }
   Report owners{ "owners", { "owner", "attribute", "count", "machine", "which is" }, {},
      "no machine is owned" };
   for ( const Zol::Ownership& ownership : Zol::ownerships() ) {
      const bool isOne = ownership.count == Zol::Ownership::Count::one;
      owners.rows.push_back( { text( ownership.owner ), text( ownership.attribute ),
            isOne ? "one" : "per key", text( ownership.machine ),
            std::vector< std::string >( ownership.kinds.begin(), ownership.kinds.end() ) } );
   }
   return { reactions, owners };
}

} // namespace Agent
