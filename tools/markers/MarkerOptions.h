// The marker options of every program that holds the headset, declared once:
// --markers-from QUERY (repeatable), --marker-port PORT, --marker-listen ADDR.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "CommandLine.h"

namespace QVT::Markers {

struct MarkerOptions {
  std::vector<std::string> lslQueries;  // stream names or LSL queries
  std::uint16_t udpPort = 0;            // 0: no UDP markers
  std::string udpListen = "127.0.0.1";  // only this machine, unless asked

  bool Any() const { return udpPort != 0 || !lslQueries.empty(); }
};

void AddMarkerOptions(Tools::CommandLine& line, MarkerOptions& options);

}  // namespace QVT::Markers
