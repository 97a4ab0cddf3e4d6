// The executable as a user runs it: exit codes, lines on standard error, files written.

#include <algorithm>
#include <sstream>

#include "Agent/Packets/CaptureReader.h"
#include "Tests/Agent/AgentBed.h"

namespace {

namespace fs = std::filesystem;

class RunTest : public AgentBed {
 protected:
   static uint64_t frames( const fs::path& path ) {
      return Agent::validateCapture( path.string() ).frames;
   }

   const std::string hostB = KARVEL_SOURCE_DIR "/Examples/captures/host-b.pcap";
};

TEST_F( RunTest, MirrorsTheExamplesTraffic ) {
   const Result result = agent( "run " + example + " --in Ethernet0=" + hostA +
         " --in Ethernet4=" + hostB + " --out out --json --show sessions,counters" );
   EXPECT_EQ( result.code, 0 ) << result.err;
   EXPECT_EQ( frames( folder.path( "out/Ethernet16.mirror.pcap" ) ), frames( hostA ) );
   EXPECT_NE( result.out.find( "\"state\": \"active\"" ), std::string::npos );
   EXPECT_FALSE( fs::exists( folder.path( "out/Ethernet28.pcap" ) ) ) << "it sent nothing";
   // What came in at Ethernet0 leaves Ethernet16 byte for byte.
   Agent::CaptureReader in( hostA );
   Agent::CaptureReader copies( folder.path( "out/Ethernet16.mirror.pcap" ) );
   Agent::CaptureFrame sent;
   Agent::CaptureFrame copy;
   while ( in.next( sent ) ) {
      ASSERT_TRUE( copies.next( copy ) );
      EXPECT_EQ( std::string( reinterpret_cast< const char* >( sent.data ), sent.length ),
            std::string( reinterpret_cast< const char* >( copy.data ), copy.length ) );
      EXPECT_EQ( sent.timeNs, copy.timeNs );
   }
}

TEST_F( RunTest, ScriptRunsInOrderAndStopsAtTheStepThatFails ) {
   const std::string session =
         R"({"type": "SPAN", "direction": "RX", "src_port": "Ethernet4", )"
         R"("dst_port": "Ethernet28"})";
   folder.write( "good",
         "set PORT|Ethernet28 {}\nset MIRROR_SESSION|extra " + session + "\nin Ethernet4 " +
               hostB +
               "\nwait 1.5\nshow sessions\nshow store mirroring\ndel MIRROR_SESSION|extra\n" );
   Result result = agent( "run " + example + " --script good --out out --show status" );
   EXPECT_EQ( result.code, 0 ) << result.err;
   EXPECT_EQ( frames( folder.path( "out/Ethernet28.mirror.pcap" ) ), frames( hostB ) );
   EXPECT_NE( result.out.find( "extra" ), std::string::npos );
   EXPECT_NE( result.out.find( "session[extra].greTunnelKey" ), std::string::npos );
   folder.write( "down", "set MIRROR_SESSION|extra " + session + "\n" );
   EXPECT_NE( agent( "run " + example + " --script down" ).out.find( "Ethernet28 is down" ),
         std::string::npos );

   folder.write(
         "bad", "show sessions\nin Ethernet4 " + hostB + "\ndel MIRROR_SESSION|nobody\n" );
   result = agent( "run " + example + " --script bad --out none" );
   EXPECT_EQ( result.code, 1 );
   EXPECT_EQ( result.err.substr( 0, 6 ), "bad:3:" ) << result.err;
   EXPECT_FALSE( fs::exists( folder.path( "none" ) ) );
}

TEST_F( RunTest, BadInputIsOneLineAndExitCodeOne ) {
   folder.write( "broken.json", "{ \"PORT\": " );
   folder.write( "loop.json",
         R"({ "PORT": { "Ethernet0": {} }, "MIRROR_SESSION": { "m": { "type": "SPAN",
         "src_port": "Ethernet0", "dst_port": "Ethernet0" } } })" );
   folder.write(
         "text.pcap", "not a capture at all, but some text of more than twenty-four bytes" );
   folder.write( "script", "jump high\n" );
   folder.write( "KarvelLib.json", "{}" );
   for ( const std::string& arguments : { std::string( "run absent.json" ),
               std::string( "run broken.json" ), std::string( "check loop.json" ),
               "run " + example + " --in Ethernet0=text.pcap --out out",
               "run " + example + " --in Ethernet99=" + hostA,
               "run " + example + " --script script", "run " + example + " --script absent",
               "run " + example + " --out absent/out",
               "run " + example + " --plugin text.pcap" } ) {
      const Result result = agent( arguments );
      EXPECT_EQ( result.code, 1 ) << arguments;
      EXPECT_EQ( result.errLines(), 1 ) << arguments << "\n" << result.err;
      EXPECT_FALSE( fs::exists( folder.path( "out" ) ) ) << arguments;
   }
}

