// Routes of tunnels: which prefix, next hop and port a destination has, and why it has none.

#include "Agent/Publisher/Resolver.h"
#include "Tests/Agent/ConfigurationBed.h"

namespace Agent {
namespace {

class ResolverTest : public ConfigurationBed {
 protected:
   // E16 and E20 are routed, E20 is on chip 1; PortChannel1 is tagged in Vlan20.
   static std::string network( const std::string& more ) {
      return with( R"("CHIP": {"0": {}, "1": {"ports": "E20"}},
         "VLAN_MEMBER|Vlan20|E4": {}, "INTERFACE|E16|10.0.0.1/24": {},
         "INTERFACE|E16|2001:db8::1/64": {}, "INTERFACE|E20|10.20.0.1/24": {},
         "VLAN_INTERFACE|Vlan20|10.10.0.1/16": {},
         "NEIGH|E16|10.0.0.9": {"neigh": "02:00:00:00:00:09"},
         "NEIGH|E16|2001:db8::9": {"neigh": "02:00:00:00:00:69"},
         "NEIGH|E20|10.20.0.9": {"neigh": "02:00:00:00:00:20"},
         "NEIGH|Vlan20|10.10.0.4": {"neigh": "02:00:00:00:00:04"},
         "NEIGH|Vlan20|10.10.0.5": {"neigh": "02:00:00:00:00:05"},
         "NEIGH|Vlan20|10.10.0.6": {"neigh": "02:00:00:00:00:06"},
         "FDB|Vlan20|02:00:00:00:00:04": {"port": "E4"},
         "FDB|Vlan20|02:00:00:00:00:05": {"port": "PortChannel1"})" +
            ( more.empty() ? "" : ", " + more ) );
   }
   void networkIs( const std::string& more ) {
      LoadResult result = load( network( more ) );
      ASSERT_EQ( said( result.errors ), "" );
      configuration_ = result.configuration;
   }
   static std::string route( const std::string& prefix, const std::string& fields ) {
      return "\"STATIC_ROUTE|" + prefix + "\": {" + fields + "}";
   }
   // "ROUTE, INTERFACE, NEXT HOP[, VLAN]", or why there is none.
   std::string found( const std::string& destination, int unit = 0 ) const {
      const Resolution resolution =
            Resolver( configuration_, states_ )
                  .routeTo( unit, *Plix::IpGenAddr::fromString( destination ) );
      if ( const std::string* why = std::get_if< std::string >( &resolution ) ) {
         return *why;
      }
      const TunnelRoute& is = std::get< TunnelRoute >( resolution );
      return is.text + ", " + is.interface + ", " + is.nextHop.toString() +
            ( is.vid ? ", " + std::to_string( is.vid ) : "" );
   }

   void expectRoutes( const std::string& lines ) const {
      for ( const auto& [ destination, expected ] : pairs( lines ) ) {
         EXPECT_EQ( found( destination ), expected );
      }
   }

