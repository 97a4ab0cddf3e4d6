#pragma once

// Runs the steps of a script on the agent.

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <unistd.h>

#include "Agent/Commands/Script.h"
#include "Agent/Packets/Replay.h"
#include "Agent/Reports/Report.h"
#include "Agent/Runtime/Runtime.h"

namespace Agent {

// A step that failed: "FILE:LINE: what is wrong; allowed: what is".
class StepError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

// Lets virtual time pass, from one thing that is due to the next; `between` is called after each.
void passTime( Runtime& runtime, uint64_t ns, const std::function< void() >& between );

class ScriptRunner {
 public:
   // What the steps need of whoever runs them.
   struct Host {
      std::function< void( const std::vector< Report >& reports ) > show; // what `show` prints
      std::function< void( const Diagnostic& warning ) > warn;
      Pause pause;                 // between frames
      Steps steps = Steps::script; // that `help` lists
      int answers = STDOUT_FILENO; // where a plug-in answers its commands
   };

   // `name` stands for the script in errors.
   ScriptRunner( Runtime& runtime, const std::string& name, Host host );

   // In order; StepError at the first that fails, and none after it is run.
   void run( const std::vector< Step >& steps );

 private:
   void step( const SetStep& step, unsigned line );
   void step( const DelStep& step, unsigned line );
   void step( const InStep& step, unsigned line );
   void step( const WaitStep& step, unsigned line );
   void step( const ShowStep& step, unsigned line );
   void step( const FailStep& step, unsigned line );
   void step( const PortStep& port, unsigned line );
   void step( const CapacityStep& step, unsigned line );
   void step( const PluginStep& command, unsigned line );
   void step( const ReloadStep& step, unsigned line );
   void step( const HelpStep& step, unsigned line );
   void step( const WatchStep& step, unsigned line ); // a live agent does these two itself
   void step( const StopStep& step, unsigned line );
   void report( const LoadResult& result );
   [[noreturn]] void fail( unsigned line, const std::string& what ) const;

   Runtime& runtime_;
   const std::string name_;
   const Host host_;
};

} // namespace Agent
