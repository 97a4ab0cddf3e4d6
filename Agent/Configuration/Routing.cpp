// INTERFACE, PORTCHANNEL_INTERFACE, VLAN_INTERFACE, STATIC_ROUTE, NEIGH and DEVICE_METADATA: where
// packets of the switch's own, tunnels for one, go.

#include "Agent/Configuration/Routing.h"

#include <algorithm>

#include "Agent/Configuration/Draft.h"
#include "Agent/Configuration/Names.h"
#include "Agent/Configuration/Values.h"

namespace Agent {

namespace {

constexpr std::string_view defaultVrf = "default";

bool isUnicast( const Plix::IpGenAddr& address ) {
   if ( address.family() == Plix::AddressFamily::ipv4 ) {
      const uint32_t value = address.v4Addr().value();
      return value != 0 && value < 0xe0000000; // RFC 1112: class D and above
   }
   return address.family() == Plix::AddressFamily::ipv6 && !address.isZero() &&
         address.v6Addr().bytes()[ 0 ] != 0xff;
}

bool isDefaultVrf( std::string_view name ) { return name.empty() || name == defaultVrf; }

// Says it if there is no such interface.
bool checkInterface( const Draft& draft, EntryReader& reader, const std::string& name ) {
   if ( draft.isInterface( name ) || draft.configuration.vlanNamed( name ) ) {
      return true;
   }
   reader.error( "there is no " + ( name.empty() ? "interface without a name" : name ) +
         "; allowed: a port of PORT, a port channel of PORTCHANNEL or a VLAN of VLAN" );
   return false;
}

// The entry without an address names the VRF of all of the interface's addresses.
bool isInDefaultVrf(
      const Draft& draft, const InterfaceFields& fields, const std::string& name ) {
   const Table& entries = draft.table( fields.name );
   const auto at = entries.find( name );
   return at == entries.end() || isDefaultVrf( at->second.text( fields.vrfName ) );
}

bool isInDefaultVrf( const Draft& draft, const std::string& name ) {
   const Schema& all = schema();
   return isInDefaultVrf( draft, all.interface, name ) &&
         isInDefaultVrf( draft, all.portChannelInterface, name ) &&
         isInDefaultVrf( draft, all.vlanInterface, name );
}

void readInterface( Draft& draft, const InterfaceFields& fields, const std::string& key,
      const Entry& entry ) {
   EntryReader reader( fields, key, entry, draft.findings );
   const EntryName names = entryName( key );
   const bool hasAddress = key.find( '|' ) != std::string::npos;
   const std::string interface = hasAddress ? names.table : key;
   if ( !checkInterface( draft, reader, interface ) || !hasAddress ) {
      return;
   }
   const auto address = parseAddressWithLength( names.key );
   if ( !address || !isUnicast( address->address ) ) {
      reader.error( "'" + names.key +
            "' is not an interface's address; allowed: an IPv4 or IPv6 unicast address and its "
            "prefix length, like 10.0.0.1/24" );
   } else if ( isInDefaultVrf( draft, fields, interface ) ) {
      draft.configuration.routing.addresses.push_back(
            { interface, address->address, prefixOf( address->address, address->length ) } );
   } else {
      reader.warning( "ignored: tunnels are routed in the VRF default" );
   }
}

// --- Routes --------------------------------------------------------------------------------

class RouteReader {
 public:
   RouteReader( Draft& draft, const std::string& key, const Entry& entry )
         : draft_( draft ), fields_( schema().route ),
           reader_( fields_, key, entry, draft.findings ) {}

   void read() {
      const std::string& key = reader_.key();
      const size_t bar = key.find( '|' );
      const std::string prefix = bar == std::string::npos ? key : key.substr( bar + 1 );
      if ( isOfOtherVrf( bar == std::string::npos ? "" : key.substr( 0, bar ) ) ) {
         reader_.warning( "ignored: tunnels are routed in the VRF default" );
         return;
      }
      const auto network = parseAddressWithLength( prefix );
      if ( !network ) {
         reader_.error( "'" + prefix + "' is not a prefix; allowed: one like 10.2.0.0/16" );
         return;
      }
      prefix_ = prefixOf( network->address, network->length );
      if ( countHops() ) {
         for ( size_t i = 0; i < count_; ++i ) {
            readHop( i );
         }
      }
      for ( const auto& [ distance, route ] : byDistance_ ) {
         draft_.configuration.routing.routes.push_back( route );
      }
   }

