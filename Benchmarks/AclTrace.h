#pragma once

// Access lists and packets for lookup benchmarks, made up in the manner of ClassBench (Taylor
// and Turner, INFOCOM 2005): prefixes of nested networks, exact ports and ranges, the broader
// rules mostly behind the narrower ones. Half of the packets are drawn from a rule, a quarter
// mixes the fields of several rules, a quarter is random. The same on every run.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

namespace Acl {

using Address = std::array< uint8_t, 16 >; // IPv4: the first four

struct Prefix {
   Address address{};
   int length = 0;
};

struct Range {
   uint16_t low = 0;
   uint16_t high = 0xffff;

   bool any() const { return low == 0 && high == 0xffff; }
};

struct Rule {
   int protocol = -1; // -1: any
   Prefix source;
   Prefix destination;
   Range sourcePort;
   Range destinationPort;
};

struct Packet {
   uint8_t protocol = 0;
   Address source{};
   Address destination{};
   uint16_t sourcePort = 0;
   uint16_t destinationPort = 0;
};

// How the addresses of an IP version are distributed.
struct Family {
   const char* name;
   size_t bytes; // of an address
   // Lengths of prefixes and how often they occur, in percent.
   std::vector< std::pair< int, int > > sourceLengths;
   std::vector< std::pair< int, int > > destinationLengths;
   std::array< int, 3 > levels; // of the nested networks: prefix lengths
};

inline const Family ipv4{ "IPv4", 4,
   { { 0, 10 }, { 16, 12 }, { 18, 4 }, { 20, 6 }, { 22, 5 }, { 24, 28 }, { 27, 6 }, { 29, 4 },
         { 32, 25 } },
   { { 0, 5 }, { 12, 2 }, { 16, 5 }, { 19, 4 }, { 21, 5 }, { 23, 6 }, { 24, 25 }, { 26, 5 },
         { 28, 4 }, { 32, 39 } },
   { 12, 16, 24 } };
inline const Family ipv6{ "IPv6", 16,
   { { 0, 10 }, { 32, 12 }, { 40, 5 }, { 48, 20 }, { 56, 8 }, { 64, 25 }, { 128, 20 } },
   { { 0, 5 }, { 32, 8 }, { 44, 4 }, { 48, 18 }, { 56, 5 }, { 64, 25 }, { 128, 35 } },
   { 24, 32, 48 } };

class Generator {
 public:
   Generator( const Family& family, size_t count ) : family_( family ), size_( count ) {
      fillPool();
   }

   std::vector< Rule > rules() {
      std::vector< std::pair< int, Rule > > graded( size_ );
      for ( auto& [ grade, rule ] : graded ) {
         rule = randomRule();
         int bits = static_cast< int >( family_.bytes ) * 8;
         grade = ( rule.source.length + rule.destination.length ) * 32 / bits +
               ( rule.sourcePort.any() ? 0 : 8 ) + ( rule.destinationPort.any() ? 0 : 8 ) +
               below( 24 );
      }
      std::stable_sort( graded.begin(), graded.end(),
            []( const auto& a, const auto& b ) { return a.first > b.first; } );
      std::vector< Rule > result;
      for ( const auto& [ grade, rule ] : graded ) {
         result.push_back( rule );
      }
      return result;
   }

   Packet packet( const std::vector< Rule >& rules, size_t number ) {
      switch ( number % 4 ) {
      case 0:
      case 1: {
         const Rule& rule = any( rules );
         return within( rule, rule, rule );
      }
      case 2:
         return within( any( rules ), any( rules ), any( rules ) );
      default:
         return within( {}, {}, {} );
      }
   }

   template < typename T >
   void shuffle( std::vector< T >& values ) {
      std::shuffle( values.begin(), values.end(), random_ );
   }

 private:
   int below( int bound ) {
      return static_cast< int >( random_() % static_cast< uint32_t >( bound ) );
   }
   template < typename T >
   const T& any( const std::vector< T >& values ) {
      return values[ static_cast< size_t >( below( static_cast< int >( values.size() ) ) ) ];
   }
   uint8_t randomByte() { return static_cast< uint8_t >( below( 256 ) ); }

