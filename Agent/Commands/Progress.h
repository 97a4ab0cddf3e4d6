#pragma once

// How far a long run has come: a line on the terminal that replaces itself, of work that takes
// longer than two seconds. Without a terminal there is none.

#include <chrono>
#include <cstdint>

namespace Agent {

class Progress {
 public:
   // How many frames there will be; 0: nobody knows.
   explicit Progress( uint64_t expected );
   ~Progress() { clear(); }
   Progress( const Progress& ) = delete;
   Progress& operator=( const Progress& ) = delete;

   // So many more.
   void arrived( uint64_t frames );
   // Before something else is printed.
   void clear();

 private:
   using Clock = std::chrono::steady_clock;

   const uint64_t expected_;
   const bool isTerminal_;
   const Clock::time_point start_ = Clock::now();
   Clock::time_point next_; // when it is shown
   uint64_t frames_ = 0;
   bool isShown_ = false;
};

} // namespace Agent
