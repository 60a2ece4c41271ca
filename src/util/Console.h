// The default destination of every library message: one line on standard
// error per call.
#pragma once

#include <string>

namespace QVT {

// Writes the message and a newline to standard error and returns level.
// The level filters nothing here. A null message writes nothing and leaves
// standard error in its failed state, as a stream insertion of null does.
int Console(const char* message, int level);
int Console(const std::string& message, int level);

// The type of message and error callbacks.
using MessageCallback = int (*)(const char* message, int level);

}  // namespace QVT
