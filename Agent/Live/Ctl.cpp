#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>

#include <sys/socket.h>
#include <unistd.h>

#include "Agent/Commands/Script.h"
#include "Agent/Commands/Startup.h"
#include "Agent/Live/Live.h"
#include "Agent/Live/Prompt.h"
#include "Agent/Live/Protocol.h"
#include "Agent/Live/Socket.h"

namespace Agent {

namespace {

// The agent as a client sees it that may wait for its answers.
class AgentClient {
 public:
   explicit AgentClient( const std::string& path )
         : path_( path ), socket_( connectTo( path ) ) {}

   void send( const std::string& command ) {
      const std::string line = command + "\n";
      for ( size_t sent = 0; sent < line.size(); ) {
         const ssize_t count =
               ::send( socket_.number(), line.data() + sent, line.size() - sent, MSG_NOSIGNAL );
         if ( count < 0 && errno != EINTR ) {
            return; // it may have said why before it hung up
         }
         sent += count > 0 ? static_cast< size_t >( count ) : 0;
      }
   }
   // The next line, without its end.
   std::string receive() {
      size_t looked = 0;
      for ( ;; ) {
         const size_t end = input_.find( '\n', looked );
         if ( end != std::string::npos ) {
            std::string line = input_.substr( 0, end );
            input_.erase( 0, end + 1 );
            return line;
         }
         looked = input_.size();
         std::array< char, 65536 > chunk;
         const ssize_t count = ::recv( socket_.number(), chunk.data(), chunk.size(), 0 );
         if ( count == 0 || ( count < 0 && errno != EINTR ) ) {
            throw std::runtime_error( path_ + ": the agent has gone away" );
         }
         input_.append(
               chunk.data(), static_cast< size_t >( std::max< ssize_t >( count, 0 ) ) );
      }
   }

 private:
   const std::string path_;
   Descriptor socket_;
   std::string input_;
};

// The agent reads captures itself, and stands in a folder of its own. ScriptError if the path
// cannot be said to it.
std::string withAbsolutePath( const std::string& line ) {
   std::optional< StepAction > action;
   try {
      action = parseStep( line, Steps::live );
   } catch ( const ScriptError& ) {
      return line; // the agent says so, with what it understands
   }
   const InStep* in = action ? std::get_if< InStep >( &*action ) : nullptr;
   if ( !in || std::filesystem::path( in->file ).is_absolute() ) {
      return line;
   }
   if ( in->file == "-" ) {
      throw ScriptError( "in " + in->port +
            " -: a live agent does not have this standard input; allowed: a file" );
   }
   const std::string path = ( std::filesystem::current_path() / in->file ).string();
   if ( path.find( '\n' ) != std::string::npos ) {
      throw ScriptError( "the name of this folder has several lines; allowed: one" );
   }
   return "in " + in->port + " " + path;
}

class Ctl {
 public:
   explicit Ctl( const Command& command )
         : command_( command ), style_( outputStyle() ),
           agent_( command.socket.empty() ? defaultSocketPath() : command.socket ) {}

   // False if it could not be done.
   bool run( std::string line ) {
      std::replace( line.begin(), line.end(), '\n', ' ' ); // of JSON on several lines
      try {
         agent_.send( withAbsolutePath( line ) );
      } catch ( const ScriptError& error ) {
         std::cerr << error.what() << "\n";
         return false;
      }
      const bool done = print( reply() );
      std::optional< StepAction > action;
      if ( done && ( action = parseStep( line, Steps::live ) ) &&
            std::holds_alternative< WatchStep >( *action ) ) {
         follow();
      }
      return done;
   }
   bool runScript() {
      for ( std::string line; std::getline( std::cin, line ); ) {
         if ( !run( line ) ) {
            return false;
         }
      }
      return true;
   }
   void runPrompt() {
      Prompt prompt( "karvel> " );
      while ( const std::optional< std::string > line = prompt.next() ) {
         if ( *line == "exit" || *line == "quit" ) {
            return;
         }
         run( *line );
      }
      std::cout << std::endl;
   }

 private:
   Message reply() {
      for ( ;; ) {
         Message message = decoded( agent_.receive() );
         if ( message.kind == Message::Kind::reply ) {
            return message;
         }
         flush( message.text + "\n" );
      }
   }
   bool print( const Message& reply ) {
      for ( const std::string& warning : reply.warnings ) {
         sayWarning( warning );
      }
      for ( const std::string& error : reply.errors ) {
         std::cerr << error << "\n";
      }
      flush( command_.format == Format::json ? reply.reports + "\n"
                                             : withStyle( reply.text, style_ ) );
      return reply.errors.empty();
   }
   // Until the agent stops.
   void follow() {
      for ( ;; ) {
         const std::string line = agent_.receive();
         const Message message = decoded( line );
         flush( ( command_.format == Format::json ? line : message.text ) + "\n" );
         if ( message.eventKind == "stop" ) {
            return;
         }
      }
   }
   static void flush( const std::string& text ) {
      std::cout << text;
      flushOutput();
   }

   const Command& command_;
   const Style style_;
   AgentClient agent_;
};

} // namespace

int ctlCommand( const Command& command ) {
   return guarded( [ & ] {
      Ctl ctl( command );
      if ( !command.words.empty() ) {
         return ctl.run( command.words ) ? 0 : 1;
      }
      if ( !isatty( STDIN_FILENO ) ) {
         return ctl.runScript() ? 0 : 1;
      }
      ctl.runPrompt();
      return 0;
   } );
}

} // namespace Agent
