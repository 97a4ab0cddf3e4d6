#pragma once

// Runs the steps of a script on the agent.

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Agent/Commands/Script.h"
#include "Agent/Reports/Report.h"
#include "Agent/Runtime/Runtime.h"

namespace Agent {

// A step that failed: "FILE:LINE: what is wrong; allowed: what is".
class StepError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

class ScriptRunner {
 public:
   using Show = std::function< void( const std::vector< Report >& reports ) >;
   using Warn = std::function< void( const Diagnostic& warning ) >;

   // `name` stands for the script in errors; `show` takes what `show` steps print. A plug-in
   // answers its commands on the descriptor `answers`.
   ScriptRunner(
         Runtime& runtime, const std::string& name, Show show, Warn warn, int answers = 1 );

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
   void step( const WatchStep& step, unsigned line );
   void step( const StopStep& step, unsigned line );
   void report( const LoadResult& result );
   [[noreturn]] void fail( unsigned line, const std::string& what ) const;

   Runtime& runtime_;
   const std::string name_;
   Show show_;
   Warn warn_;
   const int answers_;
};

} // namespace Agent