 private:
   bool isOfOtherVrf( const std::string& vrf ) const {
      const auto hops = splitList( reader_.text( fields_.nextHopVrf ) );
      return !isDefaultVrf( vrf ) || !std::all_of( hops.begin(), hops.end(), isDefaultVrf );
   }

   // Fields are lists with a place for each next hop, which may be empty.
   bool countHops() {
      addresses_ = splitList( reader_.text( fields_.nextHop ) );
      interfaces_ = splitList( reader_.text( fields_.ifName ) );
      distances_ = splitList( reader_.text( fields_.distance ) );
      blackholes_ = splitList( reader_.text( fields_.blackhole ) );
      count_ = std::max( { addresses_.size(), interfaces_.size(), size_t{ 1 } } );
      return goesWith( fields_.ifName, interfaces_, 0 ) &&
            goesWith( fields_.nextHop, addresses_, 0 ) &&
            goesWith( fields_.distance, distances_, 1 ) &&
            goesWith( fields_.blackhole, blackholes_, 1 );
   }

   // Said if there are neither as many as next hops, nor none, nor `orFew`.
   bool goesWith(
         std::string_view field, const std::vector< std::string >& list, size_t orFew ) {
      if ( list.empty() || list.size() == orFew || list.size() == count_ ) {
         return true;
      }
      reader_.error( field,
            "there are " + std::to_string( list.size() ) + " for " + std::to_string( count_ ) +
                  " next hops; allowed: as many, or " + ( orFew ? "one" : "none" ) );
      return false;
   }

   static std::string at( const std::vector< std::string >& list, size_t i ) {
      return list.empty() ? "" : list.size() == 1 ? list[ 0 ] : list[ i ];
   }

   // One hop's part of a list; the default where it is empty.
   template < typename T >
   std::optional< T > part(
         const DefaultedField< T >& field, const std::vector< std::string >& list, size_t i ) {
      const std::string text = at( list, i );
      const std::optional< T > value = text.empty() ? field.value : field.parse( text );
      if ( !value ) {
         reader_.notAllowed( field, field.allowed );
      }
      return value;
   }

   void readHop( size_t i ) {
      const std::optional< int > distance = part( fields_.distance, distances_, i );
      const auto isBlackhole =
            distance ? part( fields_.blackhole, blackholes_, i ) : std::nullopt;
      NextHop hop;
      if ( !isBlackhole || ( !*isBlackhole && !readNextHop( i, hop ) ) ) {
         return;
      }
      StaticRoute& route = byDistance_[ *distance ];
      route.prefix = prefix_;
      route.distance = *distance;
      route.isBlackhole |= *isBlackhole;
      if ( !*isBlackhole ) {
         route.nextHops.push_back( hop );
      }
   }

   // False if it is not to be used. The zero address is that of an interface route.
   bool readNextHop( size_t i, NextHop& hop ) {
      const std::string text = at( addresses_, i );
      const auto address = Plix::IpGenAddr::fromString( text );
      const bool isZero = address && address->isZero();
      if ( !address || ( !isZero && !isUnicast( *address ) ) ||
            ( !isZero && address->family() != prefix_.network.family() ) ) {
         reader_.error( fields_.nextHop,
               "'" + text + "'; allowed: unicast addresses of the prefix's family" );
         return false;
      }
      if ( !isZero ) {
         hop.address = *address;
      }
      hop.interface = at( interfaces_, i );
      if ( hop.interface == "null" ) {
         hop.interface.clear();
      }
      if ( isZero && hop.interface.empty() ) {
         reader_.error( "leads nowhere; allowed: a nexthop, an ifname or blackhole true" );
         return false;
      }
      if ( !hop.interface.empty() && !checkInterface( draft_, reader_, hop.interface ) ) {
         return false;
      }
      if ( !isInDefaultVrf( draft_, hop.interface ) ) {
         reader_.warning( fields_.ifName,
               hop.interface + " ignored: tunnels are routed in the VRF default" );
         return false;
      }
      return true;
   }

