#include "Agent/Live/Connection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <poll.h>
#include <sys/socket.h>

#include "Agent/Live/Protocol.h"
#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

constexpr size_t mostEventBytes = size_t( 1 ) << 20; // that a watcher may leave unread

bool wouldBlock() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

} // namespace

short Connection::events() const {
   const bool reads = !ended_ && lineEnd_ == none && ( output_.empty() || watches_ );
   return static_cast< short >( ( reads ? POLLIN : 0 ) | ( output_.empty() ? 0 : POLLOUT ) );
}

void Connection::ready( short found ) {
   if ( found & POLLIN ) {
      receive();
   }
   if ( found & POLLOUT ) {
      transmit();
   }
   // The other side has closed both ways. A command that has come whole is still run.
   if ( ( found & ( POLLHUP | POLLERR ) ) && !( found & POLLIN ) ) {
      ended_ = true;
      watches_ = false;
      broken_ = broken_ || !output_.empty();
   }
}

void Connection::receive() {
   std::array< char, 16384 > chunk;
   const ssize_t count = ::recv( descriptor(), chunk.data(), chunk.size(), 0 );
   if ( count > 0 ) {
      input_.append( chunk.data(), static_cast< size_t >( count ) );
      findLine();
   } else if ( count == 0 ) {
      ended_ = true; // a line without an end may be the beginning of a longer one: not run
   } else if ( !wouldBlock() ) {
      ended_ = broken_ = true;
   }
}

void Connection::findLine() {
   lineEnd_ = input_.find( '\n' );
   if ( std::min( lineEnd_, input_.size() ) > longestCommand ) {
      tooLong_ = true;
      ended_ = true;
      input_.clear();
      lineEnd_ = none;
   }
}

std::string Connection::takeCommand() {
   ZOL_ASSERT( hasCommand() );
   std::string line = input_.substr( 0, lineEnd_ );
   input_.erase( 0, lineEnd_ + 1 );
   findLine();
   return line;
}

bool Connection::takeTooLong() { return std::exchange( tooLong_, false ); }

void Connection::send( std::string line ) {
   if ( output_.empty() ) {
      output_ = std::move( line );
      sent_ = 0;
   } else {
      output_ += line;
   }
   transmit();
}

void Connection::tell( const std::string& line ) {
   if ( output_.size() - sent_ + line.size() > mostEventBytes ) {
      broken_ = true;
      return;
   }
   output_.erase( 0, std::exchange( sent_, 0 ) );
   send( line );
}

void Connection::transmit() {
   while ( !broken_ && sent_ < output_.size() ) {
      const ssize_t count = ::send( descriptor(), output_.data() + sent_,
            output_.size() - sent_, MSG_NOSIGNAL | MSG_DONTWAIT );
      if ( count < 0 ) {
         broken_ = !wouldBlock();
         return;
      }
      sent_ += static_cast< size_t >( count );
   }
   std::string().swap( output_ ); // a large reply gives its memory back
   sent_ = 0;
}

void Connection::closeWhenSent() {
   ended_ = true;
   watches_ = false;
   input_.clear();
   lineEnd_ = none;
}

bool Connection::isGone() const {
   return broken_ ||
         ( ended_ && lineEnd_ == none && output_.empty() && !watches_ && !tooLong_ );
}

} // namespace Agent
