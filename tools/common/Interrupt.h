// Ctrl-C and SIGTERM handling: the handler only raises a flag that the loops poll.
#pragma once

namespace QVT::Tools {

void InstallInterruptHandler();
bool Interrupted();

}  // namespace QVT::Tools