   // The prefix's address with every bit behind `length` chosen anew.
   Address randomised( const Address& base, int length ) {
      Address result{};
      for ( int i = 0; i < static_cast< int >( family_.bytes ); ++i ) {
         int kept = std::clamp( length - i * 8, 0, 8 );
         int mask = 0xff00 >> kept & 0xff;
         size_t at = static_cast< size_t >( i );
         result[ at ] =
               static_cast< uint8_t >( ( base[ at ] & mask ) | ( randomByte() & ~mask ) );
      }
      return result;
   }
   // Networks within networks, so that prefixes overlap as those of a real list do.
   void fillPool() {
      for ( int i = 0; i < 6; ++i ) {
         roots_.push_back( randomised( {}, 0 ) );
      }
      for ( size_t i = 0; i < size_ / 32 + 4; ++i ) {
         sites_.push_back( randomised( any( roots_ ), family_.levels[ 0 ] ) );
      }
      for ( size_t i = 0; i < size_ / 6 + 8; ++i ) {
         subnets_.push_back( randomised( any( sites_ ), family_.levels[ 1 ] ) );
      }
      for ( size_t i = 0; i < size_ / 3 + 8; ++i ) {
         hosts_.push_back( randomised( any( subnets_ ), family_.levels[ 2 ] ) );
      }
   }
   Prefix randomPrefix( const std::vector< std::pair< int, int > >& lengths ) {
      int left = below( 100 );
      size_t i = 0;
      while ( left >= lengths[ i ].second ) {
         left -= lengths[ i++ ].second;
      }
      Prefix prefix{ any( hosts_ ), lengths[ i ].first };
      prefix.address = masked( prefix );
      return prefix;
   }
   static Address masked( const Prefix& prefix ) {
      Address result{};
      for ( int i = 0; i < 16; ++i ) {
         int kept = std::clamp( prefix.length - i * 8, 0, 8 );
         result[ static_cast< size_t >( i ) ] = static_cast< uint8_t >(
               prefix.address[ static_cast< size_t >( i ) ] & 0xff00 >> kept );
      }
      return result;
   }
   uint16_t knownPort() {
      static constexpr uint16_t known[] = { 20, 21, 22, 23, 25, 53, 67, 69, 80, 88, 110, 111,
         119, 123, 135, 137, 139, 143, 161, 162, 179, 389, 443, 445, 465, 514, 587, 636, 993,
         995, 1433, 1521, 1723, 1812, 2049, 3268, 3306, 3389, 5060, 5432, 6379, 8080, 8443 };
      int index = below( static_cast< int >( std::size( known ) ) );
      return known[ below( 3 ) == 0 ? index : index / 3 ]; // some far more often
   }
   Range randomRange() {
      int low = 1024 + below( 50000 );
      int high = low + ( below( 2 ) == 0 ? below( 16 ) : below( 4000 ) );
      return { static_cast< uint16_t >( low ), static_cast< uint16_t >( high ) };
   }
   Rule randomRule() {
      Rule rule;
      rule.source = randomPrefix( family_.sourceLengths );
      rule.destination = randomPrefix( family_.destinationLengths );
      int kind = below( 100 );
      rule.protocol = kind < 65 ? 6 : kind < 85 ? 17 : kind < 90 ? 1 : -1;
      if ( rule.protocol != 6 && rule.protocol != 17 ) {
         return rule;
      }
      kind = below( 100 );
      if ( kind < 60 ) {
         uint16_t port = below( 8 ) == 0 ? randomRange().low : knownPort();
         rule.destinationPort = { port, port };
      } else if ( kind < 70 ) {
         rule.destinationPort = { 1024, 65535 };
      } else if ( kind < 80 ) {
         rule.destinationPort = randomRange();
      }
      kind = below( 100 );
      if ( kind < 5 ) {
         uint16_t port = knownPort();
         rule.sourcePort = { port, port };
      } else if ( kind < 12 ) {
         rule.sourcePort = { 1024, 65535 };
      } else if ( kind < 14 ) {
         rule.sourcePort = randomRange();
      }
      return rule;
   }
   uint16_t within( const Range& range ) {
      return static_cast< uint16_t >( range.low + below( range.high - range.low + 1 ) );
   }
   Packet within( const Rule& from, const Rule& to, const Rule& what ) {
      static constexpr uint8_t protocols[] = { 6, 6, 6, 17, 17, 1, 47 };
      Packet packet;
      packet.protocol = what.protocol >= 0 ? static_cast< uint8_t >( what.protocol )
                                           : protocols[ below( 7 ) ];
      packet.source = randomised( from.source.address, from.source.length );
      packet.destination = randomised( to.destination.address, to.destination.length );
      packet.sourcePort = within( what.sourcePort );
      packet.destinationPort = within( what.destinationPort );
      return packet;
   }

   const Family& family_;
   size_t size_;
   std::mt19937 random_{ 1 };
   std::vector< Address > roots_;
   std::vector< Address > sites_;
   std::vector< Address > subnets_;
   std::vector< Address > hosts_;
};

inline bool accepts( const Prefix& prefix, const Address& address ) {
   size_t whole = static_cast< size_t >( prefix.length ) / 8;
   if ( std::memcmp( prefix.address.data(), address.data(), whole ) != 0 ) {
      return false;
   }
   int rest = prefix.length % 8;
   return rest == 0 || ( ( prefix.address[ whole ] ^ address[ whole ] ) >> ( 8 - rest ) ) == 0;
}

inline bool accepts( const Range& range, uint16_t port ) {
   return range.low <= port && port <= range.high;
}

inline bool accepts( const Rule& rule, const Packet& packet ) {
   return accepts( rule.source, packet.source ) &&
         accepts( rule.destination, packet.destination ) &&
         ( rule.protocol < 0 || rule.protocol == packet.protocol ) &&
         accepts( rule.sourcePort, packet.sourcePort ) &&
         accepts( rule.destinationPort, packet.destinationPort );
}

} // namespace Acl
