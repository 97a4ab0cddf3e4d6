// A live agent under its clients, good and bad, its configuration's changes, and its end.

#include <map>
#include <set>
#include <sys/stat.h>

#include "Agent/Live/Connection.h"
#include "Agent/Live/LiveAgent.h"
#include "Agent/Packets/CaptureReader.h"
#include "ChipModel/LeftIn.h"
#include "Tests/Agent/LiveBed.h"

namespace Live {

namespace {

// The entries of the chips, by name.
std::map< std::string, int > entriesOf( Client& client ) {
   std::map< std::string, int > entries;
   const Json reports = client.done( "show tcam" );
   for ( const Json& entry : reports.at( "tcam" ) ) {
      entries[ entry[ "name" ] ] = entry[ "entry" ];
   }
   return entries;
}

TEST_F( LiveTest, ReloadsByDifferenceAndOnlyWhatIsRight ) {
   auto agent = serve();
   Client client( socket );
   const auto before = entriesOf( client );
   ASSERT_EQ( before.size(), 3U );
   client.done( "set PORT|Ethernet28 {}" );
   client.done( "set MIRROR_SESSION|extra " + session( "Ethernet4", "Ethernet28" ) );
   EXPECT_EQ( entriesOf( client ).size(), 4U );

   // The file takes the place of what was set, and what it does not change stays.
   edit( R"("src_port": "Ethernet0")", R"("src_port": "Ethernet4")" );
   agent->signal( SIGHUP );
   ASSERT_TRUE( agent->says( "the configuration is loaded again" ) );
   const auto after = entriesOf( client );
   EXPECT_EQ( after.size(), 3U );
   for ( const char* name : { "mirror0-egress-1.0", "mirror2-egress-1.0" } ) {
      EXPECT_EQ( after.at( name ), before.at( name ) ) << name;
   }
   EXPECT_EQ(
         client.done( "show sessions" )[ "sessions" ][ 1 ][ "sources" ][ 0 ], "Ethernet4" );

   const std::string good = contentOf( config );
   edit( R"("PORT": {)", R"("CHIP": { "0": { "ingress_entries": "7" } }, "PORT": {)" );
   EXPECT_NE( client.error( "reload" ).find( "the chips are fixed" ), std::string::npos );
   std::ofstream( config ) << "{ \"PORT\": ";
   EXPECT_NE( client.error( "reload" ).find( "config.json:1" ), std::string::npos );
   fs::remove( config );
   agent->signal( SIGHUP );
   EXPECT_TRUE( agent->says( "No such file" ) );
   EXPECT_EQ( entriesOf( client ), after );
   std::ofstream( config ) << good;
   client.done( "reload" );
   EXPECT_EQ( entriesOf( client ), after );
}

TEST_F( LiveTest, ReloadingWhatIsThereAlreadyMakesNoSdkCall ) {
   // Chips with entries, with requests, and with requests and inserted headers.
   for ( const char* chip : { "trident3", "tomahawk3", "tomahawk4" } ) {
      for ( const char* name : { "port", "filtered", "tunnel" } ) {
         SCOPED_TRACE( std::string( name ) + " on " + chip );
         Agent::Runtime runtime( { KARVEL_PLUGIN, chip } );
         const std::string path =
               KARVEL_SOURCE_DIR "/Examples/" + std::string( name ) + "-mirroring.json";
         ASSERT_TRUE( runtime.start( path ).errors.empty() );
         const uint64_t calls = runtime.chips().control().gate().calls();
         EXPECT_TRUE( runtime.reload().errors.empty() );
         runtime.advance( 60 );
         EXPECT_EQ( runtime.chips().control().gate().calls(), calls );
         runtime.withdraw();
         EXPECT_EQ( ChipModel::leftIn( runtime.chips().control().state( 0 ) ),
               std::vector< std::string >() );
      }
   }
}

TEST_F( LiveTest, StrictRefusesToReloadWhatWouldNotBeServed ) {
   auto agent = serve( { "--strict" } );
   Client client( socket );
   client.done( "reload" );
   edit( R"("MIRROR_SESSION": {)", R"("MIRROR_SESSION": { "fed": { "type": "ERSPAN",
         "src_ip": "192.0.2.1", "dst_ip": "198.51.100.1" },)" );
   EXPECT_NE( client.error( "reload" ).find( "fed by ACL rules only" ), std::string::npos );
   EXPECT_EQ( client.done( "show sessions" )[ "sessions" ].size(), 3U );
}

TEST_F( LiveTest, BadClientsHarmNobody ) {
   auto agent = serve();
   Client good( socket );
   EXPECT_NE( good.error( std::string( "\xff\0 garbage", 10 ) ).find( "not a step" ),
         std::string::npos );
   Client silent( socket );
   Client deaf( socket );
   EXPECT_GT( deaf.stuff( "show tables,tcam,counters\n" ), 1000U );
   {
      Client leaving( socket );
      leaving.done( "show sessions" );
      leaving.write( "show tcam\nshow tcam\ndel MIRROR_SESSION|ingress" ); // no end of line
   }
   Client endless( socket );
   while ( endless.write( std::string( 100'000, 'x' ) ) ) {
   }
   const Json tooLong = endless.next();
   EXPECT_EQ( tooLong[ "errors" ][ 0 ], "the line is too long; allowed: up to 65536 bytes" );
   EXPECT_TRUE( endless.next().is_null() );
   Client large( socket ); // its end has come as well
   large.write( std::string( 65'537, '#' ) + "\n" );
   EXPECT_FALSE( large.next()[ "ok" ] );
   EXPECT_TRUE( good.ask( std::string( 65'536, '#' ) )[ "ok" ] );
   EXPECT_EQ( good.done( "show sessions" )[ "sessions" ].size(), 3U );
   // What was sent whole before a client ended its side is answered.
   Client half( socket );
   half.write( "show sessions\n\n# nothing\nshow log\ndel MIRROR_SESS" );
   half.endWriting();
   for ( int i = 0; i < 4; ++i ) {
      EXPECT_TRUE( half.next()[ "ok" ] ) << i;
   }
   EXPECT_TRUE( half.next().is_null() );
   {
      std::vector< std::unique_ptr< Client > > crowd;
      for ( int i = 0; i < 130; ++i ) {
         crowd.push_back( std::make_unique< Client >( socket ) );
      }
      EXPECT_FALSE( crowd.back()->next()[ "ok" ] );
      good.done( "show sessions" );
   }
   // When the crowd has gone there is room again.
   EXPECT_TRUE( becomesTrue( [ & ] {
      Client late( socket );
      return late.write( "help\n" ) && late.next().value( "ok", false );
   } ) );
   agent->signal( SIGTERM );
   EXPECT_EQ( agent->wait(), 0 ) << agent->err();
}

TEST_F( LiveTest, ClientsTakeTurns ) {
   auto agent = serve();
   Client watcher( socket );
   watcher.done( "watch" );
   std::vector< std::unique_ptr< Client > > clients;
   for ( int i = 0; i < 7; ++i ) {
      clients.push_back( std::make_unique< Client >( socket ) );
      clients.back()->done( "help" );
   }
   agent->signal( SIGSTOP ); // until all have asked
   for ( int i = 0; i < 7; ++i ) {
      const std::string port = "port Ethernet" + std::to_string( 4 * i );
      std::string lines;
      for ( int n = 0; n < 10; ++n ) {
         lines += port + " down\n" + port + " up\n";
      }
      clients[ static_cast< size_t >( i ) ]->write( lines );
   }
   agent->signal( SIGCONT );
   std::vector< std::string > order;
   while ( order.size() < 140 ) {
      const Json event = watcher.next();
      if ( event[ "event" ] == "link" ) {
         order.push_back( event[ "port" ] );
      }
   }
   for ( size_t round = 0; round < 140; round += 7 ) {
      const auto first = order.begin() + static_cast< ptrdiff_t >( round );
      EXPECT_EQ( std::set< std::string >( first, first + 7 ).size(), 7U ) << round;
   }
}

TEST_F( LiveTest, AWatcherThatDoesNotReadIsDropped ) {
   int pair[ 2 ];
   ASSERT_EQ( ::socketpair( AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, pair ), 0 );
   Agent::Connection watcher{ Agent::Descriptor( pair[ 0 ] ) };
   const Agent::Descriptor other( pair[ 1 ] );
   watcher.watchIs( true );
   const std::string line( 1023, 'e' );
   size_t told = 0;
   for ( ; told < 10'000 && !watcher.isGone(); ++told ) {
      watcher.tell( line + "\n" );
   }
   EXPECT_GT( told, 1024U ) << "a burst is no reason";
   EXPECT_TRUE( watcher.isGone() );
   // What it finds is whole up to where it was dropped.
   std::string found;
   char chunk[ 65536 ];
   for ( ssize_t count; ( count = ::recv( other.number(), chunk, sizeof chunk, 0 ) ) > 0; ) {
      found.append( chunk, static_cast< size_t >( count ) );
   }
   for ( size_t at = 0; at + 1024 <= found.size(); at += 1024 ) {
      ASSERT_EQ( found[ at + 1023 ], '\n' );
   }
}

TEST_F( LiveTest, WatchersSeeWhatHappens ) {
   auto agent = serve();
   Client watcher( socket );
   watcher.done( "watch" );
   Client client( socket );
   client.done( "set PORT|Ethernet28 {}" );
   EXPECT_EQ( watcher.next()[ "text" ], "link Ethernet28: up" );
   client.done( "fail bcm_field_entry_create 1" );
   const Json reply =
         client.ask( "set MIRROR_SESSION|extra " + session( "Ethernet4", "Ethernet28" ) );
   EXPECT_EQ( reply[ "warnings" ].size(), 1U ) << reply;
   Json event;
   do {
      event = watcher.next();
   } while ( event[ "event" ] == "log" );
   EXPECT_EQ( event[ "name" ], "extra" );
   EXPECT_EQ( event[ "from" ], "absent" );
   EXPECT_EQ( event[ "to" ], "failed" );
   EXPECT_NE( event[ "reason" ], "" );
   // Who watches may also ask; a wait shows what each clock has done.
   EXPECT_TRUE( watcher.write( "wait 60\n" ) );
   do {
      event = watcher.next();
      ASSERT_TRUE( event.contains( "event" ) ) << event;
   } while ( event[ "event" ] == "log" );
   EXPECT_EQ( event[ "to" ], "active" );
   EXPECT_TRUE( watcher.next()[ "ok" ] );
   EXPECT_NE( client.error( "wait 86401" ).find( "86400" ), std::string::npos );
   client.done( "stop" );
   EXPECT_EQ( watcher.next()[ "event" ], "stop" );
   EXPECT_TRUE( watcher.next().is_null() );
   EXPECT_EQ( agent->wait(), 0 );
}

TEST_F( LiveTest, InRealTimeTheLoopWakesForWhatIsDue ) {
   auto agent = serve( { "--real-time" } );
   Client client( socket );
   EXPECT_NE( client.error( "wait 1" ).find( "time passes by itself" ), std::string::npos );
   client.done( "fail bcm_field_entry_create 1" );
   client.done( "set PORT|Ethernet28 {}" );
   client.done( "set MIRROR_SESSION|extra " + session( "Ethernet4", "Ethernet28" ) );
   EXPECT_EQ( client.done( "show sessions" )[ "sessions" ][ 1 ][ "state" ], "failed" );
   client.done( "watch" ); // nothing is asked any more: the agent has to wake by itself
   Json event;
   do {
      event = client.next();
   } while ( event.is_object() && event[ "event" ] != "session" );
   EXPECT_EQ( event[ "to" ], "active" ) << event;
}

TEST_F( LiveTest, CtlSpeaksForPeopleAndPrograms ) {
   EXPECT_EQ( ctl( "show sessions" ).code, 1 ) << "nobody serves";
   auto agent = serve( { "--out", "out", "--trace", "SliceCliCallback/4" } );
   EXPECT_EQ( ctl( "show sessions" ).out.substr( 0, 12 ), "== sessions\n" );
   EXPECT_EQ( Json::parse( ctl( "show sessions --json" ).out )[ "sessions" ].size(), 3U );
   Result result = ctl( "show nothing" );
   EXPECT_EQ( result.code, 1 );
   EXPECT_EQ( std::count( result.err.begin(), result.err.end(), '\n' ), 1 ) << result.err;
   EXPECT_EQ( ctl( "plugin 0 hello  there" ).code, 0 );
   EXPECT_TRUE( agent->says( "Command:hello there" ) ) << agent->err();
   EXPECT_EQ( ctl( "plugin 7 hello" ).code, 1 );
   EXPECT_EQ( AgentBed::agent( "ctl show sessions --socket " + socket ).code, 0 );
   EXPECT_EQ( ::mkfifo( folder.path( "pipe" ).c_str(), 0600 ), 0 );
   EXPECT_NE(
         ctl( "in Ethernet0 pipe" ).err.find( "is not a regular file" ), std::string::npos );

   // A relative path is the client's. What has left can be read at once, also of new ports.
   fs::copy_file( hostA, folder.path( "a.pcap" ) );
   const uint64_t frames = Agent::validateCapture( hostA ).frames;
   const std::string copies = folder.path( "out/Ethernet16.mirror.pcap" );
   for ( uint64_t times : { 1U, 2U } ) {
      result = ctl( "in Ethernet0 a.pcap" );
      EXPECT_EQ( result.code, 0 ) << result.err;
      EXPECT_EQ( Agent::validateCapture( copies ).frames, times * frames );
   }
   EXPECT_NE( ctl( "in Ethernet0 out/Ethernet4.pcap" ).err.find( "is an input" ),
         std::string::npos );
   folder.write( "script",
         "set PORT|Ethernet40 {\"lanes\": \"41\"}\n# the next has no end of its own\n"
         "set MIRROR_SESSION|extra " +
               session( "Ethernet0", "Ethernet40" ) +
               "\nin Ethernet0 a.pcap\nnonsense\nstop\n" );
   result = ctl( "", "script" );
   EXPECT_EQ( result.code, 1 );
   EXPECT_NE( result.err.find( "\"nonsense\" is not a step" ), std::string::npos );
   EXPECT_EQ(
         Agent::validateCapture( folder.path( "out/Ethernet40.mirror.pcap" ) ).frames, frames );
   result = ctl( "stop" );
   EXPECT_EQ( result.out, "stopped; nothing is left in the chips\n" );
   EXPECT_EQ( agent->wait(), 0 );
   EXPECT_EQ( Agent::validateCapture( copies ).frames, 3 * frames );
}

TEST_F( LiveTest, EndsUnderLoadWithEverythingWithdrawn ) {
   for ( int signal : { SIGTERM, SIGINT } ) {
      auto agent = serve();
      std::vector< std::thread > users;
      std::atomic< int > asked = 0;
      for ( int i = 0; i < 4; ++i ) {
         users.emplace_back( [ & ] {
            Client client( socket );
            while ( client.write( "set MIRROR_SESSION|ingress " +
                          session( "Ethernet4", "Ethernet16" ) + "\nin Ethernet0 " + hostA +
                          "\nreload\n" ) &&
                  client.next().is_object() ) {
               ++asked;
            }
         } );
      }
      EXPECT_TRUE( becomesTrue( [ & ] { return asked > 20; } ) );
      agent->signal( signal );
      EXPECT_EQ( agent->wait(), 0 );
      for ( std::thread& user : users ) {
         user.join();
      }
      EXPECT_NE(
            agent->err().find( "stopped; nothing is left in the chips" ), std::string::npos );
      EXPECT_FALSE( fs::exists( socket ) );
   }
}

TEST_F( LiveTest, SaysWhatIsLeftInTheChips ) {
   auto agent = serve();
   Client client( socket );
   client.done( "fail bcm_field_entry_destroy 1..1000" );
   const Json reply = client.ask( "stop" );
   EXPECT_FALSE( reply[ "ok" ] );
   EXPECT_EQ( reply[ "errors" ].size(), 6U ) << reply; // entries and their groups
   EXPECT_EQ( agent->wait(), 1 );
   EXPECT_NE( agent->err().find( "left behind: chip 0: TCAM entry 1 'mirror0-egress-1.0'" ),
         std::string::npos );
}

TEST_F( LiveTest, StartsOnlyWhereItCanServe ) {
   auto agent = serve();
   struct stat status {};
   ASSERT_EQ( ::stat( socket.c_str(), &status ), 0 );
   EXPECT_EQ( status.st_mode & 0777U, 0600U );
   const std::string notASocket = folder.write( "file", "mine" );
   for ( const auto& path : { socket, notASocket, std::string( 200, 'x' ),
               std::string( "no/s" ), folder.path() } ) {
      Process second( { "serve", config, "--socket", path }, folder.path(), "second" );
      EXPECT_EQ( second.wait(), 1 ) << path;
      const std::string err = second.err();
      EXPECT_EQ( std::count( err.begin(), err.end(), '\n' ), 1 ) << err;
   }
   Client( socket ).done( "show sessions" );
   EXPECT_EQ( contentOf( notASocket ), "mine" );

   agent->signal( SIGKILL );
   agent->wait();
   EXPECT_TRUE( fs::exists( socket ) );
   folder.write( "broken.json", "{" );
   Process broken( { "serve", "broken.json", "--socket", socket }, folder.path(), "broken" );
   EXPECT_EQ( broken.wait(), 1 );
   agent = serve(); // in place of the dead one
   Client( socket ).done( "show sessions" );
   // Another's socket at the path is not removed.
   fs::remove( socket );
   agent->signal( SIGSTOP );
   auto other = serve();
   agent->signal( SIGCONT );
   agent->signal( SIGTERM );
   EXPECT_EQ( agent->wait(), 0 );
   Client( socket ).done( "show sessions" );
}

} // namespace

} // namespace Live
