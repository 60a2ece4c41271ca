// Ctrl-C handling: the handler only raises a flag that the loops poll.
#pragma once

namespace QVT::Stream {

void InstallInterruptHandler();
bool Interrupted();

}  // namespace QVT::Stream
