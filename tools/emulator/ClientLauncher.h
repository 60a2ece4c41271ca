// Runs a client program against the virtual headset: the device in
// QVTSerialPort and the modem-line preload library in LD_PRELOAD.
#pragma once

#include <string>
#include <vector>

namespace QVT::emulator {

// The preload library: ../lib next to this program (an install or a build
// tree), else the build tree this program came from, else the install
// prefix. Empty when none exists.
std::string PreloadLibrary();

// LD_PRELOAD with the preload library in front of what it held already.
std::string PreloadValue(const std::string& library);

// Runs command with the two variables set and waits for it; SIGINT and
// SIGTERM that reach this process are passed on, unless the client got them
// as well (Ctrl-C in a terminal signals the whole process group). Returns the exit status as
// a shell would report it (128 + signal for a killed command, 127 when it
// cannot be started).
int RunClient(const std::vector<std::string>& command, const std::string& device, const std::string& preload);

// Set by SIGINT and SIGTERM once InstallStopHandlers ran.
bool StopRequested();
void InstallStopHandlers();

}  // namespace QVT::emulator
