#pragma once

// Ctrl-C and its like end a run where it can tidy up: hidden files go, and the terminal is as
// it was. Who insists, with a third one, ends it at once.

namespace Agent {

// Not a std::exception: whoever handles bad input does not handle this.
struct Interrupted {
   int signal = 0;
};

// From here on SIGINT, SIGTERM and SIGHUP are noticed by checkInterruption() only. They still
// break off calls that wait.
void noticeInterruptions();

// Throws Interrupted if there was one.
void checkInterruption();

} // namespace Agent
