#pragma once

// The bytes of a capture: of a file, a pipe, or standard input ("-"), unpacked if gzip packed
// them. What is packed is unpacked as it is read and never stands anywhere as a whole.

#include <cstdio>
#include <string>

namespace Agent {

// Pipes, devices and standard input, which can be read only once.
bool canBeReadOnce( const std::string& path );

// Opens it; CaptureError if that cannot be done. Waits for a writer of a pipe. What unpacking
// finds wrong is written to `problem`, which has to outlive the stream.
std::FILE* openInput( const std::string& path, std::string& problem );

} // namespace Agent
