#pragma once

// The agent that is served: runs one command after the other, whoever sent it.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Agent/Commands/CommandLine.h"
#include "Agent/Commands/Script.h"
#include "Agent/Commands/Startup.h"
#include "Agent/Live/Protocol.h"
#include "Agent/Packets/Replay.h"
#include "Agent/Runtime/Runtime.h"

namespace Agent {

// What is asked of whoever serves the client, besides sending it the reply.
enum class Request : uint8_t { nothing, watch, stop };

struct Outcome {
   Reply reply;
   Request request = Request::nothing;
};

class LiveAgent {
 public:
   // Starts as the command line says, with its configuration as it was checked.
   // std::runtime_error, in one line, if it cannot.
   LiveAgent( const Command& command, Loaded loaded );

   // Runs a line. A plug-in writes what it answers to the descriptor `answers`. `look` is
   // called whenever something may have changed.
   Outcome execute( std::string_view line, int answers, const std::function< void() >& look );
   // std::runtime_error, in one line, if the path leads to a pipe or a device: all clients would
   // wait for whoever writes it.
   static void checkFile( const std::string& path );
   // Reads the configuration again, and says what is wrong on standard error too.
   Reply reload();

   // Real time: does what is due. Seconds until something will be; Zol::never if nothing.
   void runDue() { runtime_.runDue(); }
   Zol::Seconds untilDue() const;

   // Takes everything back from the chips, and reads them: what is left there, in one line
   // each. Nothing may be executed afterwards.
   std::vector< std::string > withdraw();

   Runtime& runtime() { return runtime_; }

 private:
   void run( const StepAction& action, int answers, Reply& reply );
   void wait( const WaitStep& step, const std::function< void() >& look );
   void receive( const InStep& step, const StepAction& action, int answers, Reply& reply );

   const Command command_;
   Runtime runtime_;
   std::unique_ptr< Outlet > outlet_; // none without --out
};

} // namespace Agent
