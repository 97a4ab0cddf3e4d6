#include "Agent/Configuration/Values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

namespace Agent {

namespace {

// What stands before and behind the first of these characters; none behind if there is none.
struct Halves {
   std::string_view first;
   std::optional< std::string_view > second;
};

Halves split( std::string_view text, char at ) {
   const size_t place = text.find( at );
   if ( place == std::string_view::npos ) {
      return { text, std::nullopt };
   }
   return { text.substr( 0, place ), text.substr( place + 1 ) };
}

std::optional< unsigned > prefixLength( const Halves& halves, unsigned longest ) {
   if ( !halves.second ) {
      return longest;
   }
   const auto length = parseNumber( *halves.second );
   if ( !length || *length > longest ) {
      return std::nullopt;
   }
   return static_cast< unsigned >( *length );
}

template < size_t n >
std::array< uint8_t, n > both(
      const std::array< uint8_t, n >& left, const std::array< uint8_t, n >& right ) {
   std::array< uint8_t, n > result{};
   for ( size_t i = 0; i < n; ++i ) {
      result[ i ] = static_cast< uint8_t >( left[ i ] & right[ i ] );
   }
   return result;
}

// Of a station on a network: RFC 1122, 3.2.1.3.
bool isSender( const Plix::IpGenAddr& address ) {
   if ( address.family() == Plix::AddressFamily::ipv4 ) {
      const uint32_t value = address.v4Addr().value();
      return value != 0 && value >> 24 != 127 && value < 0xe0000000;
   }
   const auto& bytes = address.v6Addr().bytes();
   const bool isLoopback = bytes[ 15 ] == 1 &&
         std::all_of( bytes.begin(), bytes.end() - 1, []( uint8_t b ) { return b == 0; } );
   return address.family() == Plix::AddressFamily::ipv6 && !address.isZero() && !isLoopback &&
         bytes[ 0 ] != 0xff;
}

} // namespace

std::optional< uint64_t > parseNumber( std::string_view text ) {
   const bool hex = text.starts_with( "0x" ) || text.starts_with( "0X" );
   if ( hex ) {
      text.remove_prefix( 2 );
   }
   uint64_t value = 0;
   const char* end = text.data() + text.size();
   const auto [ at, error ] = std::from_chars( text.data(), end, value, hex ? 16 : 10 );
   if ( error != std::errc() || at != end ) {
      return std::nullopt;
   }
   return value;
}

std::optional< Plix::IpGenAddr > parseStation( std::string_view text ) {
   const auto address = Plix::IpGenAddr::fromString( text );
   return address && isSender( *address ) ? address : std::nullopt;
}

std::optional< AddressWithLength > parseAddressWithLength( std::string_view text ) {
   const Halves halves = split( text, '/' );
   const auto address = Plix::IpGenAddr::fromString( halves.first );
   if ( !address || address->family() == Plix::AddressFamily::unknown ) {
      return std::nullopt;
   }
   const bool isIp4 = address->family() == Plix::AddressFamily::ipv4;
   const auto length = prefixLength( halves, isIp4 ? 32 : 128 );
   if ( !length ) {
      return std::nullopt;
   }
   return AddressWithLength{ *address, static_cast< int >( *length ) };
}

std::optional< Masked< Plix::IpAddr > > parsePrefix( std::string_view text ) {
   const Halves halves = split( text, '/' );
   const auto address = Plix::IpAddr::fromString( halves.first );
   const auto length = prefixLength( halves, 32 );
   if ( !address || !length ) {
      return std::nullopt;
   }
   const uint32_t mask = *length == 0 ? 0 : ~uint32_t( 0 ) << ( 32 - *length );
   return Masked< Plix::IpAddr >{ Plix::IpAddr( address->value() & mask ),
      Plix::IpAddr( mask ) };
}

std::optional< Masked< Plix::Ip6Addr > > parsePrefix6( std::string_view text ) {
   const Halves halves = split( text, '/' );
   const auto address = Plix::Ip6Addr::fromString( halves.first );
   const auto length = prefixLength( halves, 128 );
   if ( !address || !length ) {
      return std::nullopt;
   }
   std::array< uint8_t, 16 > mask{};
   for ( size_t bit = 0; bit < *length; ++bit ) {
      mask[ bit / 8 ] = static_cast< uint8_t >( mask[ bit / 8 ] | 0x80 >> bit % 8 );
   }
   return Masked< Plix::Ip6Addr >{ Plix::Ip6Addr( both( address->bytes(), mask ) ),
      Plix::Ip6Addr( mask ) };
}

std::optional< Masked< uint8_t > > parseMasked(
      std::string_view text, uint8_t most, uint8_t whole ) {
   const Halves halves = split( text, '/' );
   const auto value = parseNumber( halves.first );
   const auto mask =
         halves.second ? parseNumber( *halves.second ) : std::optional< uint64_t >( whole );
   if ( !value || !mask || *value > ( halves.second ? most : whole ) || *mask > most ) {
      return std::nullopt;
   }
   return Masked< uint8_t >{ static_cast< uint8_t >( *value & *mask ),
      static_cast< uint8_t >( *mask ) };
}

std::optional< Masked< Plix::EthAddr > > parseMaskedMac( std::string_view text ) {
   const Halves halves = split( text, '/' );
   const auto address = Plix::EthAddr::fromString( halves.first );
   const auto mask = Plix::EthAddr::fromString( halves.second.value_or( "ff:ff:ff:ff:ff:ff" ) );
   if ( !address || !mask ) {
      return std::nullopt;
   }
   return Masked< Plix::EthAddr >{ Plix::EthAddr( both( address->bytes(), mask->bytes() ) ),
      *mask };
}

std::optional< Acl::PortRange > parsePortRange( std::string_view text ) {
   constexpr uint64_t highest = 65535;
   const Halves halves = split( text, '-' );
   const auto low = parseNumber( halves.first );
   const auto high = halves.second ? parseNumber( *halves.second ) : std::nullopt;
   if ( !low || !high || *low > *high || *high > highest ) {
      return std::nullopt;
   }
   return Acl::PortRange( static_cast< uint16_t >( *low ), static_cast< uint16_t >( *high ) );
}

} // namespace Agent
