// Ctrl-C, SIGTERM and SIGHUP handling: the first one only raises a flag that
// the loops poll; a second one ends the process at once, even while a
// library call waits on a silent headset, after a last action (closing a
// file, say) on a thread of its own. SIGPIPE is ignored.
#pragma once

#include <functional>

namespace QVT::Tools {

void InstallInterruptHandler();
bool Interrupted();

// What to do before a second interrupt ends the process; empty for nothing.
// Replacing it waits for a last action that is running.
void SetLastAction(std::function<void()> action);

}  // namespace QVT::Tools
