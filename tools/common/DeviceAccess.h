// What the system says about a device node: who may open it, which other
// processes have it open, whether ModemManager is around to probe it.
#pragma once

#include <string>

#include "DeviceFindings.h"

namespace QVT::Tools {

// Permissions of the node (following links), this process's groups, the
// other processes holding it (those this process may look into) and udev's
// word to ModemManager.
DeviceAccess ExamineDevice(const std::string& path);

// A ModemManager process is running.
bool ModemManagerRunning();

// The name of the user this process runs as.
std::string UserName();

}  // namespace QVT::Tools
