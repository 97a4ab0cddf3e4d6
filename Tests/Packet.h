#pragma once

// IP packets in Ethernet frames, from what tests want of them:
//
//    Packet{ .vlan = 20, .src = 0x0a000007, .protocol = 6, .dstPort = 80 }.bytes()

#include "Platform/Plix/Ip6Addr.h"
#include "Tests/Frames.h"

struct Packet {
   using Bytes = Frames::Bytes;
   enum class Part : uint8_t { whole, first, later, last };

   uint16_t vlan = 0;    // 0: untagged
   uint8_t priority = 0; // of the tag
   bool isIpv6 = false;
   uint32_t src = 0x0a000001; // of IPv6 the last four bytes
   uint32_t dst = 0x0a000002;
   uint8_t protocol = 17;
   uint8_t tos = 0;
   Part part = Part::whole;
   uint16_t srcPort = 0; // also the ICMP type and code
   uint16_t dstPort = 0;
   uint8_t tcpFlags = 0;
   uint32_t station = 1; // that sends it
   uint32_t type = 0;    // of the frame; 0: IP

   static Plix::Ip6Addr ip6( uint32_t last, uint8_t first = 0x20 ) {
      std::array< uint8_t, 16 > bytes{ first };
      for ( size_t i = 0; i < 4; ++i ) {
         bytes[ 12 + i ] = static_cast< uint8_t >( last >> ( 24 - 8 * i ) );
      }
      return Plix::Ip6Addr( bytes );
   }
   Bytes bytes() const {
      using Frames::operator+;
      const uint32_t ipType = isIpv6 ? Frames::ip6Type : Frames::ip4Type;
      Bytes frame = Frames::mac( 2 ) + Frames::mac( station ) +
            ( vlan ? Frames::tag( vlan, priority ) : Bytes() ) +
            Frames::be16( type ? type : ipType ) + ( isIpv6 ? ip6Packet() : ip4Packet() );
      frame.resize( std::max< size_t >( frame.size(), 64 ) );
      return frame;
   }

 private:
   uint32_t begin() const { return part >= Part::later ? 100 : 0; } // in units of 8 bytes
   bool isMoreToCome() const { return part == Part::first || part == Part::later; }
   Bytes layer4() const { return Frames::tcp( srcPort, dstPort, tcpFlags ); }
   Bytes ip4Packet() const {
      constexpr uint32_t moreFragments = 0x2000;
      return Frames::ip4( protocol, layer4(),
            isMoreToCome() ? moreFragments | begin() : begin(), {}, tos, src, dst );
   }
   Bytes ip6Packet() const {
      using Frames::operator+;
      constexpr uint8_t fragmentHeader = 44;
      const auto from = ip6( src ).bytes(), to = ip6( dst ).bytes();
      const bool isWhole = part == Part::whole;
      return Frames::ip6( isWhole ? protocol : fragmentHeader,
            isWhole ? layer4()
                    : Frames::fragment6( protocol, begin(), isMoreToCome() ) + layer4(),
            tos, Bytes( from.begin(), from.end() ), Bytes( to.begin(), to.end() ) );
   }
};