   Draft& draft_;
   const RouteFields& fields_;
   EntryReader reader_;
   IpPrefix prefix_;
   size_t count_ = 0; // of next hops
   std::vector< std::string > addresses_;
   std::vector< std::string > interfaces_;
   std::vector< std::string > distances_;
   std::vector< std::string > blackholes_;
   std::map< int, StaticRoute > byDistance_;
};

// --- Neighbours and the router's address -----------------------------------------------------

void readNeighbour( Draft& draft, const std::string& key, const Entry& entry ) {
   const NeighbourFields& fields = schema().neighbour;
   EntryReader reader( fields, key, entry, draft.findings );
   const EntryName names = entryName( key );
   const auto address = Plix::IpGenAddr::fromString( names.key );
   if ( !checkInterface( draft, reader, names.table ) ) {
      return;
   }
   if ( !address || !isUnicast( *address ) ) {
      reader.error( "'" + names.key +
            "' is not a neighbour's address; allowed: an IPv4 or IPv6 unicast address" );
      return;
   }
   const auto family = reader.read( fields.family );
   if ( family && *family != address->family() ) {
      reader.notAllowed( fields.family, "that of the address, or none" );
   }
   const auto mac = reader.read( fields.mac );
   if ( !mac ) {
      return; // wrong, or left to be learnt
   }
   if ( mac->isMulticast() || *mac == Plix::EthAddr() ) {
      reader.notAllowed( fields.mac, "a unicast MAC address, not all zero" );
   } else if ( !draft.configuration.routing.neighbours
                      .try_emplace( { names.table, *address }, *mac )
                      .second ) {
      reader.error( "duplicate neighbour" );
   }
}

// Frames are sent from it only if it is a station's; devices without one are left at the default.
void readMetadata( Draft& draft, const std::string& key, const Entry& entry ) {
   if ( key != "localhost" ) {
      return;
   }
   const DeviceFields& fields = schema().device;
   EntryReader reader( fields, key, entry, draft.findings );
   const auto mac = reader.read( fields.mac );
   if ( mac && ( mac->isMulticast() || *mac == Plix::EthAddr() ) ) {
      reader.warning(
            fields.mac, "ignored: " + mac->toString() + " is not the address of a station" );
   } else if ( mac ) {
      draft.configuration.routing.routerMac = *mac;
   }
}

} // namespace

std::string IpPrefix::toString() const {
   return network.toString() + "/" + std::to_string( length );
}

IpPrefix prefixOf( const Plix::IpGenAddr& address, int length ) {
   if ( address.family() == Plix::AddressFamily::ipv4 ) {
      const uint32_t mask = length == 0 ? 0 : ~uint32_t( 0 ) << ( 32 - length );
      return { Plix::IpAddr( address.v4Addr().value() & mask ), length };
   }
   std::array< uint8_t, 16 > bytes = address.v6Addr().bytes();
   for ( size_t i = 0; i < bytes.size(); ++i ) {
      const int kept = std::clamp( length - static_cast< int >( i ) * 8, 0, 8 );
      bytes[ i ] = static_cast< uint8_t >( bytes[ i ] & 0xff << ( 8 - kept ) );
   }
   return { Plix::Ip6Addr( bytes ), length };
}

void readRouting( Draft& draft ) {
   const Schema& all = schema();
   for ( const InterfaceFields* fields :
         { &all.interface, &all.portChannelInterface, &all.vlanInterface } ) {
      for ( const Table::value_type* entry : draft.entries( fields->name ) ) {
         readInterface( draft, *fields, entry->first, entry->second );
      }
   }
   for ( const Table::value_type* entry : draft.entries( all.route.name ) ) {
      RouteReader( draft, entry->first, entry->second ).read();
   }
   for ( const Table::value_type* entry : draft.entries( all.neighbour.name ) ) {
      readNeighbour( draft, entry->first, entry->second );
   }
   for ( const Table::value_type* entry : draft.entries( all.device.name ) ) {
      readMetadata( draft, entry->first, entry->second );
   }
}

} // namespace Agent
