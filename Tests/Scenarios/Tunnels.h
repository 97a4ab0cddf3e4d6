#pragma once

// Sessions with tunnels, the ways they take, and a switch that has them.

#include "Tests/Scenarios/Scenario.h"

namespace Scenario {

inline constexpr uint64_t secondNs = 1'000'000'000;
inline constexpr uint32_t frameBytes = 64;
inline constexpr uint32_t tunnelBytes = 14 + 20 + 4;

// Ways to 198.51.100.0/24 by Ethernet20 and, second, Ethernet24; IPv6 by Ethernet24.
inline std::string ways() {
   return R"("INTERFACE": { "Ethernet20|192.0.2.1/30": {}, "Ethernet24|192.0.2.5/30": {},
                            "Ethernet24|2001:db8::1/64": {} },
      "STATIC_ROUTE": { "198.51.100.0/24": { "nexthop": "192.0.2.2,192.0.2.6" } },
      "NEIGH": { "Ethernet20|192.0.2.2": { "neigh": "02:00:00:00:02:01" },
                 "Ethernet24|192.0.2.6": { "neigh": "02:00:00:00:02:02" },
                 "Ethernet24|2001:db8::2": { "neigh": "02:00:00:00:02:02" } })";
}
inline std::string tunnelJson( const std::string& source, const std::string& more = "",
      const std::string& to = "198.51.100.10" ) {
   return R"({ "type": "ERSPAN", "direction": "RX", "src_ip": ")" +
         std::string( to.find( ':' ) == to.npos ? "192.0.2.1" : "2001:db8::1" ) +
         R"(", "dst_ip": ")" + to + R"(", "src_port": ")" + source + "\"" + more + " }";
}
inline std::string tunnel( const std::string& name, const std::string& source,
      const std::string& more = "", const std::string& to = "198.51.100.10" ) {
   return "\"" + name + "\": " + tunnelJson( source, more, to );
}
inline std::string rate( uint32_t kbps ) {
   return R"(, "rate_kbps": ")" + std::to_string( kbps ) + "\"";
}

struct TunnelRig : Rig {
   explicit TunnelRig( const std::string& sessions, const std::string& more = ways(),
         const std::string& profile = "" )
         : Rig( sessions.starts_with( "{" ) ? sessions : network( sessions, more ), profile ) {
      Flitlog::recordsDelAll();
   }
   void sendAt( const std::string& port, uint64_t timeNs, int count = 1 ) {
      const Bytes bytes = frame( 1, 2 );
      const int chipPort = runtime.configuration().ports.at( port ).chipPort;
      for ( int i = 0; i < count; ++i ) {
         runtime.receive( 0, chipPort, { timeNs, bytes.data(), frameBytes, frameBytes } );
      }
   }
   std::vector< Bytes > one( const std::string& from, const std::string& to ) {
      forget();
      sendAt( from, 1 );
      return copies( to );
   }
   int egressEntries() {
      return runtime.chips().chip( 0 )->fields().entriesUsed( Shim::FieldStage::egress );
   }
};

} // namespace Scenario
