// What entries match on behind the EtherType: from the bytes of a frame, through the SDK's
// calls, to whether it is copied.

#include <functional>
#include <random>

#include "ChipModel/Fields/FieldCatalogue.h"
#include "ChipModel/Packets/HeaderParser.h"
#include "Tests/ChipModel/FieldFixture.h"

namespace ChipModel::Test {

namespace {

Plix::Ip6Addr ip6Address( const Bytes& from ) {
   std::array< uint8_t, 16 > bytes{};
   std::copy_n( from.begin(), bytes.size(), bytes.begin() );
   return Plix::Ip6Addr( bytes );
}

class FieldMatchTest : public FieldTest {
 protected:
   // Leaves the entry with what `qualify` sets.
   void match( const std::function< Rc( Sdk& ) >& qualify ) {
      matchAll( entry_ );
      ok( qualify( sdk() ) );
      ok( sdk().bcm_field_entry_install( 0, entry_ ) );
   }
   template < typename... Args >
   void match( Rc ( Sdk::*call )( int, int, Args... ), std::type_identity_t< Args >... args ) {
      match( [ & ]( Sdk& s ) { return ( s.*call )( 0, entry_, args... ); } );
   }
   bool hits( const Bytes& bytes ) { return leaves( 1, bytes ).starts_with( "mi0>7" ); }
   bool hasPort2( const Bytes& bytes ) {
      match( &Sdk::bcm_field_qualify_L4DstPort, 2, exact );
      return hits( bytes );
   }
   bool hasProtocol( uint32_t protocol, const Bytes& bytes ) {
      match( &Sdk::bcm_field_qualify_IpProtocol, protocol, exact );
      return hits( bytes );
   }
   // Which enumerators, in their order, match the frame: "x.x".
   template < typename Enum >
   std::string matching( Rc ( Sdk::*call )( int, int, Enum ), Enum last, const Bytes& bytes ) {
      std::string result;
      for ( int i = 0; i <= static_cast< int >( last ); ++i ) {
         match( call, static_cast< Enum >( i ) );
         result += hits( bytes ) ? 'x' : '.';
      }
      return result;
   }
   std::string ipTypes( const Bytes& bytes ) {
      return matching( &Sdk::bcm_field_qualify_IpType, FieldIpType::arp, bytes );
   }
   std::string fragments( const Bytes& bytes ) {
      return matching( &Sdk::bcm_field_qualify_IpFrag, FieldIpFrag::any, bytes );
   }

