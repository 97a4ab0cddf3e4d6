#pragma once

// Where a live agent is reached: a Unix stream socket that only its user may open.

#include <string>
#include <utility>

#include <sys/types.h>

namespace Agent {

// A file descriptor that is closed with its object; -1: none.
class Descriptor {
 public:
   Descriptor() = default;
   explicit Descriptor( int number ) : number_( number ) {}
   ~Descriptor() { close(); }
   Descriptor( Descriptor&& other ) noexcept : number_( std::exchange( other.number_, -1 ) ) {}
   Descriptor& operator=( Descriptor&& other ) noexcept;

   int number() const { return number_; }
   explicit operator bool() const { return number_ >= 0; }
   void close();

 private:
   int number_ = -1;
};

// $XDG_RUNTIME_DIR/karvel-agent.sock or, where that is no folder of the user's own,
// /tmp/karvel-agent-UID/karvel-agent.sock. The latter folder is made; std::runtime_error, in one
// line, if others could write there.
std::string defaultSocketPath();

// A blocking connection to the agent that serves there. std::runtime_error, in one line, if
// there is none, or if it is another user's (who is not root).
Descriptor connectTo( const std::string& path );

class ListeningSocket {
 public:
   // Takes the path, mode 0600, also from an agent that has died there. std::runtime_error, in
   // one line, if an agent lives there, or if no socket can stand there.
   explicit ListeningSocket( const std::string& path );
   // Removes the socket, unless it is another's by now.
   ~ListeningSocket() { close(); }
   ListeningSocket( const ListeningSocket& ) = delete;
   ListeningSocket& operator=( const ListeningSocket& ) = delete;

   const std::string& path() const { return path_; }
   int descriptor() const { return socket_.number(); }
   // The next client, not blocking; none if no client waits. errno says why.
   Descriptor accept();
   // From here on no client finds the agent any more.
   void close();

 private:
   void takePath();

   const std::string path_;
   Descriptor socket_;
   dev_t device_ = 0; // of the socket's file
   ino_t inode_ = 0;
};

} // namespace Agent