TEST_F( RunTest, TimeDoesNotGoBackWhenACaptureIsReplayedAgain ) {
   folder.write( "twice", "in Ethernet0 " + hostA + "\nwait 60\nin Ethernet0 " + hostA + "\n" );
   const Result result = agent( "run " + example + " --script twice --out out" );
   ASSERT_EQ( result.code, 0 ) << result.err;
   std::vector< uint64_t > times;
   Agent::CaptureReader copies( folder.path( "out/Ethernet16.mirror.pcap" ) );
   for ( Agent::CaptureFrame frame; copies.next( frame ); ) {
      times.push_back( frame.timeNs );
   }
   const size_t frames = times.size() / 2;
   ASSERT_GT( frames, 0U );
   EXPECT_TRUE( std::ranges::is_sorted( times ) );
   EXPECT_EQ( times.at( frames ) - times.at( frames - 1 ), 60'000'000'000U );
   EXPECT_EQ( times.back() - times.at( frames ), times.at( frames - 1 ) - times.front() );
}

// The plug-in is a shared object of its own: what it writes has to carry its names all the same.
TEST_F( RunTest, TablesNameTheirWriters ) {
   const Result result = agent( "run " KARVEL_SOURCE_DIR "/Examples/tunnel-mirroring.json"
                                " --chip tomahawk4 --show tables --json" );
   EXPECT_EQ( result.code, 0 ) << result.err;
   for ( const char* writer : { "SliceConfigSm", "BcmPtHelper", "MirrorTargets" } ) {
      EXPECT_NE( result.out.find( writer ), std::string::npos ) << writer;
   }
   EXPECT_EQ( result.out.find( "\"writer\": \"agent\"" ), std::string::npos );
}

TEST_F( RunTest, WrongUseIsExitCodeTwo ) {
   for ( const char* arguments : { "", "fly", "run", "run x.json --show nothing",
               "run x.json --in Ethernet0", "run x.json --chip potato", "run x.json --trace /9",
               "chips --fast", "serve", "ctl --fast help", "run a b", "run x.json --out",
               "run x.json --out a --out b", "run x.json --json=1", "help nothing",
               "explain x.json --in Ethernet0=a --packet 0" } ) {
      const Result result = agent( arguments );
      EXPECT_EQ( result.code, 2 ) << arguments;
      EXPECT_EQ( result.errLines(), 1 ) << arguments << "\n" << result.err;
   }
   for ( const char* arguments :
         { "--help", "run --help", "help ctl", "help --man", "chips --json", "--version" } ) {
      const Result result = agent( arguments );
      EXPECT_EQ( result.code, 0 ) << arguments;
      EXPECT_EQ( result.err, "" );
   }
}

TEST_F( RunTest, TheShellCompletesFromTheSameTable ) {
   folder.write( "ask", R"(source <( "$1" help --bash )
         compopt() { :; }
         for words in "" "run --sc" "run x --show sessions,co" "run x --in E0 = stdo" "ctl sh"; do
            IFS=' ' read -ra COMP_WORDS <<< "karvel-agent $words"
            [[ $words ]] || COMP_WORDS+=( "" )
            COMP_CWORD=$(( ${#COMP_WORDS[@]} - 1 ))
            _karvel_agent; echo "${COMPREPLY[*]}"
         done)" );
   std::system( ( "cd '" + folder.path() + "' && bash ask " KARVEL_AGENT " >stdout" ).c_str() );
   EXPECT_EQ( contentOf( folder.path( "stdout" ) ),
         "run explain serve ctl check chips wiring help --help --version\n"
         "--script\nsessions,counters\nstdout\nshow\n" );
}

TEST_F( RunTest, PipesAreReadAndLeaveNothingWhenTheyAreInterrupted ) {
   const std::string run = KARVEL_AGENT " run " + example + " --in Ethernet0=";
   auto shell = [ & ]( const std::string& command ) {
      return std::system(
            ( "cd '" + folder.path() + "' && bash -c \"" + command + "\"" ).c_str() );
   };
   EXPECT_EQ( shell( "gzip -c " + hostA + " | " + run + "- --out out >stdout" ), 0 );
   EXPECT_EQ( frames( folder.path( "out/Ethernet16.mirror.pcap" ) ), frames( hostA ) );
   // The writer of the pipe neither writes on nor goes away.
   EXPECT_EQ( WEXITSTATUS( shell( "mkfifo pipe; ( cat " + hostA +
                    "; exec sleep 4 ) >pipe & timeout 2 " + run + "pipe --out none 2>err" ) ),
         124 );
   EXPECT_EQ( contentOf( folder.path( "err" ) ), "" );
   EXPECT_FALSE( fs::exists( folder.path( "none" ) ) );
   // A reader that goes away is nobody's fault.
   EXPECT_EQ( shell( run + hostA +
                    " --show tables,tables,tables,tables,tables --out out 2>err"
                    " | true" ),
         0 );
   EXPECT_EQ( contentOf( folder.path( "err" ) ), "" );
}

TEST_F( RunTest, StrictFailsOnWhatCannotBeServed ) {
   const std::string noHelpers = "run " + example + " --chip helix4";
   EXPECT_EQ( agent( noHelpers ).code, 0 );
   EXPECT_EQ( agent( noHelpers + " --strict" ).code, 1 );
}

TEST_F( RunTest, PlotsWhatLimitedSessionsPassedAndNothingElse ) {
   const std::string config = KARVEL_SOURCE_DIR "/Examples/tunnel-mirroring.json";
   const std::string download = KARVEL_SOURCE_DIR "/Examples/captures/download.pcap";
   const Result limited =
         agent( "run " + config + " --in Ethernet4=" + download + " --out out --show rates" );
   EXPECT_EQ( limited.code, 0 ) << limited.err;
   EXPECT_EQ( std::count( limited.out.begin(), limited.out.end(), '\n' ), 11 );
   const std::string plot = contentOf( folder.path( "out/limited.rate.svg" ) );
   EXPECT_TRUE( plot.starts_with( "<svg " ) && plot.ends_with( "</svg>\n" ) );
   EXPECT_NE( plot.find( "300 kbit/s" ), std::string::npos );
   EXPECT_FALSE( fs::exists( folder.path( "out/keyed.rate.svg" ) ) );
   // Of another run, without its traffic.
   EXPECT_EQ( agent( "run " + config + " --in Ethernet0=" + hostA + " --out out" ).code, 0 );
   EXPECT_FALSE( fs::exists( folder.path( "out/limited.rate.svg" ) ) );
}

TEST_F( RunTest, ExplainsEveryFrameOrOne ) {
   const std::string filtered = KARVEL_SOURCE_DIR "/Examples/filtered-mirroring.json";
   const std::string in = " --in Ethernet0=" + hostA;
   const Result all = agent( "explain " + filtered + in );
   EXPECT_EQ( all.code, 0 ) << all.err;
   uint64_t frameLines = 0;
   uint64_t copies = 0;
   std::istringstream lines( all.out );
   for ( std::string line; std::getline( lines, line ); ) {
      frameLines += line.starts_with( "frame " );
      copies += line.starts_with( "   mirrored   copied" );
   }
   EXPECT_EQ( frameLines, frames( hostA ) );
   // What is explained as mirrored is what run writes.
   EXPECT_EQ( agent( "run " + filtered + in + " --out out" ).code, 0 );
   uint64_t written = 0;
   for ( const auto& entry : fs::directory_iterator( folder.path( "out" ) ) ) {
      if ( entry.path().string().ends_with( ".mirror.pcap" ) ) {
         written += frames( entry.path() );
      }
   }
   EXPECT_GT( copies, 0U );
   EXPECT_EQ( copies, written );

   const Result one = agent( "explain " + filtered + in + " --packet 30" );
   EXPECT_TRUE( one.out.starts_with( "frame 30 " ) ) << one.out;
   EXPECT_NE( one.out.find( "'web WEB|to-server'" ), std::string::npos );
   EXPECT_NE( one.out.find(
                    "'web WEB|no-syn' (priority 1000000000): no: needs TCP flags 0x2/0x12;" ),
         std::string::npos );
   const Result json = agent( "explain " + filtered + in + " --packet 30 --json" );
   EXPECT_NE( json.out.find( "\"result\": \"matched\"" ), std::string::npos ) << json.out;
   const Result none = agent( "explain " + filtered + in + " --packet 100000" );
   EXPECT_EQ( none.code, 1 );
   EXPECT_EQ( none.errLines(), 1 ) << none.err;
   EXPECT_EQ( agent( "explain " + filtered ).code, 2 );
}

// KARVEL_CAPTURES names a folder of captures of any kind.
TEST_F( RunTest, EveryCaptureIsReplayedOrRefusedWithOneLine ) {
   const char* captures = std::getenv( "KARVEL_CAPTURES" );
   if ( !captures ) {
      GTEST_SKIP() << "KARVEL_CAPTURES is not set";
   }
   int replayed = 0;
   for ( const auto& entry : fs::directory_iterator( captures ) ) {
      const std::string path = entry.path().string();
      const Result result =
            agent( "run " + example + " --in 'Ethernet0=" + path + "' --out out" );
      if ( result.code == 0 ) {
         ++replayed;
         // Frames that the capture has cut short are told of.
         EXPECT_EQ( result.errLines(), result.err.starts_with( "warning: " ) ) << result.err;
         if ( frames( path ) > 0 ) {
            EXPECT_EQ( frames( folder.path( "out/Ethernet16.mirror.pcap" ) ), frames( path ) );
         }
         const Result explained =
               agent( "explain " + example + " --in 'Ethernet0=" + path + "'" );
         EXPECT_EQ( explained.code, 0 ) << path << explained.err;
      } else {
         EXPECT_EQ( result.code, 1 ) << path;
         EXPECT_EQ( result.errLines(), 1 ) << result.err;
         EXPECT_NE( result.err.find( path ), std::string::npos ) << result.err;
      }
   }
   EXPECT_GT( replayed, 0 );
}

} // namespace