   // One entry, which copies what it matches to mirror destination 0.
   const int group_ = newGroup();
   const int entry_ = newEntry( group_, FieldAction::mirrorIngressTo, 0, 99 );
};

TEST_F( FieldMatchTest, EveryFieldMatchesAndMissesByOneBit ) {
   const Bytes overTcp =
         ethernet( ip4Type, ip4( 6, tcp( 0x1234, 0x5678, 0x12 ), 0, {}, 0xb9 ) );
   const Bytes over6 = ethernet( ip6Type, ip6( 132, tcp( 0x1234, 0x5678 ), 0xb9 ) );
   const Bytes overUdp = ethernet( ip4Type, ip4( 17, tcp( 0x1234, 0x5678 ) ) );
   const Bytes ping = ethernet( ip4Type, ip4( 1, Bytes{ 8, 3, 0, 0, 0, 0, 0, 0 } ) );
   const Bytes ping6 = ethernet( ip6Type, ip6( 58, Bytes{ 128, 3, 0, 0, 0, 0, 0, 0 } ) );
   const Bytes labels = ethernet( mplsType, label( 0x12345, false ) + label( 0xabcde, true ) );
   Plix::EthAddr exactMac( std::array< uint8_t, 6 >{ 255, 255, 255, 255, 255, 255 } );
   const Plix::Ip6Addr exact6 = ip6Address( Bytes( 16, 0xff ) );
   struct Case {
      const char* what;
      std::function< Rc( Sdk& ) > qualify;
      Bytes packet;
      std::vector< size_t > places; // bytes of the field
      uint8_t outside = 0;          // bits of the last byte that are not of the field
   };
   const int e = entry_;
#define QUALIFY( call, ... )                                                                   \
#call, [ & ]( Sdk & s ) { return s.bcm_field_qualify_##call( 0, e, __VA_ARGS__ ); }
   const std::vector< Case > cases{
      { QUALIFY( DstMac, address( mac( 2 ) ), exactMac ), overTcp, { 0, 1, 2, 3, 4, 5 } },
      { QUALIFY( SrcMac, address( mac( 1 ) ), exactMac ), overTcp, { 6, 7, 8, 9, 10, 11 } },
      { QUALIFY( EtherType, ip4Type, exact ), overTcp, { 12, 13 } },
      { QUALIFY( DSCP, 0xb9, 0xff ), overTcp, { 15 } },
      { QUALIFY( IpProtocol, 6, exact ), overTcp, { 23 } },
      { QUALIFY( SrcIp, 0x0a000001, exact ), overTcp, { 26, 27, 28, 29 } },
      { QUALIFY( DstIp, 0x0a000002, exact ), overTcp, { 30, 31, 32, 33 } },
      { QUALIFY( L4SrcPort, 0x1234, exact ), overTcp, { 34, 35 } },
      { QUALIFY( L4DstPort, 0x5678, exact ), overTcp, { 36, 37 } },
      { QUALIFY( TcpControl, 0x12, exact ), overTcp, { 47 } },
      { QUALIFY( L4SrcPort, 0x1234, exact ), overUdp, { 34, 35 } },
      { QUALIFY( L4DstPort, 0x5678, exact ), over6, { 56, 57 } },
      { QUALIFY( IpProtocol, 132, exact ), over6, { 20 } },
      { QUALIFY( SrcIp6, ip6Address( address6( 1 ) ), exact6 ), over6,
            { 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37 } },
      { QUALIFY( DstIp6, ip6Address( address6( 2 ) ), exact6 ), over6,
            { 38, 39, 40, 41, 42, 43, 44, 45, 46, 47, 48, 49, 50, 51, 52, 53 } },
      { QUALIFY( DSCP, 0xb9, 0xff ), over6, { 15 }, 0x0f },
      { QUALIFY( DSCP, 0xb9, 0xff ), over6, { 14 }, 0xf0 },
      { QUALIFY( IcmpTypeCode, 0x0803, exact ), ping, { 34, 35 } },
      { QUALIFY( IcmpTypeCode, 0x8003, exact ), ping6, { 54, 55 } },
      { QUALIFY( OuterVlanPriority, 5, 7 ), ethernet( ip4Type, {}, tag( 0, 5 ) ), { 14 },
            0x1f },
      { QUALIFY( MplsLabel, 0x12345, exact ), labels, { 14, 15, 16 }, 0x0f },
      { QUALIFY( MplsInnerLabel, 0xabcde, exact ), labels, { 18, 19, 20 }, 0x0f },
   };
#undef QUALIFY
   Explainer explainer( box_.chip( 0 )->fields(), group_ );
   for ( const Case& c : cases ) {
      match( c.qualify );
      box_.control().observerIs( nullptr );
      EXPECT_TRUE( hits( c.packet ) ) << c.what;
      // Who is looking on hears of the same, and why.
      box_.control().observerIs( &explainer );
      EXPECT_TRUE( hits( c.packet ) ) << c.what;
      EXPECT_TRUE( explainer.misses().empty() );
      for ( size_t place : c.places ) {
         const unsigned outside = place == c.places.back() ? c.outside : 0U;
         for ( unsigned bit = 1; bit < 0x100; bit <<= 1 ) {
            Bytes flipped = c.packet;
            flipped[ place ] = static_cast< uint8_t >( flipped[ place ] ^ bit );
            if ( ( outside & bit ) == 0 ) {
               EXPECT_FALSE( hits( flipped ) ) << c.what << " " << place << " " << bit;
               ASSERT_EQ( explainer.misses().size(), 1U );
               EXPECT_EQ( qualifierName( *explainer.misses()[ 0 ].failed ), c.what );
            }
         }
      }
   }
   box_.control().observerIs( nullptr );
   // Enumerations and ranges have their own tests.
   for ( const FieldRow& row : fieldCatalogue ) {
      const bool isValue = row.place.isParsed && row.style != TextStyle::ipType &&
            row.style != TextStyle::fragment && row.style != TextStyle::ranges;
      const auto isOf = [ & ]( const Case& c ) { return c.what == row.name; };
      EXPECT_TRUE( !isValue || std::ranges::any_of( cases, isOf ) ) << row.name;
   }
   // The L2 table knows no classes.
   match( &Sdk::bcm_field_qualify_DstClassL2, 0, 0x3ff );
   EXPECT_TRUE( hits( overTcp ) );
   match( &Sdk::bcm_field_qualify_DstClassL2, 1, 0x3ff );
   EXPECT_FALSE( hits( overTcp ) );
}

// Zero is a value like others: a frame without the field does not have it.
TEST_F( FieldMatchTest, AFieldThatAFrameLacksIsNotZero ) {
   const Bytes zeros( 20, 0 );
   const std::vector< Bytes > packets{ ethernet( ip4Type, ip4( 6, zeros ) ),
      ethernet( ip4Type, ip4( 17, zeros ) ), ethernet( ip4Type, ip4( 1, zeros ) ),
      ethernet( ip6Type, ip6( 58, zeros ) ), ethernet( arpType, zeros + zeros ),
      ethernet( mplsType, label( 0, true ) + zeros ),
      ethernet( mplsType, label( 0, false ) + label( 0, true ) ) };
   const auto seen = [ & ]( auto call ) {
      match( call, 0, exact );
      std::string result;
      for ( const Bytes& packet : packets ) {
         result += hits( packet ) ? 'x' : '.';
      }
      return result;
   };
   EXPECT_EQ( seen( &Sdk::bcm_field_qualify_L4SrcPort ), "xx....." );
   EXPECT_EQ( seen( &Sdk::bcm_field_qualify_L4DstPort ), "xx....." );
   EXPECT_EQ( seen( &Sdk::bcm_field_qualify_TcpControl ), "x......" );
   EXPECT_EQ( seen( &Sdk::bcm_field_qualify_IcmpTypeCode ), "..xx..." );
   EXPECT_EQ( seen( &Sdk::bcm_field_qualify_DSCP ), "xxxx..." );
   EXPECT_EQ( seen( &Sdk::bcm_field_qualify_MplsLabel ), ".....xx" );
   EXPECT_EQ( seen( &Sdk::bcm_field_qualify_OuterVlanPriority ), "xxxxxxx" ) << "of no tag";
   EXPECT_EQ( seen( &Sdk::bcm_field_qualify_MplsInnerLabel ), "......x" );
   EXPECT_FALSE( hasProtocol( 0, packets[ 4 ] ) );
   match( &Sdk::bcm_field_qualify_SrcIp, 0, 0x000000fe );
   EXPECT_TRUE( hits( packets[ 0 ] ) && !hits( packets[ 3 ] ) && !hits( packets[ 4 ] ) );
   match( &Sdk::bcm_field_qualify_IpFrag, FieldIpFrag::non );
   EXPECT_TRUE( hits( packets[ 3 ] ) && !hits( packets[ 4 ] ) );
}

TEST_F( FieldMatchTest, IpTypesAreWhatTheHeaderSaysAndNotTheEtherTypeAlone ) {
   const Bytes payload = tcp( 1, 2 );
   const Bytes plain = ip4( 6, payload );
   const Bytes vlans = tag( 5 ) + tag( 6 );
   const auto changed = []( Bytes bytes, size_t at, uint8_t value ) {
      bytes[ at ] = value;
      return bytes;
   };
   //                                 any, not, IP, v4, no options, options, v6, ARP
   EXPECT_EQ( ipTypes( ethernet( ip4Type, plain ) ), "x.xxx..." );
   EXPECT_EQ(
         ipTypes( ethernet( ip4Type, ip4( 6, payload, 0, Bytes( 40, 1 ) ) ) ), "x.xx.x.." );
   EXPECT_EQ( ipTypes( ethernet( ip6Type, ip6( 6, payload ) ) ), "x.x...x." );
   EXPECT_EQ( ipTypes( ethernet( arpType, Bytes( 28, 0 ) ) ), "xx.....x" );
   EXPECT_EQ( ipTypes( ethernet( ip4Type, plain, vlans ) ), "x.xxx..." );
   const std::vector< Bytes > others{ ethernet( ip4Type, plain,
                                            vlans + tag( 7 ) ), // a third tag is the EtherType
      ethernet( static_cast< uint32_t >( plain.size() ), plain ), // IEEE 802.3: a length
      ethernet( mplsType, label( 3, true ) + plain ),
      ethernet( ip4Type, changed( plain, 0, 0x65 ) ), // version
      ethernet( ip4Type, changed( plain, 0, 0x44 ) ), // header of 16 bytes
      ethernet( ip4Type, changed( plain, 3, 19 ) ),   // shorter than its header
      ethernet( ip6Type, changed( ip6( 6, payload ), 0, 0x40 ) ),
      ethernet( ip4Type, Bytes( plain.begin(), plain.begin() + 19 ) ), Bytes( 13, 8 ) };
   for ( const Bytes& other : others ) {
      EXPECT_EQ( ipTypes( other ), "xx......" ) << &other - others.data();
      EXPECT_FALSE( hasPort2( other ) ) << &other - others.data();
   }
   EXPECT_EQ( sdk().bcm_field_qualify_IpType( 0, entry_, FieldIpType{ 8 } ), param );
   EXPECT_EQ( sdk().bcm_field_qualify_IpFrag( 0, entry_, FieldIpFrag{ 5 } ), param );
}

TEST_F( FieldMatchTest, FragmentsHavePortsOnlyInTheFirst ) {
   const Bytes payload = tcp( 1, 2 );
   const auto in6 = [ & ]( uint32_t word ) {
      return ethernet(
            ip6Type, ip6( 44, Bytes{ 17, 0 } + be16( word ) + be32( 9 ) + payload ) );
   };
   const auto in4 = [ & ]( uint32_t word ) {
      return ethernet( ip4Type, ip4( 17, payload, word ) );
   };
   struct Case {
      Bytes packet;
      const char* fragments; // non, first, nonOrFirst, notFirst, any
      bool hasPort;
   };
   const std::vector< Case > cases{
      { in4( 0 ), "x.x..", true },
      { in4( 0xc000 ), "x.x..", true }, // reserved, do not fragment
      { in4( 0x2000 ), ".xx.x", true }, { in4( 0x2001 ), "...xx", false },
      { in4( 0x1000 ), "...xx", false }, { in4( 0x1fff ), "...xx", false },
      { in6( 0 ), "x.x..", true }, // all of a datagram: RFC 8200, section 4.5
      { in6( 1 ), ".xx.x", true }, { in6( 9 ), "...xx", false },
      { in6( 0xfff8 ), "...xx", false }, { in6( 6 ), "x.x..", true }, // reserved bits
   };
   for ( const Case& c : cases ) {
      EXPECT_EQ( fragments( c.packet ), c.fragments ) << &c - cases.data();
      EXPECT_EQ( hasPort2( c.packet ), c.hasPort ) << &c - cases.data();
      EXPECT_TRUE( hasProtocol( 17, c.packet ) ) << &c - cases.data();
   }
   // A second fragment header does not undo the first.
   EXPECT_EQ( fragments( ethernet( ip6Type,
                    ip6( 44,
                          Bytes{ 44, 0, 0, 1, 0, 0, 0, 9 } + Bytes{ 17, 0, 0, 0, 0, 0, 0, 9 } +
                                payload ) ) ),
         ".xx.x" );
}

TEST_F( FieldMatchTest, TheUpperLayerIsFoundBehindAllExtensions ) {
   const Bytes payload = tcp( 1, 2 );
   const auto option = []( uint8_t next, uint8_t extra ) { // units of 8 bytes behind the first
      return Bytes{ next, extra } + Bytes( 6U + extra * 8U, 0 );
   };
   const Bytes authentication = Bytes{ 6, 4 } + Bytes( 22, 0 ); // ( 4 + 2 ) * 4: RFC 4302
   const Bytes chain = option( 60, 1 ) + option( 43, 0 ) + option( 44, 2 ) +
         Bytes{ 51, 0, 0, 0, 0, 0, 0, 9 } + authentication + payload;
   const Bytes packet = ethernet( ip6Type, ip6( 0, chain ) );
   EXPECT_TRUE( hasProtocol( 6, packet ) );
   EXPECT_TRUE( hasPort2( packet ) );
   // Cut off, or longer than what is there: as far as it goes.
   const auto cut = [ & ]( size_t length ) {
      return Bytes( packet.begin(), packet.begin() + static_cast< ptrdiff_t >( length ) );
   };
   EXPECT_TRUE( hasProtocol( 0, cut( 54 + 15 ) ) );
   EXPECT_TRUE( hasProtocol( 60, cut( 54 + 16 ) ) );
   EXPECT_TRUE( hasProtocol( 51, cut( 54 + 16 + 8 + 24 + 8 + 23 ) ) );
   EXPECT_TRUE( hasProtocol(
         60, ethernet( ip6Type, ip6( 60, Bytes{ 6, 255 } + Bytes( 6, 0 ) ) + payload ) ) );
   EXPECT_TRUE( hasProtocol( 50, ethernet( ip6Type, ip6( 50, payload ) ) ) ); // ESP hides it
   EXPECT_FALSE( hasPort2( ethernet( ip6Type, ip6( 50, payload ) ) ) );
}

TEST_F( FieldMatchTest, PaddingBehindTheDatagramIsNotRead ) {
   const Bytes padding = tcp( 1, 2 );
   for ( const Bytes& packet : { ethernet( ip4Type, ip4( 6, {} ) + padding ),
               ethernet( ip4Type, ip4( 6, { 0, 1, 0 } ) + Bytes{ 2 } + padding ) } ) {
      EXPECT_FALSE( hasPort2( packet ) );
   }
   EXPECT_FALSE(
         hasPort2( ethernet( ip6Type, ip6( 60, { 6, 0, 0, 0, 0, 0, 0, 0 } ) + padding ) ) );
}

// Nothing behind the end is read (each frame ends its own block of memory), and a shorter frame
// has less in its key, never something else.
TEST( HeaderParserTest, ACutFrameHasLessOfTheSameKey ) {
   const Bytes payload = tcp( 0x1234, 0x5678, 0x12 );
   const Bytes chain =
         Bytes{ 60, 1 } + Bytes( 14, 0 ) + Bytes{ 6, 0 } + Bytes( 6, 0 ) + payload;
   const std::vector< Bytes > packets{ ethernet(
                                             ip4Type, ip4( 6, payload, 0, Bytes( 12, 1 ) ) ),
      ethernet( ip6Type, ip6( 0, chain ), tag( 5 ) ), ethernet( ip4Type, ip4( 1, payload ) ),
      ethernet( mplsType, label( 1, false ) + label( 2, true ) ),
      ethernet( arpType, Bytes( 28, 3 ) ), ethernet( ip6Type, ip6( 58, payload ) ) };
   const auto keyOf = []( const Bytes& bytes, size_t length ) {
      const auto block = std::make_unique< uint8_t[] >( length );
      std::copy_n( bytes.begin(), length, block.get() );
      LookupKey key;
      parseHeaders( parse( { 0, block.get(), static_cast< uint32_t >( length ) } ), key );
      return key;
   };
   for ( const Bytes& packet : packets ) {
      const LookupKey whole = keyOf( packet, packet.size() );
      EXPECT_NE( whole.get( Key::valid ), 0u );
      uint32_t before = 0;
      for ( size_t length = 0; length <= packet.size(); ++length ) {
         const LookupKey key = keyOf( packet, length );
         const uint32_t valid = key.get( Key::valid );
         EXPECT_EQ( valid & ~whole.get( Key::valid ), 0u );
         EXPECT_EQ( before & ~valid, 0u );
         before = valid;
         for ( const FieldRow& row : fieldCatalogue ) {
            const unsigned needed = row.place.valid & ~unsigned{ validL2 | validIp };
            if ( needed == 0 || !row.place.isParsed ) {
               continue; // later headers change those of validL2 and validIp
            }
            for ( const KeyPart& part : row.place.parts() ) {
               EXPECT_EQ( key.get( part.field ),
                     ( valid & needed ) != 0 ? whole.get( part.field ) : 0u );
            }
         }
      }
   }
   std::mt19937 random( 11 );
   for ( int i = 0; i < 40'000; ++i ) {
      Bytes bytes = packets[ random() % packets.size() ];
      for ( int flips = static_cast< int >( random() % 4 ); flips >= 0; --flips ) {
         bytes[ 12 + random() % ( bytes.size() - 12 ) ] = static_cast< uint8_t >( random() );
      }
      const LookupKey key = keyOf( bytes, random() % ( bytes.size() + 1 ) );
      const uint32_t valid = key.get( Key::valid );
      const uint32_t kind = key.get( Key::ipKind );
      EXPECT_EQ( ( valid & validIp ) != 0, ( kind & kindIp ) != 0 );
      EXPECT_TRUE( ( valid & validIp ) != 0 || ( valid & ( validPorts | validIcmp ) ) == 0 );
   }
}

} // namespace

} // namespace ChipModel::Test
