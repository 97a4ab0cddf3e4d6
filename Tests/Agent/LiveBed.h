#pragma once

// A live agent as its users have it: a process of its own, and clients on its socket.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "Agent/Live/Socket.h"
#include "Tests/Agent/AgentBed.h"

namespace Live {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

// Generous: only a failure waits so long.
constexpr std::chrono::seconds patience( 60 );

inline bool becomesTrue( const std::function< bool() >& condition ) {
   const auto end = std::chrono::steady_clock::now() + patience;
   while ( !condition() ) {
      if ( std::chrono::steady_clock::now() > end ) {
         return false;
      }
      std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
   }
   return true;
}

class Client {
 public:
   explicit Client( const std::string& path ) : socket_( Agent::connectTo( path ) ) {}

   // As much as the agent takes; false if it has hung up.
   bool write( const std::string& text ) {
      size_t sent = 0;
      while ( sent < text.size() ) {
         const ssize_t count =
               ::send( socket_.number(), text.data() + sent, text.size() - sent, MSG_NOSIGNAL );
         if ( count <= 0 ) {
            return false;
         }
         sent += static_cast< size_t >( count );
      }
      return true;
   }
   // Without waiting, until the agent takes no more; how much it took.
   size_t stuff( const std::string& text ) {
      size_t all = 0;
      for ( ssize_t count; ( count = ::send( socket_.number(), text.data(), text.size(),
                                   MSG_NOSIGNAL | MSG_DONTWAIT ) ) > 0; ) {
         all += static_cast< size_t >( count );
      }
      return all;
   }
   // Null at the end of the connection.
   Json next() {
      for ( ;; ) {
         const size_t end = input_.find( '\n' );
         if ( end != std::string::npos ) {
            const Json json = Json::parse( input_.substr( 0, end ), nullptr, false );
            EXPECT_TRUE( json.is_object() ) << input_.substr( 0, end );
            input_.erase( 0, end + 1 );
            return json;
         }
         pollfd polled{ socket_.number(), POLLIN, 0 };
         if ( ::poll( &polled, 1, int( patience.count() ) * 1000 ) != 1 ) {
            ADD_FAILURE() << "no answer";
            return {};
         }
         char chunk[ 65536 ];
         const ssize_t count = ::recv( socket_.number(), chunk, sizeof chunk, 0 );
         if ( count <= 0 ) {
            return {};
         }
         input_.append( chunk, static_cast< size_t >( count ) );
      }
   }
   Json ask( const std::string& command ) {
      EXPECT_TRUE( write( command + "\n" ) );
      return next();
   }
   // For commands that are to be done.
   Json done( const std::string& command ) {
      Json reply = ask( command );
      EXPECT_TRUE( reply.is_object() && reply[ "ok" ] ) << command << ": " << reply;
      return reply.is_object() ? reply[ "reports" ] : Json();
   }
   std::string error( const std::string& command ) {
      const Json reply = ask( command );
      EXPECT_TRUE( reply.is_object() && !reply[ "ok" ] ) << command << ": " << reply;
      return reply.is_object() ? reply[ "errors" ].dump() : "";
   }
   void endWriting() { ::shutdown( socket_.number(), SHUT_WR ); }

 private:
   Agent::Descriptor socket_;
   std::string input_;
};

// Runs the executable; its standard error goes to a file.
class Process {
 public:
   Process( const std::vector< std::string >& arguments, const fs::path& folder,
         const std::string& name = "serve" )
         : err_( folder / ( name + ".err" ) ) {
      std::vector< const char* > argv{ KARVEL_AGENT };
      for ( const std::string& argument : arguments ) {
         argv.push_back( argument.c_str() );
      }
      argv.push_back( nullptr );
      fs::remove( err_ );
      pid_ = fork();
      if ( pid_ == 0 ) {
         const bool ready = ::chdir( folder.c_str() ) == 0 &&
               std::freopen( ( name + ".err" ).c_str(), "w", stderr ) &&
               std::freopen( ( name + ".out" ).c_str(), "w", stdout );
         if ( ready ) {
            ::execv( argv[ 0 ], const_cast< char* const* >( argv.data() ) );
         }
         ::_exit( 127 );
      }
   }
   ~Process() {
      if ( pid_ > 0 ) {
         ::kill( pid_, SIGKILL );
         ::waitpid( pid_, nullptr, 0 );
      }
   }
   Process( const Process& ) = delete;
   Process& operator=( const Process& ) = delete;

   bool says( const std::string& text ) const {
      return becomesTrue( [ & ] { return err().find( text ) != std::string::npos; } );
   }
   std::string err() const { return contentOf( err_ ); }
   void signal( int number ) const { ::kill( pid_, number ); }
   // Its exit code; -1 if it ended otherwise or does not end.
   int wait() {
      int status = 0;
      const bool ended =
            becomesTrue( [ & ] { return ::waitpid( pid_, &status, WNOHANG ) == pid_; } );
      if ( !ended ) {
         return -1;
      }
      pid_ = -1;
      return WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
   }

 private:
   const fs::path err_;
   pid_t pid_ = -1;
};

class LiveTest : public AgentBed {
 protected:
   LiveTest() { fs::copy_file( example, config ); }

   std::vector< std::string > arguments( std::vector< std::string > more = {} ) const {
      std::vector< std::string > all{ "serve", config, "--socket", socket };
      all.insert( all.end(), more.begin(), more.end() );
      return all;
   }
   std::unique_ptr< Process > serve( std::vector< std::string > more = {} ) const {
      auto process =
            std::make_unique< Process >( arguments( std::move( more ) ), folder.path() );
      if ( !process->says( "serving on " + socket ) ) {
         throw std::runtime_error( "it does not start: " + process->err() );
      }
      return process;
   }
   // Replaces a text of the configuration.
   void edit( const std::string& from, const std::string& to ) const {
      std::string text = contentOf( config );
      const size_t at = text.find( from );
      ASSERT_NE( at, std::string::npos ) << from;
      std::ofstream( config ) << text.replace( at, from.size(), to );
   }
   Result ctl( const std::string& words, const std::string& input = "/dev/null" ) const {
      return agent( "ctl --socket " + socket + " " + words + " <" + input );
   }
   static std::string session( const std::string& source, const std::string& destination ) {
      return R"({"type": "SPAN", "direction": "RX", "src_port": ")" + source +
            R"(", "dst_port": ")" + destination + "\"}";
   }

   const std::string config = folder.path( "config.json" );
   const std::string socket = folder.path( "s.sock" );
};

} // namespace Live
