// Captures in and out: what is read is what the file says, whatever its kind; what is wrong
// with a file is told in one line; what is written appears whole or not at all.

#include <algorithm>
#include <bit>
#include <csignal>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "Agent/Packets/CaptureMerge.h"
#include "Agent/Packets/CaptureReader.h"
#include "Agent/Packets/CaptureWriter.h"
#include "Agent/Packets/OutputDirectory.h"
#include "Tests/TemporaryFolder.h"

namespace {

using namespace Agent;
namespace fs = std::filesystem;

// A capture made by hand, so that the reader is not proved with our own writer.
class Bytes {
 public:
   explicit Bytes( std::endian order = std::endian::little ) : order_( order ) {}
   Bytes& u16( uint32_t value ) { return number( value, 2 ); }
   Bytes& words( std::initializer_list< uint32_t > values ) {
      for ( uint32_t value : values ) {
         number( value, 4 );
      }
      return *this;
   }
   Bytes& text( const std::string& value ) {
      bytes_ += value;
      return *this;
   }
   Bytes& pcapHeader( uint32_t magic, uint32_t linkType = 1, uint32_t major = 2 ) {
      return words( { magic } ).u16( major ).u16( 4 ).words( { 0, 0, 65535, linkType } );
   }
   // Nanoseconds, and frames as long as readers accept.
   Bytes& widestHeader() {
      return words( { 0xa1b23c4d } ).u16( 2 ).u16( 4 ).words( { 0, 0, 262144, 1 } );
   }
   Bytes& packet( uint32_t seconds, uint32_t fraction, const std::string& data ) {
      const auto size = static_cast< uint32_t >( data.size() );
      return words( { seconds, fraction, size, size + 4 } ).text( data );
   }
   Bytes& pcapngHeader() {
      words( { 0x0a0d0d0a, 28, 0x1a2b3c4d } ).u16( 1 ).u16( 0 );
      return words( { ~0U, ~0U, 28 } );
   }
   Bytes& pcapngInterface( uint32_t linkType, uint32_t snapshot ) {
      return words( { 1, 20 } ).u16( linkType ).u16( 0 ).words( { snapshot, 20 } );
   }
   Bytes& pcapngPacket( uint32_t microseconds ) {
      return words( { 6, 36, 0, 0, microseconds, 4, 4 } ).text( "abcd" ).words( { 36 } );
   }
   operator const std::string&() const { return bytes_; }

 private:
   Bytes& number( uint32_t value, int size ) {
      for ( int i = 0; i < size; ++i ) {
         int shift = 8 * ( order_ == std::endian::little ? i : size - 1 - i );
         bytes_ += static_cast< char >( value >> shift & 0xff );
      }
      return *this;
   }

   std::endian order_;
   std::string bytes_;
};

constexpr uint32_t microMagic = 0xa1b2c3d4;
constexpr uint32_t nanoMagic = 0xa1b23c4d;

class PacketsTest : public testing::Test {
 protected:
   std::string path( const std::string& name ) const { return folder_.path( name ); }
   std::string file( const std::string& name, const std::string& content ) const {
      return folder_.write( name, content );
   }
   std::vector< std::string > names() const {
      std::vector< std::string > result;
      for ( const auto& entry : fs::directory_iterator( directory_ ) ) {
         result.push_back( entry.path().filename() );
      }
      std::sort( result.begin(), result.end() );
      return result;
   }

