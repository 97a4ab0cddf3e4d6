#pragma once

#include <string>

namespace Agent {

// A capture whose frames arrive at a port.
struct Input {
   std::string port;
   std::string file;
};

} // namespace Agent
