#pragma once

// IP packets from parts, for scenarios:
//
//    packet().from( "10.0.0.1" ).to( "10.0.0.2" ).udp( 1000, 53 ).bytes()

#include <string>
#include <vector>

#include "Platform/Plix/EthAddr.h"
#include "Platform/Plix/Ip6Addr.h"
#include "Platform/Plix/IpAddr.h"

namespace Scenario {

using Bytes = std::vector< uint8_t >;

inline Bytes operator+( Bytes left, const Bytes& right ) {
   left.insert( left.end(), right.begin(), right.end() );
   return left;
}

class Packet {
 public:

   Packet& from( const std::string& address ) { return set( src_, address ); }
   Packet& to( const std::string& address ) { return set( dst_, address ); }
   Packet& macs( const std::string& source, const std::string& destination ) {
      srcMac_ = source;
      dstMac_ = destination;
      return *this;
   }
   Packet& vlan( uint16_t id ) {
      vlan_ = id;
      return *this;
   }
   Packet& etherType( uint16_t type ) {
      etherType_ = type;
      return *this;
   }
   Packet& tos( uint8_t byte ) {
      tos_ = byte;
      return *this;
   }
   Packet& protocol( uint8_t number ) {
      protocol_ = number;
      return *this;
   }
   // In units of 8 bytes.
   Packet& fragment( uint16_t offset, bool more ) {
      offset_ = offset;
      more_ = more;
      return *this;
   }
   Packet& udp( uint16_t source, uint16_t destination ) {
      protocol_ = 17;
      layer4_ = be16( source ) + be16( destination ) + be16( 16 ) + be16( 0 );
      return *this;
   }
   Packet& tcp( uint16_t source, uint16_t destination, uint8_t flags = 0x10 ) {
      protocol_ = 6;
      layer4_ = be16( source ) + be16( destination ) + Bytes{ 0, 0, 0, 1, 0, 0, 0, 1, 0x50, flags } +
                be16( 1024 ) + Bytes( 4, 0 );
      return *this;
   }
   Packet& icmp( uint8_t type, uint8_t code, uint8_t protocol = 1 ) {
      protocol_ = protocol;
      layer4_ = Bytes{ type, code, 0, 0, 0, 0, 0, 0 };
      return *this;
   }

   Bytes bytes() const {
      const bool isV6 = src_.find( ':' ) != std::string::npos;
      Bytes result = mac( dstMac_ ) + mac( srcMac_ );
      if ( vlan_ ) {
         result = result + be16( 0x8100 ) + be16( vlan_ );
      }
      if ( etherType_ ) {
         result = result + be16( etherType_ );
      } else {
         result = result + be16( isV6 ? 0x86dd : 0x0800 ) + ( isV6 ? ip6() : ip4() );
      }
      result.resize( std::max< size_t >( result.size(), 64 ) );
      return result;
   }

 private:
   static Bytes be16( uint16_t value ) {
      return { static_cast< uint8_t >( value >> 8 ), static_cast< uint8_t >( value ) };
   }
   static Bytes mac( const std::string& text ) {
      const auto bytes = Plix::EthAddr::fromString( text )->bytes();
      return Bytes( bytes.begin(), bytes.end() );
   }
   Packet& set( std::string& place, const std::string& value ) {
      place = value;
      return *this;
   }
   Bytes ip4() const {
      auto address = []( const std::string& text ) {
         const uint32_t value = Plix::IpAddr::fromString( text )->value();
         return be16( static_cast< uint16_t >( value >> 16 ) ) +
                be16( static_cast< uint16_t >( value ) );
      };
      const auto length = static_cast< uint16_t >( 20 + layer4_.size() );
      const auto fragment = static_cast< uint16_t >( offset_ | ( more_ ? 0x2000 : 0 ) );
      return Bytes{ 0x45, tos_ } + be16( length ) + be16( 7 ) + be16( fragment ) +
             Bytes{ 64, protocol_, 0, 0 } + address( src_ ) + address( dst_ ) + layer4_;
   }
   Bytes ip6() const {
      auto address = []( const std::string& text ) {
         const auto bytes = Plix::Ip6Addr::fromString( text )->bytes();
         return Bytes( bytes.begin(), bytes.end() );
      };
      const bool isFragment = offset_ != 0 || more_;
      const auto length = static_cast< uint16_t >( layer4_.size() + ( isFragment ? 8 : 0 ) );
      Bytes header{ static_cast< uint8_t >( 0x60 | tos_ >> 4 ),
         static_cast< uint8_t >( tos_ << 4 ), 0, 0 };
      header = header + be16( length ) +
               Bytes{ isFragment ? uint8_t{ 44 } : protocol_, uint8_t{ 64 } } +
               address( src_ ) + address( dst_ );
      if ( isFragment ) {
         header = header + Bytes{ protocol_, 0 } +
                  be16( static_cast< uint16_t >( offset_ << 3 | ( more_ ? 1 : 0 ) ) ) +
                  Bytes{ 0, 0, 0, 9 };
      }
      return header + layer4_;
   }

   std::string src_ = "10.0.0.1";
   std::string dst_ = "10.0.0.2";
   std::string srcMac_ = "02:00:00:00:00:01";
   std::string dstMac_ = "02:00:00:00:00:02";
   uint16_t vlan_ = 0;
   uint16_t etherType_ = 0; // 0: IP
   uint8_t tos_ = 0;
   uint8_t protocol_ = 17;
   uint16_t offset_ = 0;
   bool more_ = false;
   Bytes layer4_ = { 0x03, 0xe8, 0x00, 0x35, 0, 16, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8 };
};

inline Packet packet() { return {}; }
inline Packet packet6() { return Packet().from( "2001:db8::1" ).to( "2001:db8::2" ); }

} // namespace Scenario
