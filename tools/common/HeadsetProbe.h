// Talking to a device through the library to learn whether it is a working
// headset.
#pragma once

#include <string>

#include "DeviceFindings.h"

namespace QVT::Tools {

// Connects (the library's echo handshake and identity queries), reads what
// the headset reports, times one command and its reply, and lets go of the
// port. A device that never answers takes the handshake's full time, about
// half a minute.
ProbeOutcome ProbeHeadset(const std::string& port);

}  // namespace QVT::Tools
