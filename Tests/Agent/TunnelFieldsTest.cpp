// What a configuration says of tunnels, rates and routes, and what is said about mistakes in it.

#include "Agent/Configuration/Values.h"
#include "Tests/Agent/ConfigurationBed.h"

namespace Agent {
namespace {

class TunnelFieldsTest : public ConfigurationBed {
 protected:
   static std::string erspan( const std::string& more = "" ) {
      return R"("src_port": "E0", "src_ip": "10.0.0.1", "dst_ip": "10.2.0.1")" + more;
   }
   // Session m, with the policer p and what it may need.
   SessionConfig limited( const std::string& policer ) {
      return good( with( R"("POLICER|p": {)" + policer +
                         R"(}, "MIRROR_SESSION|m": {"policer": "p", "dst_port": "E16",
                         "src_port": "E0"})" ) )
            .sessions.at( "m" );
   }
};

TEST_F( TunnelFieldsTest, ErspanSessionsHaveATunnel ) {
   LoadResult result = load( withSession( erspan() ) );
   EXPECT_EQ( said( result.errors ) + said( result.warnings ), "" );
   SessionConfig session = result.configuration.sessions.at( "m" );
   TunnelConfig tunnel{ Plix::IpAddr( 0x0a000001 ), Plix::IpAddr( 0x0a020001 ), 0x88be, 0, 255,
      std::nullopt };
   EXPECT_EQ( session.tunnel, tunnel );
   EXPECT_EQ( session.unit, 0 );
   EXPECT_EQ( session.refused, std::nullopt );
   EXPECT_EQ( session.rateKbps, 0u );

   result = load( withSession(
         R"("src_port": "E0", "src_ip": "2001:db8::1", "dst_ip": "2001:db8::2", "dscp": "63",
            "ttl": "0", "gre_type": "0x6558", "gre_key": "0xffffffff", "rate_kbps": "9")" ) );
   session = result.configuration.sessions.at( "m" );
   tunnel = { *Plix::Ip6Addr::fromString( "2001:db8::1" ),
      *Plix::Ip6Addr::fromString( "2001:db8::2" ), 0x6558, 63, 0, 0xffffffff };
   EXPECT_EQ( session.tunnel, tunnel );
   EXPECT_EQ( session.refused, std::nullopt );
   EXPECT_FALSE( session.rateIsEnforced() );
   EXPECT_EQ( said( result.errors ) + said( result.warnings ),
         "9: MIRROR_SESSION|m: rate_kbps: a rate cannot be enforced on an IPv6 tunnel: its "
         "copies are not limited\n" );

   for ( const char* address : { "0.0.0.0", "127.0.0.1", "224.0.0.1", "255.255.255.255",
               "::", "::1", "ff02::1", "", "10.0.0.0/8" } ) {
      EXPECT_EQ( parseStation( address ), std::nullopt ) << address;
   }
}

TEST_F( TunnelFieldsTest, ATunnelsChipIsThatOfItsSources ) {
   const std::string chips = R"("CHIP": {"0": {}, "1": {"ports": "E4,E16"}}, )";
   const std::string ends = R"("src_ip": "10.0.0.1", "dst_ip": "10.2.0.1", "src_port": )";
   const Configuration config =
         load( with( chips + R"("MIRROR_SESSION|a": {)" + ends +
                     R"("E16"}, "MIRROR_SESSION|b": {)" + ends + R"("E4,E0"})" ) )
               .configuration;
   EXPECT_EQ( config.sessions.at( "a" ).unit, 1 );
   EXPECT_EQ( config.sessions.at( "a" ).refused, std::nullopt );
   EXPECT_EQ( config.sessions.at( "b" ).refused, "E0 is on chip 0, E4 on chip 1" );

   const LoadResult fed = load( with( chips + R"(
      "MIRROR_SESSION|m": {"src_ip": "10.0.0.1", "dst_ip": "10.2.0.1"},
      "ACL_TABLE|T": {"type": "L3", "ports": "E0,E4"},
      "ACL_RULE|T|a": {"PRIORITY": "1", "MIRROR_ACTION": "m"})" ) );
   EXPECT_EQ( fed.configuration.sessions.at( "m" ).unit, 0 );
   EXPECT_EQ( said( fed.errors ) + said( fed.warnings ),
         "9: MIRROR_SESSION|m: the session is on chip 0, so these ports of T on other chips "
         "are not mirrored to it: E4\n" );
}

TEST_F( TunnelFieldsTest, RatesAreWhatThePolicersOfTheChipCanDo ) {
   const std::string span = R"("dst_port": "E16", "src_port": "E0", "rate_kbps": )";
   const SessionConfig session = good( withSession( span + "2863311530" ) ).sessions.at( "m" );
   EXPECT_EQ( session.rateKbps, 2863311530u );
   EXPECT_TRUE( session.rateIsEnforced() );
   expectErrors( pairs( R"(
"MIRROR_SESSION|m": {"dst_port": "E16", "src_port": "E0", "rate_kbps": 1, "policer": "p"} => policer: beside rate_kbps; allowed: one of them
"MIRROR_SESSION|m": {"dst_port": "E16", "src_port": "E0", "policer": "p"} => policer: there is no policer p; allowed: a policer of POLICER)" ) );
   EXPECT_EQ(
         load( withSession( span + "1" ), "helix4" ).configuration.sessions.at( "m" ).refused,
         "chip profile helix4 has no policers: it limits no rate" );
}

TEST_F( TunnelFieldsTest, PolicersBecomeRates ) {
   const std::string drops = R"("meter_type": "bytes", "red_packet_action": "drop", )";
   const std::pair< std::string, uint32_t > rates[] = { { "1", 1 }, { "187", 1 }, { "188", 2 },
      { "125000", 1000 }, { "357913941250", 2863311530 }, { "357913941312", 2863311530 } };
   for ( const auto& [ cir, rate ] : rates ) {
      for ( const char* mode : { "sr_tcm", "STORM" } ) {
         const SessionConfig session =
               limited( drops + "\"mode\": \"" + mode + "\", \"cir\": \"" + cir + "\"" );
         EXPECT_EQ( session.rateKbps, rate ) << cir;
         EXPECT_EQ( session.refused, std::nullopt );
         EXPECT_EQ( warnings_, "" );
      }
   }
   const std::string plain = drops + R"("mode": "sr_tcm", "cir": "125000", "color": "blind")";
   limited( plain + R"(, "cbs": "187500", "pir": "0")" );
   EXPECT_EQ( warnings_, "" ) << "that is the chip's burst";
   EXPECT_EQ( limited( plain + R"(, "cbs": "200000")" ).rateKbps, 1000u );
   EXPECT_EQ( warnings_,
         "8: MIRROR_SESSION|m: policer: policer p: the burst is 187500 bytes, whatever cbs "
         "says: the chip's is 3/2 of the rate\n" );

   for ( const char* red : { "", R"(, "red_packet_action": "FORWARD")" } ) {
      const SessionConfig session =
            limited( R"("meter_type": "bytes", "mode": "sr_tcm", "cir": "125000")" +
                  std::string( red ) );
      EXPECT_EQ( session.rateKbps, 0u );
      EXPECT_EQ( session.refused, std::nullopt ) << "it runs, without a limit";
      EXPECT_NE( warnings_.find( "so it limits nothing" ), std::string::npos ) << warnings_;
   }
}

TEST_F( TunnelFieldsTest, PolicersBeyondTheChipRefuseTheSession ) {
   for ( const auto& [ fields, reason ] : pairs( R"(
"meter_type": "packets", "mode": "sr_tcm", "cir": "9" => meters packets; the chip's policers meter bits
"meter_type": "bytes", "mode": "tr_tcm", "cir": "125000" => has two rates or bursts; the chip's policers have one (cir)
"meter_type": "bytes", "mode": "sr_tcm", "cir": "125000", "pir": "250000" => has two rates or bursts; the chip's policers have one (cir)
"meter_type": "bytes", "mode": "sr_tcm", "cir": "125000", "yellow_packet_action": "drop" => has two rates or bursts; the chip's policers have one (cir)
"meter_type": "bytes", "mode": "sr_tcm", "cir": "125000", "green_packet_action": "deny" => drops what is green, so nothing would pass
"meter_type": "bytes", "mode": "sr_tcm", "cir": "125000", "yellow_packet_action": "trap" => traps packets; the chip's policers drop them
"meter_type": "bytes", "mode": "storm", "pbs": "0" => has no cir, so nothing would pass
"meter_type": "bytes", "mode": "sr_tcm", "cir": "357913941313" => has a cir beyond 2863311530 kbit/s, the most that the chip's policers do)" ) ) {
      const SessionConfig session = limited( fields + R"(, "red_packet_action": "drop")" );
      EXPECT_EQ( session.refused, "policer p " + reason ) << fields;
      EXPECT_EQ( session.rateKbps, 0u );
   }
   expectErrors( pairs( R"(
"POLICER|p": {"mode": "sr_tcm"} => meter_type: missing; allowed: bytes, packets
"POLICER|p": {"meter_type": "bytes"} => mode: missing; allowed: sr_tcm, tr_tcm, storm
"POLICER|p": {"meter_type": "bytes", "mode": "sr_tcm", "cir": "9", "cbs": "8"} => cbs: 8 is below cir
"POLICER|p": {"meter_type": "bytes", "mode": "tr_tcm", "cir": "9", "pir": "8"} => pir: 8 is below cir
"POLICER|p": {"meter_type": "bytes", "mode": "sr_tcm", "cbs": "9", "pbs": "8"} => pbs: 8 is below cbs)" ) );
}

TEST_F( TunnelFieldsTest, RoutesAreReadAsTheConventionWritesThem ) {
   const LoadResult result = load( with(
         R"("PORTCHANNEL|PortChannel2": {}, "INTERFACE": {"E16": {}, "E16|10.0.0.1/24": {}},
      "PORTCHANNEL_INTERFACE|PortChannel2|FC00::71/126": {"scope": "global"},
      "VLAN_INTERFACE|Vlan10|10.1.0.1/16": {}, "LOOPBACK_INTERFACE|Loopback0|10.9.9.9/32": {},
      "STATIC_ROUTE|default|10.2.1.1/16": {"nexthop": "10.0.0.9,0.0.0.0", "ifname": ",Vlan10",
         "distance": "0,0", "blackhole": "false,False", "nexthop-vrf": ",default"},
      "STATIC_ROUTE|10.3.0.0/16": {"nexthop": "10.0.0.7,10.0.0.8,", "distance": "20,10,30",
         "blackhole": "false,false,true"},
      "STATIC_ROUTE|::/0": {"nexthop": "", "ifname": "", "blackhole": "true", "distance": "0"},
      "NEIGH|E16|10.0.0.9": {"neigh": "02:00:00:00:00:09", "family": "ipv4"},
      "NEIGH|PortChannel2|fc00::72": {"neigh": "02-00-00-00-00-72"},
      "NEIGH|Vlan10|10.1.0.2": {"family": "IPv4"},
      "DEVICE_METADATA|localhost": {"mac": "02:00:00:00:01:00", "hwsku": {},
         "hwsku": "of no matter"},
      "PORT|E24": {"channel": "0xff"})" ) );
   ASSERT_EQ( said( result.errors ) + said( result.warnings ), "" );
   std::string routes;
   for ( const StaticRoute& route : result.configuration.routing.routes ) {
      routes += route.prefix.toString() + " " + std::to_string( route.distance ) +
            ( route.isBlackhole ? " blackhole" : "" );
      for ( const NextHop& hop : route.nextHops ) {
         routes += " " + hop.address.toString() + "@" + hop.interface;
      }
      routes += "; ";
   }
   EXPECT_EQ( routes,
         "10.3.0.0/16 10 10.0.0.8@; 10.3.0.0/16 20 10.0.0.7@; 10.3.0.0/16 30 blackhole; "
         "::/0 0 blackhole; 10.2.0.0/16 0 10.0.0.9@ @Vlan10; " );
   std::string addresses;
   for ( const InterfaceAddress& own : result.configuration.routing.addresses ) {
      addresses += own.interface + " " + own.address.toString() + " in " +
            own.subnet.toString() + "; ";
   }
   EXPECT_EQ( addresses,
         "E16 10.0.0.1 in 10.0.0.0/24; PortChannel2 fc00::71 in fc00::70/126; "
         "Vlan10 10.1.0.1 in 10.1.0.0/16; " );
   EXPECT_EQ( result.configuration.routing.neighbours.size(), 2u );
   EXPECT_EQ( result.configuration.routing.routerMac, Plix::EthAddr( { 2, 0, 0, 0, 1, 0 } ) );
   const LoadResult group =
         load( with( R"("DEVICE_METADATA|localhost": {"mac": "1d:34:db:16:a6:00"})" ) );
   EXPECT_EQ( said( group.errors ), "" );
   EXPECT_EQ( said( group.warnings ),
         "8: DEVICE_METADATA|localhost: mac: ignored: 1d:34:db:16:a6:00 is not the address of "
         "a station\n" );
   EXPECT_EQ( group.configuration.routing.routerMac, std::nullopt );
   EXPECT_EQ( result.configuration.ports.at( "E24" ).channel, 255 );
   EXPECT_EQ( result.configuration.ports.at( "E0" ).channel, std::nullopt );
}

TEST_F( TunnelFieldsTest, OtherVrfsAreLeftAlone ) {
   const LoadResult result = load( with( R"("INTERFACE|E16": {"vrf_name": "Vrf1"},
      "INTERFACE|E16|10.0.0.1/24": {},
      "STATIC_ROUTE|Vrf1|10.2.0.0/16": {"nexthop": "10.0.0.9", "ifname": "Loopback7"},
      "STATIC_ROUTE|10.2.0.0/16": {"nexthop": "10.0.0.9", "nexthop-vrf": "Vrf1"})" ) );
   EXPECT_EQ( said( result.errors ), "" );
   const std::string ignored = ": ignored: tunnels are routed in the VRF default\n";
   EXPECT_EQ( said( result.warnings ),
         "9: INTERFACE|E16|10.0.0.1/24" + ignored + "10: STATIC_ROUTE|Vrf1|10.2.0.0/16" +
               ignored + "11: STATIC_ROUTE|10.2.0.0/16" + ignored );
   EXPECT_EQ( result.configuration.routing, RoutingConfig() );
}

TEST_F( TunnelFieldsTest, SaysWhatIsWrongWithRoutes ) {
   expectErrors( pairs( R"(
"INTERFACE|E5|10.0.0.1/24": {} => refused: there is no E5
"VLAN_INTERFACE|Vlan11": {} => refused: there is no Vlan11
"INTERFACE|E16|10.0.0.1/33": {} => '10.0.0.1/33' is not an interface's address
"INTERFACE|E16|224.0.0.1/24": {} => is not an interface's address
"STATIC_ROUTE|default|10.2.0.0.0/16": {"ifname": "E16"} => is not a prefix
"STATIC_ROUTE|10.2.0.0/16": {"nexthop": "10.0.0.256"} => nexthop: '10.0.0.256'; allowed: unicast addresses of the prefix's family
"STATIC_ROUTE|10.2.0.0/16": {"nexthop": "10.0.0.9,10.0.0.8", "ifname": "E16"} => ifname: there are 1 for 2 next hops; allowed: as many, or none
"STATIC_ROUTE|10.2.0.0/16": {"ifname": "E16", "distance": "1,2"} => distance: there are 2 for 1 next hops; allowed: as many, or one
"STATIC_ROUTE|10.2.0.0/16": {"nexthop": "0.0.0.0"} => leads nowhere; allowed: a nexthop, an ifname or blackhole true
"STATIC_ROUTE|10.2.0.0/16": {"nexthop": "fc00::1"} => of the prefix's family
"STATIC_ROUTE|10.2.0.0/16": {"ifname": "E5"} => refused: there is no E5
"NEIGH|E5|10.0.0.9": {"neigh": "02:00:00:00:00:09"} => refused: there is no E5
"NEIGH|E16|10.0.0": {} => '10.0.0' is not a neighbour's address
"NEIGH|E16|10.0.0.9": {"neigh": "03:00:00:00:00:09"} => a unicast MAC address
"NEIGH|E16|10.0.0.9": {"family": "IPv6"} => family: 'IPv6'; allowed: that of
"NEIGH|E16|fc00::1": {"neigh": "02:00:00:00:00:09"}, "NEIGH|E16|FC00::1": {"neigh": "02:00:00:00:00:08"} => duplicate neighbour)" ) );
}

} // namespace
} // namespace Agent
