// A marker from the experiment's software: what happened and when, in this
// machine's CLOCK_MONOTONIC seconds (the clock acquisition stamps use).
#pragma once

#include <string>

namespace QVT::Markers {

struct Marker {
  std::string source;  // the option it came by, e.g. "udp:5000" or an LSL query
  std::string text;
  double time = 0.0;
};

}  // namespace QVT::Markers
