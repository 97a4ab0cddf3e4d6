#pragma once

// For tests: frames from parts, and one switch whose output is kept.

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ChipModel/ChipProfile.h"
#include "ChipModel/Switch.h"

namespace ChipModel::Test {

using Bytes = std::vector< uint8_t >;
using Shim::Sdk;

inline Bytes operator+( Bytes left, const Bytes& right ) {
   left.insert( left.end(), right.begin(), right.end() );
   return left;
}
inline Bytes be16( uint32_t value ) {
   return { static_cast< uint8_t >( value >> 8 ), static_cast< uint8_t >( value ) };
}

// Station n: 02:00:00:00:hh:ll.
inline Bytes mac( uint32_t n ) { return Bytes{ 2, 0, 0, 0 } + be16( n ); }
inline const Bytes broadcast{ 0xff, 0xff, 0xff, 0xff, 0xff, 0xff };
inline const Bytes group{ 0x01, 0x00, 0x5e, 0x00, 0x00, 0x09 };

inline Bytes tag( uint32_t vid, uint32_t priority = 0, uint32_t type = customerTag ) {
   return be16( type ) + be16( priority << 13 | vid );
}
// What follows the tags, 50 bytes.
inline Bytes content( uint8_t fill = 0x5a ) { return be16( 0x88b5 ) + Bytes( 48, fill ); }
inline Bytes frame( const Bytes& dst, const Bytes& src, const Bytes& tags = {} ) {
   return dst + src + tags + content();
}
inline Bytes ipv4Udp( const Bytes& dst, const Bytes& src, uint32_t srcIp, uint32_t srcPort,
      uint32_t fragment = 0 ) {
   return dst + src + be16( 0x0800 ) + Bytes{ 0x45, 0, 0, 28, 0, 0 } + be16( fragment ) +
         Bytes{ 64, 17, 0, 0 } + be16( 0x0a00 ) + be16( srcIp ) + Bytes{ 10, 9, 9, 9 } +
         be16( srcPort ) + be16( 53 ) + Bytes( 22, 0 );
}

inline Bytes be32( uint32_t value ) { return be16( value >> 16 ) + be16( value ); }

// From station 1 to station 2; what the type announces starts at byte 14.
inline Bytes ethernet( uint32_t type, const Bytes& payload, const Bytes& tags = {} ) {
   return mac( 2 ) + mac( 1 ) + tags + be16( type ) + payload;
}
// From 10.0.0.1 to 10.0.0.2. Options are 0 to 40 bytes, a multiple of 4.
inline Bytes ip4( uint8_t protocol, const Bytes& payload, uint32_t fragment = 0,
      const Bytes& options = {}, uint8_t tos = 0 ) {
   const auto words = static_cast< uint8_t >( 5 + options.size() / 4 );
   return Bytes{ static_cast< uint8_t >( 0x40 | words ), tos } +
         be16( static_cast< uint32_t >( words * 4U + payload.size() ) ) + Bytes{ 0, 1 } +
         be16( fragment ) + Bytes{ 64, protocol, 0, 0 } + be32( 0x0a000001 ) +
         be32( 0x0a000002 ) + options + payload;
}
inline Bytes address6( uint8_t last ) {
   return Bytes{ 0x20, 1, 0x0d, 0xb8 } + Bytes( 11, 0 ) + Bytes{ last };
}
inline Bytes ip6( uint8_t next, const Bytes& payload, uint8_t trafficClass = 0 ) {
   return be32( 0x60000000U | uint32_t{ trafficClass } << 20 ) +
         be16( static_cast< uint32_t >( payload.size() ) ) + Bytes{ next, 64 } + address6( 1 ) +
         address6( 2 ) + payload;
}
// 20 bytes of a TCP header; its first 4 do for UDP and SCTP.
inline Bytes tcp( uint32_t src, uint32_t dst, uint8_t flags = 0 ) {
   return be16( src ) + be16( dst ) + Bytes( 8, 0 ) + Bytes{ 0x50, flags } + Bytes( 6, 0 );
}
inline Bytes label( uint32_t value, bool bottom ) {
   return be32( value << 12 | ( bottom ? 0x100U : 0U ) | 64U );
}

struct Sent {
   int port;
   CopyKind kind;
   int destination; // mirror destination
   int egressPort;
   Bytes bytes;
   uint32_t wireLength;
};

inline Plix::EthAddr address( const Bytes& from ) {
   std::array< uint8_t, 6 > bytes{};
   std::copy_n( from.begin(), bytes.size(), bytes.begin() );
   return Plix::EthAddr( bytes );
}

inline Shim::PortBitmap bitmap( std::initializer_list< int > ports ) {
   Shim::PortBitmap bits;
   for ( int port : ports ) {
      bits.set( static_cast< size_t >( port ) );
   }
   return bits;
}

inline ChipProfile testProfile() {
   ChipProfile profile;
   profile.name = "test";
   profile.tomahawkFamily = true;
   profile.aclGroup = true;
   profile.ports = 64;
   profile.ingressEntries = 2048;
   profile.egressEntries = 64;
   profile.groupsPerStage = 8;
   profile.portClassBits = 12;
   profile.rangeCheckers = 4;
   profile.policers = 3;
   profile.mirrorDestinations = 4;
   profile.trunks = 16;
   profile.trunkMembers = 8;
   profile.l2Addresses = 64;
   profile.greKeys = GreKeys::inserted;
   return profile;
}

// One chip, unit 0: ports 1 to 8 are enabled.
class ChipTest : public ::testing::Test, public FrameSink {
 protected:
   explicit ChipTest( const ChipProfile& profile = testProfile() ) {
      box_.addChip( 0, profile );
      box_.control().sinkIs( this );
      for ( int port = 1; port <= 8; ++port ) {
         ok( sdk().bcm_port_enable_set( 0, port, true ) );
      }
   }