   Configuration configuration_;
   PortStates states_;
};

TEST_F( ResolverTest, ConnectedDestinationsNeedANeighbour ) {
   networkIs( "" );
   expectRoutes( R"(
10.0.0.9 => 10.0.0.0/24 attached, E16, 02:00:00:00:00:09
2001:db8::9 => 2001:db8::/64 attached, E16, 02:00:00:00:00:69
10.0.0.8 => no neighbour entry for 10.0.0.8 on E16
10.0.0.1 => 10.0.0.1 is an address of this switch (E16)
2001:db8::1 => 2001:db8::1 is an address of this switch (E16)
10.20.0.9 => E20 is on chip 1, the session on chip 0)" );
   EXPECT_EQ( found( "10.20.0.9", 1 ), "10.20.0.0/24 attached, E20, 02:00:00:00:00:20" );
   EXPECT_EQ( found( "10.3.0.1" ), "no route to 10.3.0.1" );
   EXPECT_EQ( found( "2001:db9::1" ), "no route to 2001:db9::1" );
}

TEST_F( ResolverTest, InVlansTheAddressTableKnowsThePortAndTheTag ) {
   networkIs( "" );
   expectRoutes( R"(
10.10.0.4 => 10.10.0.0/16 attached to Vlan20, E4, 02:00:00:00:00:04
10.10.0.5 => 10.10.0.0/16 attached to Vlan20, PortChannel1, 02:00:00:00:00:05, 20
10.10.0.6 => no FDB entry for the next hop's 02:00:00:00:00:06 in Vlan20)" );
   states_.down = { "E4" };
   EXPECT_EQ( found( "10.10.0.4" ), "link of E4 is down" )
         << "the VLAN has another port that is up";
}

TEST_F( ResolverTest, TheLongestPrefixWinsThenTheConnectedThenTheNearest ) {
   const std::string viaE16 = R"("nexthop": "10.0.0.9")";
   const std::string viaVlan = R"("nexthop": "10.10.0.4")";
   const std::string black = R"("blackhole": "true")";
   networkIs( route( "0.0.0.0/0", viaE16 ) + "," + route( "10.2.0.0/16", viaVlan ) + "," +
         route( "10.2.3.0/24", black ) + "," + route( "10.2.3.128/25", viaE16 ) + "," +
         route( "10.0.0.0/24", black ) + "," +
         route( "10.2.4.0/24", R"("nexthop": "10.0.0.8")" ) + "," +
         route( "default|10.4.0.0/16", viaE16 + R"(, "distance": "9")" ) + "," +
         route( "10.4.0.0/16", viaVlan + R"(, "distance": "5")" ) + "," +
         route( "2001:db8:1::/48", R"("nexthop": "2001:db8::9")" ) + "," +
         route( "2001:db8:1:2::/64", black ) );
   expectRoutes( R"(
192.0.2.1 => 0.0.0.0/0 via 10.0.0.9, E16, 02:00:00:00:00:09
10.2.0.1 => 10.2.0.0/16 via 10.10.0.4, E4, 02:00:00:00:00:04
10.2.4.1 => 10.2.0.0/16 via 10.10.0.4, E4, 02:00:00:00:00:04
10.2.3.127 => 10.2.3.0/24 is a blackhole route
10.2.3.128 => 10.2.3.128/25 via 10.0.0.9, E16, 02:00:00:00:00:09
10.0.0.9 => 10.0.0.0/24 attached, E16, 02:00:00:00:00:09
10.4.0.1 => 10.4.0.0/16 via 10.10.0.4, E4, 02:00:00:00:00:04
2001:db8:1:3::1 => 2001:db8:1::/48 via 2001:db8::9, E16, 02:00:00:00:00:69
2001:db8:1:2::1 => 2001:db8:1:2::/64 is a blackhole route)" );
   EXPECT_EQ( found( "2001:db9::1" ), "no route to 2001:db9::1" ) << "0.0.0.0/0 is for IPv4";
}

TEST_F( ResolverTest, TheFirstNextHopThatCanBeReachedIsTaken ) {
   networkIs( route( "10.2.0.0/16", R"("nexthop": "10.0.0.8,10.20.0.9,10.0.0.9")" ) + "," +
         route( "10.3.0.0/16", R"("nexthop": "10.0.0.8,10.99.0.1")" ) + "," +
         // Through its interface, though no subnet there has it, and not through other routes.
         route( "10.5.0.0/16", R"("nexthop": "172.16.0.1", "ifname": "E16")" ) + "," +
         route( "10.6.0.0/16", R"("nexthop": "10.2.0.1")" ) + "," +
         route( "10.7.0.0/16", R"("nexthop": "0.0.0.0", "ifname": "E16")" ) + "," +
         route( "10.0.0.9/32", R"("nexthop": "10.10.0.4")" ) +
         R"(, "NEIGH|E16|172.16.0.1": {"neigh": "02:00:00:00:00:16"},
              "NEIGH|E16|10.7.0.1": {"neigh": "02:00:00:00:00:77"})" );
   EXPECT_EQ( found( "10.2.0.1" ), "10.2.0.0/16 via 10.0.0.9, E16, 02:00:00:00:00:09" );
   EXPECT_EQ( found( "10.2.0.1", 1 ), "10.2.0.0/16 via 10.20.0.9, E20, 02:00:00:00:00:20" );
   expectRoutes( R"(
10.3.0.1 => no neighbour entry for the next hop 10.0.0.8 on E16; the next hop 10.99.0.1 is in no connected subnet
10.5.0.1 => 10.5.0.0/16 via 172.16.0.1, E16, 02:00:00:00:00:16
10.6.0.1 => the next hop 10.2.0.1 is in no connected subnet
10.7.0.1 => 10.7.0.0/16 attached, E16, 02:00:00:00:00:77
10.7.0.2 => no neighbour entry for 10.7.0.2 on E16)" );
}

TEST_F( ResolverTest, RoutesGoWithTheLinksThatTheyNeed ) {
   networkIs( route( "10.2.0.0/16", R"("nexthop": "10.0.0.9,10.10.0.4", "distance": "1,2")" ) +
         "," + route( "10.3.0.0/16", R"("nexthop": "10.0.0.9")" ) );
   states_.down = { "E16" };
   expectRoutes( R"(
10.2.0.1 => 10.2.0.0/16 via 10.10.0.4, E4, 02:00:00:00:00:04
10.3.0.1 => link of E16 is down (10.3.0.0/16)
10.0.0.9 => link of E16 is down (10.0.0.0/24))" );
   states_.down = {};
   EXPECT_EQ( found( "10.2.0.1" ), "10.2.0.0/16 via 10.0.0.9, E16, 02:00:00:00:00:09" );
   networkIs( R"("PORT|E24": {"admin_status": "down"},
      "INTERFACE|E24|10.24.0.1/24": {}, "NEIGH|E24|10.24.0.9": {"neigh": "02:00:00:00:00:24"})" );
   EXPECT_EQ( found( "10.24.0.9" ), "E24 is down by its administrator (10.24.0.0/24)" );
}

TEST_F( ResolverTest, APortChannelNeedsOneMemberThatIsUp ) {
   networkIs( "" );
   states_.down = { "E8" };
   const Resolution resolution =
         Resolver( configuration_, states_ )
               .routeTo( 0, *Plix::IpGenAddr::fromString( "10.10.0.5" ) );
   ASSERT_TRUE( std::holds_alternative< TunnelRoute >( resolution ) );
   const TunnelRoute& trunk = std::get< TunnelRoute >( resolution );
   EXPECT_EQ( trunk.kind, Shim::MirrorDestination::Kind::trunk );
   EXPECT_EQ( trunk.id, configuration_.portChannels.at( "PortChannel1" ).trunk );
   EXPECT_EQ( trunk.ports, ( std::vector< std::string >{ "E8", "E12" } ) );
   states_.down = { "E8", "E12" };
   EXPECT_EQ( found( "10.10.0.5" ), "all members of PortChannel1 are down" );
   states_.down = { "E8" };
   configuration_.portChannels.at( "PortChannel1" ).minLinks = 2;
   EXPECT_EQ(
         found( "10.10.0.5" ), "PortChannel1 has 1 member up, fewer than its min_links 2" );
   configuration_.portChannels.at( "PortChannel1" ).adminUp = false;
   EXPECT_EQ( found( "10.10.0.5" ), "PortChannel1 is down by its administrator" );
   configuration_.portChannels.at( "PortChannel1" ).adminUp = true;
   configuration_.portChannels.at( "PortChannel1" ).members.clear();
   EXPECT_EQ( found( "10.10.0.5" ), "PortChannel1 has no members" );
}

} // namespace
} // namespace Agent
