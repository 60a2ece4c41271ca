// The search for a headset that qvt-doctor reports on and `--port auto`
// relies on: every candidate serial device examined and, where it may be
// opened, talked to.
#pragma once

#include <functional>
#include <string>

#include "DeviceFindings.h"

namespace QVT::Tools {

// Examines the devices in `directory` (Bluetooth is asked about paired
// devices only for /dev). `beforeProbe` is told before each slow talk.
SearchReport SearchForHeadsets(const std::string& directory,
                               const std::function<void(const SerialDevice&)>& beforeProbe = {});

// The port of the one working headset in DeviceDirectory(). Throws
// RuntimeError listing them when there are several, and with the diagnosis
// when there is none.
std::string FindTheHeadset();

}  // namespace QVT::Tools