   void sent( const SentFrame& out ) override {
      const FrameView& view = out.frame;
      sent_.push_back( { out.port, out.kind, out.mirrorDestination, out.egressPort,
            Bytes( view.data, view.data + view.length ), view.wireLength } );
   }

   Shim::Sdk& sdk() { return box_.sdk(); }
   ChipState state() { return box_.control().state( 0 ); }
   void ok( Shim::Rc rc ) { ASSERT_EQ( rc, 0 ) << Sdk::bcm_errmsg( rc ); }

   // Untagged members also take untagged frames into the VLAN.
   void vlan( uint16_t vid, std::initializer_list< int > tagged,
         std::initializer_list< int > untagged = {} ) {
      ok( sdk().bcm_vlan_create( 0, vid ) );
      ok( sdk().bcm_vlan_port_add(
            0, vid, bitmap( tagged ) | bitmap( untagged ), bitmap( untagged ) ) );
      for ( int port : untagged ) {
         ok( sdk().bcm_port_untagged_vlan_set( 0, port, vid ) );
      }
   }
   void trunk( int id, const std::vector< int >& ports ) {
      ok( sdk().bcm_trunk_create( 0, id ) );
      ok( sdk().bcm_trunk_members_set(
            0, id, ports.data(), static_cast< int >( ports.size() ) ) );
   }
   void station( const Bytes& at, uint16_t vid, int port ) {
      ok( sdk().bcm_l2_addr_add( 0, { address( at ), vid, false, port, true } ) );
   }
   void destination( int index, int port ) {
      ok( sdk().bcm_mirror_destination_set(
            0, index, { Shim::MirrorDestination::Kind::port, port } ) );
   }

   // What leaves because of this frame. Its bytes stand in a block of exactly their size,
   // so that the sanitizers see a read behind them.
   const std::vector< Sent >& receive( int port, const Bytes& bytes, uint32_t wireLength = 0 ) {
      const auto block = std::make_unique< uint8_t[] >( bytes.size() );
      std::ranges::copy( bytes, block.get() );
      sent_.clear();
      const auto error = box_.control().inject(
            0, port, { now_, block.get(), static_cast< uint32_t >( bytes.size() ), wireLength } );
      EXPECT_EQ( error, std::nullopt );
      return sent_;
   }
   // "2 3 mi0>7 me1>7(3)": forwarded by ports 2 and 3, copies for mirror destination 0 (as
   // received) by port 7, for 1 (as sent by port 3) by port 7.
   std::string leaves( int port, const Bytes& bytes ) {
      std::ostringstream text;
      for ( const Sent& out : receive( port, bytes ) ) {
         text << ( text.tellp() == 0 ? "" : " " );
         if ( out.kind != CopyKind::forwarded ) {
            text << ( out.kind == CopyKind::ingressMirror ? "mi" : "me" ) << out.destination
                 << ">";
         }
         text << out.port;
         if ( out.egressPort >= 0 ) {
            text << "(" << out.egressPort << ")";
         }
      }
      return text.str();
   }
   uint64_t drops( int port, DropReason reason ) {
      return box_.chip( 0 )->pipeline().counters( port ).drops[ static_cast< size_t >(
            reason ) ];
   }

   Switch box_;
   std::vector< Sent > sent_;
   uint64_t now_ = 7; // when frames arrive, in ns
};

} // namespace ChipModel::Test
