#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <random>

#include "Platform/Plix/EthAddr.h"
#include "Platform/Plix/Ip6Addr.h"
#include "Platform/Plix/IpAddr.h"

namespace Plix {
namespace {

// The C library's reader, written by others from the same RFCs.
template < size_t size >
std::optional< std::array< uint8_t, size > > peerReads( int family, const std::string& text ) {
   std::array< uint8_t, size > bytes{};
   return inet_pton( family, text.c_str(), bytes.data() ) == 1 ? std::optional( bytes )
                                                               : std::nullopt;
}

std::array< uint8_t, 4 > wire( IpAddr addr ) {
   const uint32_t v = addr.value();
   return { uint8_t( v >> 24 ), uint8_t( v >> 16 & 0xff ), uint8_t( v >> 8 & 0xff ),
      uint8_t( v & 0xff ) };
}

TEST( EthAddr, ReadsBothSeparatorsAndPrintsOne ) {
   for ( const char* text : { "00:1c:73:aB:00:fF", "00-1C-73-AB-00-FF" } ) {
      auto addr = EthAddr::fromString( text );
      ASSERT_TRUE( addr ) << text;
      EXPECT_EQ( addr->toString(), "00:1c:73:ab:00:ff" );
      EXPECT_EQ( addr->bytes(), ( std::array< uint8_t, 6 >{ 0, 0x1c, 0x73, 0xab, 0, 0xff } ) );
   }
   for ( const char* text : { "", "00:1c:73:ab:00", "00:1c:73:ab:00:ff:", "00:1c-73:ab:00:ff",
               "00:1c:73:ab:00:fg", "0:1c:73:ab:00:ff1", "00.1c.73.ab.00.ff", "001c73ab00ff",
               "00:1c:73:ab:00:@f", "00 1c 73 ab 00 ff" } ) {
      EXPECT_FALSE( EthAddr::fromString( text ) ) << text;
   }
   EXPECT_TRUE( EthAddr::fromString( "01:00:5e:00:00:01" )->isMulticast() );
   EXPECT_FALSE( EthAddr::fromString( "02:00:5e:00:00:01" )->isMulticast() );
}

TEST( IpAddr, FirstNumberIsTheHighestByte ) {
   EXPECT_EQ( IpAddr::fromString( "10.1.2.255" )->value(), 0x0a0102ffU );
   EXPECT_EQ( IpAddr( 0x0a0102ffU ).toString(), "10.1.2.255" );
   EXPECT_LT( *IpAddr::fromString( "9.255.255.255" ), *IpAddr::fromString( "10.0.0.0" ) );
   EXPECT_EQ( IpAddr().toString(), "0.0.0.0" );
}

TEST( Ip6Addr, PrintsTheCanonicalForm ) {
   struct Case {
      const char *text, *canonical;
   };
   for ( const Case& c : {
               Case{ "0:0:0:0:0:0:0:0", "::" },
               Case{ "::0001", "::1" },
               Case{ "1::", "1::" },
               Case{ "2001:DB8:0:0:8:800:200C:417A", "2001:db8::8:800:200c:417a" },
               // A single zero group stays; of two runs the longer goes, of equals the first.
               Case{ "2001:db8::1:1:1:1:1", "2001:db8:0:1:1:1:1:1" },
               Case{ "2001:0:0:1:0:0:0:1", "2001:0:0:1::1" },
               Case{ "2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1" },
               Case{ "1:2:3:4:5:6:0:0", "1:2:3:4:5:6::" },
               Case{ "::2:3:4:5:6:7:8", "0:2:3:4:5:6:7:8" },
               Case{ "::ffff:c000:0280", "::ffff:192.0.2.128" },
               Case{ "64:ff9b::192.0.2.33", "64:ff9b::c000:221" },
               Case{ "::13.1.68.3", "::d01:4403" },
         } ) {
      auto addr = Ip6Addr::fromString( c.text );
      ASSERT_TRUE( addr ) << c.text;
      EXPECT_EQ( addr->toString(), c.canonical ) << c.text;
   }
}

TEST( IpAddresses, RefuseWhatIsNotAnAddress ) {
   for ( const char* text : { "", "1.2.3.4 ", " 1.2.3.4", "1.2.3.+4", "1.2.3.-0", "0x1.2.3.4",
               "16909060", "1.2.3.4/32", "1.2.3.4294967297", "fe80::1%eth0", "::1/128", "::1 ",
               "::-1", "0x1::", "1:2:3:4:5:6:7:8:9", "::256.1.1.1" } ) {
      EXPECT_FALSE( IpAddr::fromString( text ) ) << text;
      EXPECT_FALSE( Ip6Addr::fromString( text ) ) << text;
   }
   EXPECT_FALSE( IpAddr::fromString( std::string_view( "1.2.3.4\0", 8 ) ) );
   EXPECT_FALSE( Ip6Addr::fromString( std::string_view( "::1\0", 4 ) ) );
}

// Addresses with many zeros, so that every place and length of "::" comes up.
TEST( IpAddresses, PrintAndReadBackAlikeHereAndElsewhere ) {
   std::mt19937 random( 1 );
   for ( int i = 0; i < 20000; ++i ) {
      const IpAddr v4( static_cast< uint32_t >( random() & random() ) );
      EXPECT_EQ( IpAddr::fromString( v4.toString() ), v4 );
      EXPECT_EQ( peerReads< 4 >( AF_INET, v4.toString() ), wire( v4 ) );

      std::array< uint8_t, 16 > bytes{};
      for ( size_t group = 0; group < 8; ++group ) {
         if ( random() % 2 ) {
            bytes[ group * 2 + 1 ] = static_cast< uint8_t >( random() & random() & 0xff );
            bytes[ group * 2 ] = static_cast< uint8_t >( random() % 3 ? 0 : random() & 0xff );
         }
      }
      const Ip6Addr v6( bytes );
      EXPECT_EQ( Ip6Addr::fromString( v6.toString() ), v6 ) << v6;
      EXPECT_EQ( peerReads< 16 >( AF_INET6, v6.toString() ), bytes ) << v6;
   }
}

// Nearly right texts of the letters that addresses are made of: what is accepted, and as which address, is what the peer says.
TEST( IpAddresses, AgreeWithAnotherReaderOnDamagedTexts ) {
   const std::string_view good[] = { "192.0.2.128", "2001:db8::8:800:200c:417a",
      "1:2:3:4:5:6:7:8", "::ffff:10.20.30.40", "fe80::", "1:2:3:4:5:6:127.0.0.1" };
   std::mt19937 random( 2 );
   int accepted = 0;
   for ( int i = 0; i < 100000; ++i ) {
      std::string text( good[ random() % std::size( good ) ] );
      for ( size_t edits = 1 + random() % 3; edits > 0; --edits ) {
         const size_t at = random() % ( text.size() + 1 );
         const char letter = "0123456789afg:.::"[ random() % 17 ];
         if ( at < text.size() && random() % 2 ) {
            text.erase( at, 1 );
         } else {
            text.insert( at, 1, letter );
         }
      }
      const auto v4 = IpAddr::fromString( text );
      const auto v6 = Ip6Addr::fromString( text );
      EXPECT_EQ(
            v4 ? std::optional( wire( *v4 ) ) : std::nullopt, peerReads< 4 >( AF_INET, text ) )
            << text;
      EXPECT_EQ( v6 ? std::optional( v6->bytes() ) : std::nullopt,
            peerReads< 16 >( AF_INET6, text ) )
            << text;
      accepted += v4 || v6;
   }
   EXPECT_GT( accepted, 10000 ); // both sides of the fence were visited
}

} // namespace
} // namespace Plix
