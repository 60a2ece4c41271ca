// The command line of the virtual headset.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "CommandLine.h"

namespace QVT::emulator {

struct EmulatorOptions {
  std::string layout = "10-20";  // 10-20, 10-10 or 7
  unsigned rate = 300;           // samples per second: 300 or 600
  double impedanceKiloOhms = 5.0;
  bool eyesClosed = false;
  std::uint64_t seed = 1;
  std::uint32_t serialNumber = 20240001;  // two virtual headsets at once tell themselves apart by it
  double corruptRate = 0.0;
  double dropRate = 0.0;
  double garbageRate = 0.0;
  double silentAfter = -1.0;
  std::vector<std::pair<double, double>> outages;  // start, seconds
  std::string dropLog;                             // file naming each packet never sent
  std::vector<std::uint8_t> refusedFamilies;
  bool slow = false;
  double driftPpm = 0.0;
  double jitterSeconds = 0.0;
  std::string truthFile;  // when each stream's samples were truly taken
  std::string playback;   // a recording to play instead of synthetic signals
  double speed = 1.0;     // times real time
  bool loop = false;      // the recording starts again at its end
  std::vector<std::string> command;  // what follows "--"
};

Tools::ProgramText EmulatorProgramText(const std::string& version);

// The option table; `options` receives the values as the line is parsed.
void DeclareEmulatorOptions(Tools::CommandLine& line, EmulatorOptions& options);

}  // namespace QVT::emulator
