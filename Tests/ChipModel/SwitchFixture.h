#pragma once

// For tests: one switch whose output is kept.

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "ChipModel/Profile.h"
#include "ChipModel/Switch.h"
#include "Tests/Frames.h"

namespace ChipModel::Test {

using namespace Frames;
using namespace Shim;

inline constexpr Rc none = Sdk::QX_BCM_E_NONE();
inline constexpr Rc param = Sdk::QX_BCM_E_PARAM();
inline constexpr Rc badPort = Sdk::QX_BCM_E_PORT();
inline constexpr Rc notFound = Sdk::QX_BCM_E_NOT_FOUND();
inline constexpr Rc exists = Sdk::QX_BCM_E_EXISTS();
inline constexpr Rc fail = Sdk::QX_BCM_E_FAIL();
inline constexpr Rc unavailable = Sdk::QX_BCM_E_UNAVAIL();
inline constexpr Rc busy = Sdk::QX_BCM_E_BUSY();
inline constexpr Rc noRoom = Sdk::QX_BCM_E_RESOURCE();
inline constexpr Rc badUnit = Sdk::QX_BCM_E_UNIT();

inline const Bytes broadcast{ 0xff, 0xff, 0xff, 0xff, 0xff, 0xff };
inline const Bytes group{ 0x01, 0x00, 0x5e, 0x00, 0x00, 0x09 };

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

inline PortBitmap bitmap( std::initializer_list< int > ports ) {
   PortBitmap bits;
   for ( int port : ports ) {
      bits.set( static_cast< size_t >( port ) );
   }
   return bits;
}

inline Profile testProfile() {
   Profile profile;
   profile.name = "test";
   profile.tomahawkFamily = profile.aclGroup = true;
   profile.policers = 3;
   profile.rangeCheckers = profile.mirrorDestinations = 4;
   profile.groupsPerStage = profile.trunkMembers = 8;
   profile.portClassBits = 12;
   profile.trunks = 16;
   profile.ports = profile.egressEntries = profile.l2Addresses = 64;
   profile.ingressEntries = 2048;
   profile.greKeys = GreKeys::inserted;
   return profile;
}

template < typename Change >
Profile testProfile( Change&& change ) {
   Profile profile = testProfile();
   change( profile );
   return profile;
}

// One chip, unit 0: ports 1 to 8 are enabled.
class ChipTest : public ::testing::Test, public FrameSink {
 protected:
   explicit ChipTest( const Profile& profile = testProfile() ) {
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

   Sdk& sdk() { return box_.sdk(); }
   ChipState state() { return box_.control().state( 0 ); }
   void ok( Rc rc ) { ASSERT_EQ( rc, 0 ) << Sdk::bcm_errmsg( rc ); }
   void expectAll( Rc expected, const std::vector< Rc >& codes ) {
      EXPECT_EQ( codes, std::vector( codes.size(), expected ) );
   }

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
            0, index, { MirrorDestination::Kind::port, port } ) );
   }

   // What leaves because of this frame. Its bytes stand in a block of exactly their size,
   // so that the sanitizers see a read behind them.
   const std::vector< Sent >& receive( int port, const Bytes& bytes, uint32_t wireLength = 0 ) {
      const auto block = std::make_unique< uint8_t[] >( bytes.size() );
      std::ranges::copy( bytes, block.get() );
      sent_.clear();
      const auto error = box_.control().inject( 0, port,
            { now_, block.get(), static_cast< uint32_t >( bytes.size() ), wireLength } );
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
   MirrorCounters mirrored( size_t to = 0 ) {
      return state().mirrorDestinations[ to ].counters;
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
