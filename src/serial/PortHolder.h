// Who holds the exclusive lock on an open device, as far as the system
// tells (a name and a process id from /proc).
#pragma once

#include <string>

namespace QVT {

// "NAME (pid N)" of a process holding a flock on the file open as
// descriptor, or "" when it cannot be learnt.
std::string PortHolder(int descriptor);

}  // namespace QVT
