#pragma once

// IP packets from parts, for scenarios:
//
//    packet().from( "10.0.0.1" ).to( "10.0.0.2" ).udp( 1000, 53 ).bytes()

#include <string>
#include <vector>

#include "Platform/Plix/EthAddr.h"
#include "Platform/Plix/Ip6Addr.h"
#include "Platform/Plix/IpAddr.h"
#include "Tests/Frames.h"

namespace Scenario {

using Frames::Bytes;
using Frames::operator+;

class Packet {
 public:
   Packet& from( const std::string& address ) { return set( src_, address ); }
   Packet& to( const std::string& address ) { return set( dst_, address ); }
   Packet& macs( const std::string& source, const std::string& destination ) {
      srcMac_ = source;
      dstMac_ = destination;
      return *this;
   }
   Packet& vlan( uint16_t id, uint8_t priority = 0 ) {
      vlan_ = id;
      priority_ = priority;
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
      return protocol( 17 ).carries(
            Frames::be16( source ) + Frames::be16( destination ) + Bytes{ 0, 16, 0, 0 } );
   }
   Packet& tcp( uint16_t source, uint16_t destination, uint8_t flags = 0x10 ) {
      return protocol( 6 ).carries( Frames::tcp( source, destination, flags ) );
   }
   Packet& icmp( uint8_t type, uint8_t code, uint8_t number = 1 ) {
      return protocol( number ).carries( Bytes{ type, code, 0, 0, 0, 0, 0, 0 } );
   }

   Bytes bytes() const {
      const bool isIp6 = src_.find( ':' ) != std::string::npos;
      Bytes result = bytesOf< Plix::EthAddr >( dstMac_ ) + bytesOf< Plix::EthAddr >( srcMac_ );
      if ( vlan_ ) {
         result = result + Frames::tag( vlan_, priority_ );
      }
      if ( etherType_ ) {
         result = result + Frames::be16( etherType_ );
      } else {
         result = result + Frames::be16( isIp6 ? Frames::ip6Type : Frames::ip4Type ) +
               ( isIp6 ? ip6() : ip4() );
      }
      result.resize( std::max< size_t >( result.size(), 64 ) );
      return result;
   }

 private:
   template < typename Address >
   static Bytes bytesOf( const std::string& text ) {
      const auto bytes = Address::fromString( text )->bytes();
      return Bytes( bytes.begin(), bytes.end() );
   }
   Packet& set( std::string& place, const std::string& value ) {
      place = value;
      return *this;
   }
   Packet& carries( const Bytes& layer4 ) {
      layer4_ = layer4;
      return *this;
   }
   Bytes ip4() const {
      const uint32_t fragment = offset_ | ( more_ ? 0x2000U : 0U );
      return Frames::ip4( protocol_, layer4_, fragment, {}, tos_,
            Plix::IpAddr::fromString( src_ )->value(),
            Plix::IpAddr::fromString( dst_ )->value() );
   }
   Bytes ip6() const {
      constexpr uint8_t fragmentHeader = 44;
      const Bytes from = bytesOf< Plix::Ip6Addr >( src_ );
      const Bytes to = bytesOf< Plix::Ip6Addr >( dst_ );
      if ( offset_ == 0 && !more_ ) {
         return Frames::ip6( protocol_, layer4_, tos_, from, to );
      }
      return Frames::ip6( fragmentHeader,
            Frames::fragment6( protocol_, offset_, more_ ) + layer4_, tos_, from, to );
   }

   std::string src_ = "10.0.0.1";
   std::string dst_ = "10.0.0.2";
   std::string srcMac_ = "02:00:00:00:00:01";
   std::string dstMac_ = "02:00:00:00:00:02";
   uint16_t vlan_ = 0;
   uint8_t priority_ = 0;
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