   const TemporaryFolder folder_;
   const std::string directory_ = folder_.path();
};

using Names = std::vector< std::string >;

std::string data( const CaptureFrame& frame ) {
   return { reinterpret_cast< const char* >( frame.data ), frame.length };
}

std::span< const uint8_t > bytes( const std::string& text ) {
   return { reinterpret_cast< const uint8_t* >( text.data() ), text.size() };
}

// The error line that an operation ends with; "no error" if there is none.
template < typename Operation >
std::string errorOf( Operation operation ) {
   try {
      operation();
   } catch ( const CaptureError& error ) {
      return error.what();
   }
   return "no error";
}

TEST_F( PacketsTest, EveryKindOfCaptureIsReadAlike ) {
   constexpr auto big = std::endian::big;
   // 7 microseconds everywhere, whatever the file counts in.
   std::vector< std::string > captures{
      Bytes().pcapHeader( microMagic ).packet( 3, 7, "abcd" ),
      Bytes( big ).pcapHeader( microMagic ).packet( 3, 7, "abcd" ),
      Bytes().pcapHeader( nanoMagic ).packet( 3, 7000, "abcd" ),
      Bytes( big ).pcapHeader( nanoMagic ).packet( 3, 7000, "abcd" ),
      // Frame check sequences announced: 4 bytes, in the upper half of the link type.
      Bytes().pcapHeader( microMagic, 0x24000001 ).packet( 3, 7, "abcd" ),
      Bytes().pcapngHeader().pcapngInterface( 1, 0 ).pcapngPacket( 3'000'007 ),
      Bytes( big ).pcapngHeader().pcapngInterface( 1, 0 ).pcapngPacket( 3'000'007 ),
   };
   for ( size_t i = 0; i < captures.size(); ++i ) {
      SCOPED_TRACE( "capture " + std::to_string( i ) );
      CaptureReader reader( file( "a.pcap", captures[ i ] ) );
      CaptureFrame frame;
      ASSERT_TRUE( reader.next( frame ) );
      EXPECT_EQ( frame.timeNs, 3'000'007'000U );
      EXPECT_EQ( data( frame ), "abcd" );
      EXPECT_EQ( frame.wireLength, i < 5 ? 8U : 4U );
      EXPECT_FALSE( reader.next( frame ) );
      EXPECT_FALSE( reader.next( frame ) );
   }
}

TEST_F( PacketsTest, OddStampsAndLengthsAreHarmless ) {
   std::string jumbo( 100'000, 'j' );
   Bytes capture;
   capture.pcapHeader( nanoMagic ).packet( 1, 0xffffffff, "" ).packet( 0xffffffff, 5, "x" );
   capture.packet( 2, 3'000'000'000, "y" );
   capture.words( { 4, 0, 2, 1 } ).text( "zz" ); // more captured than sent
   const std::string big = Bytes().widestHeader().packet( 9, 0, jumbo );

   CaptureReader reader( file( "odd.pcap", capture ) );
   std::vector< CaptureFrame > frames;
   for ( CaptureFrame frame; reader.next( frame ); ) {
      frames.push_back( frame );
   }
   ASSERT_EQ( frames.size(), 4U );
   EXPECT_EQ( frames[ 0 ].timeNs / 1'000'000'000, 1U );
   EXPECT_EQ( frames[ 0 ].length, 0U );
   EXPECT_EQ( frames[ 1 ].timeNs, 4'294'967'295'000'000'005U );
   EXPECT_EQ( frames[ 2 ].timeNs / 1'000'000'000, 2U );
   EXPECT_EQ( frames[ 3 ].wireLength, 2U );
   CaptureSummary summary = validateCapture( path( "odd.pcap" ) );
   EXPECT_EQ( summary.frames, 4U );
   EXPECT_EQ( summary.firstNs, frames[ 0 ].timeNs );
   EXPECT_EQ( summary.lastNs, frames[ 1 ].timeNs );

   CaptureReader jumbos( file( "big.pcap", big ) );
   CaptureFrame frame;
   ASSERT_TRUE( jumbos.next( frame ) );
   EXPECT_EQ( data( frame ), jumbo );
}

TEST_F( PacketsTest, WhatIsWrongWithACaptureIsToldInOneLine ) {
   std::string good =
         Bytes().pcapHeader( microMagic ).packet( 1, 2, "abcd" ).packet( 1, 3, "efgh" );
   Bytes twoKinds = Bytes().pcapngHeader().pcapngInterface( 1, 0 ).pcapngPacket( 7 );
   struct Case {
      std::string content;
      std::string error; // what the line holds after the file's name
   };
   std::vector< Case > cases{
      { "", ": is empty; allowed: a pcap" },
      { "#!/bin/sh\nexit 0\n# no capture\n", ": is not a capture (unknown file format)" },
      { good.substr( 0, 23 ), ": is not a capture (truncated" },
      { Bytes().pcapHeader( microMagic, 1, 99 ), "99.4" },
      { Bytes().pcapHeader( microMagic, 113 ), ": has link type LINUX_SLL" },
      { good + std::string( Bytes().words( { 1, 1, 900'000'000, 1 } ) ),
            ": after packet 2: invalid packet capture length" },
      { Bytes( twoKinds ).pcapngInterface( 113, 0 ), "one link type, Ethernet" },
      { Bytes( twoKinds ).pcapngInterface( 1, 96 ), "one snapshot length" },
   };
   for ( const Case& c : cases ) {
      std::string name = file( "bad.pcap", c.content );
      std::string error = errorOf( [ & ] { validateCapture( name ); } );
      EXPECT_TRUE( error.starts_with( name + ": " ) ) << error;
      EXPECT_NE( error.find( c.error ), error.npos ) << error;
      EXPECT_EQ( error.find( '\n' ), error.npos ) << error;
   }
   EXPECT_EQ( errorOf( [ & ] { validateCapture( path( "none" ) ); } ),
         path( "none" ) + ": cannot be read (No such file or directory)" );
   EXPECT_EQ( errorOf( [ & ] { validateCapture( directory_ ); } ),
         directory_ +
               ": is a directory; allowed: a pcap (version 2.4) or pcapng file, also "
               "packed by gzip" );
}

std::string gzipped( const TemporaryFolder& folder, const std::string& content ) {
   const std::string name = folder.write( "packed", content );
   EXPECT_EQ( std::system( ( "gzip -f " + name ).c_str() ), 0 );
   return contentOf( name + ".gz" );
}

TEST_F( PacketsTest, OfACaptureThatIsCutOffTheWholePacketsAreRead ) {
   const std::string good =
         Bytes().pcapHeader( microMagic ).packet( 1, 2, "abcd" ).packet( 1, 3, "efgh" );
   const std::string packed = gzipped( folder_, good );
   std::string damaged = packed;
   damaged[ packed.size() - 6 ] ^= 1; // of the check sum
   struct Case {
      std::string content;
      uint64_t frames;
      std::string cut; // what the line holds after the file's name
   };
   for ( const Case& c : { Case{ packed, 2, "" },
               Case{ good.substr( 0, good.size() - 1 ), 1,
                     ": ends in the middle of a packet (truncated" },
               Case{ good.substr( 0, 30 ), 0, ": ends in the middle of a packet (truncated" },
               Case{ packed.substr( 0, packed.size() - 4 ), 2, ": ends too early (" } } ) {
      const CaptureSummary summary = validateCapture( file( "cut.pcap", c.content ) );
      EXPECT_EQ( summary.frames, c.frames ) << summary.cut;
      EXPECT_EQ( summary.cut.empty(), c.cut.empty() ) << summary.cut;
      EXPECT_TRUE( summary.cut.starts_with( c.cut.empty() ? "" : path( "cut.pcap" ) + c.cut ) )
            << summary.cut;
   }
   EXPECT_NE( errorOf( [ & ] {
      validateCapture( file( "bad", damaged ) );
   } ).find( "incorrect data check" ),
         std::string::npos );
}

TEST_F( PacketsTest, MergedCapturesKeepTheirOrderAndOneClock ) {
   // Frames are named by their file and place; b's second frame steps back in time.
   Bytes a, b;
   a.pcapHeader( microMagic ).packet( 1, 0, "a1" ).packet( 5, 0, "a2" ).packet( 9, 0, "a3" );
   b.pcapHeader( microMagic ).packet( 5, 0, "b1" ).packet( 2, 0, "b2" ).packet( 6, 0, "b3" );
   CaptureMerge merge;
   merge.add( "Ethernet4", CaptureReader( file( "a", a ) ) );
   merge.add( "Ethernet0", CaptureReader( file( "b", b ) ) );
   merge.add( "Ethernet4", CaptureReader( file( "c", Bytes().pcapHeader( nanoMagic ) ) ) );
   std::string order;
   uint64_t clock = 0;
   for ( Arrival arrival; merge.next( arrival ); ) {
      EXPECT_GE( arrival.frame.timeNs, clock );
      clock = arrival.frame.timeNs;
      order += data( arrival.frame ) + "@" + std::to_string( clock / 1'000'000'000 ) + " ";
      EXPECT_EQ( merge.port( arrival.input ),
            data( arrival.frame )[ 0 ] == 'a' ? "Ethernet4" : "Ethernet0" );
   }
   EXPECT_EQ( order, "a1@1 a2@5 b1@5 b2@5 b3@6 a3@9 " );
}

TEST_F( PacketsTest, WhatIsWrittenIsReadBackEqual ) {
   std::string large( 9000, 'x' );
   {
      const OutputFolder folder( directory_ );
      CaptureWriter writer( folder, "out.pcap" );
      writer.write( 1'700'000'000'123'456'789U, bytes( "first" ), 64 );
      writer.write( 5, bytes( large ), 9000 );
      writer.write( 6, bytes( std::string( 262'200, 'y' ) ), 262'200 );
      writer.file().complete();
      writer.file().takeName();
   }
   // The file's first words, as any reader of captures expects them.
   EXPECT_EQ( contentOf( path( "out.pcap" ) ).substr( 0, 24 ),
         std::string( Bytes().widestHeader() ) );
   CaptureReader reader( path( "out.pcap" ) );
   CaptureFrame frame;
   ASSERT_TRUE( reader.next( frame ) );
   EXPECT_EQ( frame.timeNs, 1'700'000'000'123'456'789U );
   EXPECT_EQ( data( frame ), "first" );
   EXPECT_EQ( frame.wireLength, 64U );
   ASSERT_TRUE( reader.next( frame ) );
   EXPECT_EQ( data( frame ), large );
   ASSERT_TRUE( reader.next( frame ) ) << "beyond what readers accept";
   EXPECT_EQ( frame.length, 262'144U );
   EXPECT_EQ( frame.wireLength, 262'200U );
   EXPECT_FALSE( reader.next( frame ) );
}

TEST_F( PacketsTest, AFileAppearsWholeOrNotAtAll ) {
   file( "out.pcap", "older" );
   file( ".out.pcap.0.part", "of a writer that was killed" );
   file( ".notes.0.part", "a user's" );
   fs::create_directory( path( "folder" ) );
   const OutputFolder folder( directory_ );
   EXPECT_EQ( names(), ( Names{ ".notes.0.part", "folder", "out.pcap" } ) );
   {
      CaptureWriter writer( folder, "out.pcap" );
      writer.write( 1, bytes( "abcd" ), 4 );
      writer.file().complete();
      EXPECT_EQ( contentOf( path( "out.pcap" ) ), "older" );
      const OutputFolder others( directory_ ); // does not take what is being written
      EXPECT_EQ( names().size(), 4U );
   }
   EXPECT_EQ( contentOf( path( "out.pcap" ) ), "older" );
   EXPECT_EQ( names(), ( Names{ ".notes.0.part", "folder", "out.pcap" } ) );
   EXPECT_EQ( errorOf( [ & ] { CaptureWriter writer( folder, "folder" ); } ),
         path( "folder" ) + ": cannot be written (is a directory)" );
}

// A limit on the size of files stands for a full disk: the write fails after some frames.
class FileSizeLimit {
 public:
   explicit FileSizeLimit( rlim_t bytes ) {
      std::signal( SIGXFSZ, SIG_IGN );
      ::getrlimit( RLIMIT_FSIZE, &before_ );
      rlimit limit{ bytes, before_.rlim_max };
      ::setrlimit( RLIMIT_FSIZE, &limit );
   }
   ~FileSizeLimit() {
      ::setrlimit( RLIMIT_FSIZE, &before_ );
      std::signal( SIGXFSZ, SIG_DFL );
   }

 private:
   rlimit before_{};
};

TEST_F( PacketsTest, AFullDiskLeavesTheOlderRunAsItWas ) {
   fs::create_directory( path( "run" ) );
   file( "run/p1.pcap", "older" );
   file( "run/p2.pcap", "older" );
   std::string text( 1000, 'x' );
   // Some frames fail when they are written, few ones only when the buffer is written out.
   for ( int frames : { 1000, 20 } ) {
      FileSizeLimit limit( 10'000 );
      std::string error = errorOf( [ & ] {
         OutputDirectory out( path( "run" ), { "p1", "p2" }, {} );
         out.writer( "p1", OutputKind::Forwarded ).write( 1, bytes( "abcd" ), 4 );
         for ( int i = 0; i < frames; ++i ) {
            out.writer( "p2", OutputKind::Forwarded ).write( 1, bytes( text ), 1000 );
         }
         out.commit( {} );
      } );
      EXPECT_EQ( error, path( "run/p2.pcap" ) + ": cannot be written (File too large)" );
      EXPECT_EQ( contentOf( path( "run/p1.pcap" ) ), "older" );
      EXPECT_EQ( std::distance( fs::directory_iterator( path( "run" ) ), {} ), 2 );
   }
}

TEST_F( PacketsTest, WhatIsPublishedStaysWholeWhateverBecomesOfTheDisk ) {
   const std::string text( 1000, 'x' );
   OutputDirectory out( path( "run" ), { "p1", "p2" }, {} );
   // Frames of a burst at each port, and how many there are of p1 afterwards.
   auto burst = [ & ]( int frames ) {
      out.resume();
      out.writer( "p1", OutputKind::Forwarded ).write( 1, bytes( "abcd" ), 4 );
      for ( int i = 0; i < frames; ++i ) {
         out.writer( "p2", OutputKind::Forwarded ).write( 1, bytes( text ), 1000 );
      }
      out.publish( { { "s.rate.svg", "<svg>" } } );
      return validateCapture( path( "run/p1.pcap" ) ).frames;
   };
   EXPECT_EQ( burst( 5 ), 1U );
   {
      FileSizeLimit limit( 10'000 );
      EXPECT_EQ( errorOf( [ & ] { burst( 20 ); } ),
            path( "run/p2.pcap" ) + ": cannot be written (File too large)" );
   }
   EXPECT_EQ( validateCapture( path( "run/p1.pcap" ) ).frames, 1U );
   EXPECT_EQ( validateCapture( path( "run/p2.pcap" ) ).frames, 5U );
   EXPECT_EQ( burst( 20 ), 2U ) << "there is room again";
   EXPECT_EQ( validateCapture( path( "run/p2.pcap" ) ).frames, 25U );
   // What others took away begins anew; what they put there is not followed.
   fs::remove( path( "run/p1.pcap" ) );
   EXPECT_EQ( burst( 1 ), 1U );
   file( "target", "mine" );
   fs::create_symlink( path( "target" ), path( "run/.s.rate.svg.0.part" ) );
   fs::create_directory_symlink( path( "target" ), path( "run/p1.mirror.pcap" ) );
   EXPECT_EQ( burst( 1 ), 2U );
   EXPECT_EQ( contentOf( path( "target" ) ), "mine" );
   fs::remove_all( path( "run" ) );
   EXPECT_EQ( burst( 1 ), 1U );
   out.resume();
   fs::remove_all( path( "run" ) );
   EXPECT_EQ( errorOf( [ & ] { out.publish( {} ); } ),
         path( "run" ) + ": was removed while it was written" );
}

TEST_F( PacketsTest, TheOutputDirectoryTellsOfThisRunAlone ) {
   for ( const char* stale : { "p1.mirror.pcap", "p2.pcap", "p9.pcap", "notes.txt" } ) {
      file( stale, "older" );
   }
   {
      OutputDirectory out( directory_, { "p1", "p2" }, {} );
      CaptureWriter& sent = out.writer( "p1", OutputKind::Forwarded );
      sent.write( 1, bytes( "sent" ), 4 );
      out.writer( "p2", OutputKind::Mirrored ).write( 1, bytes( "copy" ), 4 );
      EXPECT_EQ( &out.writer( "p1", OutputKind::Forwarded ), &sent );
      out.commit( {} );
   }
   EXPECT_EQ( names(), ( Names{ "notes.txt", "p1.pcap", "p2.mirror.pcap", "p9.pcap" } ) );
   EXPECT_EQ( validateCapture( path( "p2.mirror.pcap" ) ).frames, 1U );
   {
      OutputDirectory out( path( "new" ), { "p1" }, {} );
      out.writer( "p1", OutputKind::Mirrored );
   }
   EXPECT_FALSE( fs::exists( path( "new" ) ) ) << "not committed";
}

TEST_F( PacketsTest, AnOutputDirectoryIsRefusedBeforeAnythingIsWritten ) {
   std::string input = file( "p1.pcap", Bytes().pcapHeader( nanoMagic ) );
   fs::create_symlink( input, path( "link.pcap" ) );
   fs::create_directory( path( "p3.pcap" ) );
   struct Case {
      std::string directory;
      Names ports;
      std::string error;
   };
   std::vector< Case > cases{
      { directory_, { "p1" }, "p1.pcap: is an input of this run" },
      { directory_, { "p3" }, "p3.pcap: cannot be written (is a directory)" },
      { input, {}, "p1.pcap: is not a directory" },
      { path( "none/none" ), {}, "none/none: cannot be made (No such file or directory)" },
      { directory_, { "../p" }, "port \"../p\" cannot name a capture file" },
      { directory_, { "" }, "port \"\" cannot" },
      { directory_, { "p", "p.mirror" }, "p.mirror.pcap would hold the packets of two" },
   };
   Names before = names();
   for ( const Case& c : cases ) {
      std::string error = errorOf(
            [ & ] { OutputDirectory out( c.directory, c.ports, { path( "link.pcap" ) } ); } );
      EXPECT_NE( error.find( c.error ), error.npos ) << error;
      EXPECT_EQ( names(), before );
   }
}

} // namespace
