// Ctrl-C, SIGTERM and SIGHUP handling: the handler only raises a flag that the
// loops poll. SIGPIPE is ignored.
#pragma once

namespace QVT::Tools {

void InstallInterruptHandler();
bool Interrupted();

}  // namespace QVT::Tools
