#include "Agent/Packets/Interruption.h"

#include <csignal>

namespace Agent {

namespace {

volatile std::sig_atomic_t lastSignal = 0;
volatile std::sig_atomic_t signals = 0;

// Some senders, as timeout(1), send each signal to the process and to its group: two are one.
constexpr int patience = 2;

void notice( int number ) {
   lastSignal = number;
   signals = signals + 1;
   if ( signals > patience ) {
      std::signal( number, SIG_DFL );
      std::raise( number );
   }
}

} // namespace

void noticeInterruptions() {
   struct sigaction action {};
   action.sa_handler = notice;
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
