#include "Agent/Packets/Interruption.h"

#include <csignal>

namespace Agent {

namespace {

volatile std::sig_atomic_t lastSignal = 0;

} // namespace

void noticeInterruptions() {
   struct sigaction action {};
   action.sa_handler = []( int number ) { lastSignal = number; };
   action.sa_flags = SA_RESETHAND;
   for ( int number : { SIGINT, SIGTERM, SIGHUP } ) {
      struct sigaction before {};
      ::sigaction( number, nullptr, &before );
      if ( before.sa_handler != SIG_IGN ) { // as under nohup
         ::sigaction( number, &action, nullptr );
      }
   }
}

void checkInterruption() {
   if ( lastSignal != 0 ) [[unlikely]] {
      throw Interrupted{ lastSignal };
   }
}

} // namespace Agent
