#include "Agent/Live/Server.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <iostream>
#include <utility>

#include <poll.h>

#include "Platform/Duolog/Duolog.h"

namespace Agent {

namespace {

constexpr size_t mostClients = 128;

std::string refusal( const std::string& why ) {
   Reply reply;
   reply.errors.push_back( why );
   return encoded( reply );
}

} // namespace

Server::Server( LiveAgent& agent, ListeningSocket& socket, Signals& signals )
      : agent_( agent ), socket_( socket ), signals_( signals ), watch_( agent.runtime() ) {}

void Server::run() {
   while ( !stopping_ ) {
      dropGone();
      poll( timeoutMs() );
      obeySignals();
      agent_.runDue();
      look();
      if ( !stopping_ ) {
         serveNext();
      }
      Duolog::flush();
   }
}

int Server::timeoutMs() const {
   const bool someoneWaits = std::any_of( clients_.begin(), clients_.end(),
         []( const Client& client ) { return client->hasCommand(); } );
   if ( someoneWaits ) {
      return 0;
   }
   constexpr double longest = 3600;
   const double seconds = agent_.untilDue();
   return seconds > longest ? ( seconds == Zol::never ? -1 : int( longest * 1000 ) )
                            : static_cast< int >( std::ceil( seconds * 1000 ) );
}

void Server::poll( int timeoutMs ) {
   std::vector< pollfd > polled{ { signals_.descriptor(), POLLIN, 0 } };
   for ( const Client& client : clients_ ) {
      polled.push_back( { client->descriptor(), client->events(), 0 } );
   }
   if ( accepts_ && socket_.descriptor() >= 0 ) {
      polled.push_back( { socket_.descriptor(), POLLIN, 0 } );
   }
   if ( ::poll( polled.data(), polled.size(), timeoutMs ) <= 0 ) {
      return;
   }
   const size_t known = clients_.size();
   for ( size_t i = 0; i < known; ++i ) {
      Connection& client = *clients_[ i ];
      client.ready( polled[ i + 1 ].revents );
      if ( client.takeTooLong() ) {
         client.send( refusal( "the line is too long; allowed: up to " +
               std::to_string( longestCommand ) + " bytes" ) );
         client.closeWhenSent();
      }
   }
   if ( polled.size() > known + 1 && polled.back().revents ) {
      accept();
   }
}

void Server::accept() {
   Descriptor socket = socket_.accept();
   if ( !socket ) {
      // Without a free descriptor the listener would stay ready and keep the loop busy.
      accepts_ = clients_.empty() || !( errno == EMFILE || errno == ENFILE );
      return;
   }
   clients_.push_back( std::make_unique< Connection >( std::move( socket ) ) );
   if ( clients_.size() > mostClients ) {
      clients_.back()->send( refusal(
            "too many clients; allowed: " + std::to_string( mostClients ) + " at a time" ) );
      clients_.back()->closeWhenSent();
   }
}

void Server::obeySignals() {
   while ( const std::optional< int > signal = signals_.take() ) {
      if ( *signal != SIGHUP ) {
         stopping_ = true;
      } else if ( agent_.reload().errors.empty() ) {
         std::cerr << "karvel-agent: the configuration is loaded again" << std::endl;
      }
   }
}

void Server::serveNext() {
   const auto next = std::find_if( clients_.begin(), clients_.end(),
         []( const Client& client ) { return client->hasCommand(); } );
   if ( next == clients_.end() ) {
      return;
   }
   Connection& client = **next;
   std::rotate( next, next + 1, clients_.end() );
   troubles_.clear();
   Outcome outcome =
         agent_.execute( client.takeCommand(), client.descriptor(), [ this ] { look(); } );
   if ( outcome.request == Request::stop ) {
      stopper_ = &client;
      stopping_ = true;
      return;
   }
   auto& warnings = outcome.reply.warnings;
   warnings.insert( warnings.end(), troubles_.begin(), troubles_.end() );
   if ( outcome.request == Request::watch ) {
      client.watchIs( true );
   }
   client.send( encoded( outcome.reply ) );
}

void Server::look() {
   for ( const Event& event : watch_.look() ) {
      tell( event );
      if ( event.isTrouble ) {
         troubles_.push_back( event.text );
      }
   }
}

void Server::tell( const Event& event ) {
   const bool someoneWatches = std::any_of( clients_.begin(), clients_.end(),
         []( const Client& client ) { return client->watches(); } );
   if ( !someoneWatches ) {
      return;
   }
   const std::string line = encoded( event );
   for ( const Client& client : clients_ ) {
      if ( client->watches() ) {
         client->tell( line );
      }
   }
}

void Server::dropGone() {
   const size_t gone =
         std::erase_if( clients_, []( const Client& client ) { return client->isGone(); } );
   accepts_ = accepts_ || gone > 0;
}

void Server::finish( const Reply& stopped ) {
   tell( { "stop", "the agent stops", {} } );
   for ( const Client& client : clients_ ) {
      if ( client.get() == stopper_ ) {
         client->send( encoded( stopped ) );
      }
      while ( client->hasCommand() ) {
         (void)client->takeCommand();
         client->send( refusal( "the agent stops; this was not done" ) );
      }
      client->closeWhenSent();
   }
   using Clock = std::chrono::steady_clock;
   const auto end = Clock::now() + std::chrono::seconds( 2 );
   for ( ;; ) {
      dropGone();
      while ( signals_.take() ) {
         // It cannot stop more than it does.
      }
      const auto left =
            std::chrono::duration_cast< std::chrono::milliseconds >( end - Clock::now() );
      if ( clients_.empty() || left.count() <= 0 ) {
         return;
      }
      poll( static_cast< int >( left.count() ) );
   }
}

} // namespace Agent
