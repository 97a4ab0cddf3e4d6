#pragma once

// One client of a live agent, never waited for: its lines in, replies and events out, both in
// buffers with bounds. Nothing more is read from a client while a command of its waits or a
// reply has not been taken, so one that asks and never reads costs one reply.

#include <string>

#include "Agent/Live/Socket.h"

namespace Agent {

class Connection {
 public:
   // A non-blocking socket.
   explicit Connection( Descriptor socket ) : socket_( std::move( socket ) ) {}

   int descriptor() const { return socket_.number(); }
   // What to poll for, and what to do with what poll() found.
   short events() const;
   void ready( short found );

   // A whole line has come, and the reply to the one before has been taken.
   bool hasCommand() const { return !isGone() && lineEnd_ != none && output_.empty(); }
   std::string takeCommand(); // without its end
   // True once of a line that is too long. The client is to be told, and to be closed.
   bool takeTooLong();

   // Sent as far as the client takes it now, the rest when it takes it.
   void send( std::string line );
   // An event: a watcher that leaves too many of them unread is closed.
   void tell( const std::string& line );
   void watchIs( bool watches ) { watches_ = watches; }
   bool watches() const { return watches_; }

   // Nothing more is read; it goes once everything is sent.
   void closeWhenSent();
   // True when there is nothing more to be done for it.
   bool isGone() const;
   bool hasOutput() const { return !broken_ && !output_.empty(); }

 private:
   static constexpr size_t none = std::string::npos;

   void receive();
   void transmit();
   void findLine();

   Descriptor socket_;
   std::string input_;
   size_t lineEnd_ = none; // of the first line in input_
   std::string output_;
   size_t sent_ = 0; // of output_
   bool watches_ = false;
   bool tooLong_ = false;
   bool ended_ = false;  // nothing more is read
   bool broken_ = false; // nothing can be sent either
};

} // namespace Agent
