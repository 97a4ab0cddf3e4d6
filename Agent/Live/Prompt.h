#pragma once

// A prompt on the terminal, with editing and a history of its lines.

#include <memory>
#include <optional>
#include <string>

namespace Agent {

class Prompt {
 public:
   // `text` is what stands before the line.
   explicit Prompt( const std::string& text );
   ~Prompt();
   Prompt( const Prompt& ) = delete;
   Prompt& operator=( const Prompt& ) = delete;

   // The next line, without its end; none at the end of the input.
   std::optional< std::string > next();

 private:
   struct State;
   std::unique_ptr< State > state_;
};

} // namespace Agent
