#include "Agent/Live/Signals.h"

#include <csignal>
#include <stdexcept>

#include <sys/signalfd.h>
#include <unistd.h>

namespace Agent {

Signals::Signals() {
   sigset_t set;
   sigemptyset( &set );
   for ( int number : { SIGTERM, SIGINT, SIGHUP } ) {
      sigaddset( &set, number );
   }
   sigprocmask( SIG_BLOCK, &set, nullptr );
   descriptor_ = Descriptor( signalfd( -1, &set, SFD_NONBLOCK | SFD_CLOEXEC ) );
   if ( !descriptor_ ) {
      throw std::runtime_error( "signals cannot be received" );
   }
}

std::optional< int > Signals::take() {
   signalfd_siginfo info{};
   if ( ::read( descriptor(), &info, sizeof info ) != sizeof info ) {
      return {};
   }
   return static_cast< int >( info.ssi_signo );
}

} // namespace Agent
