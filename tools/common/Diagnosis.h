// What to do about what a search for a headset found: every problem with
// the exact commands that fix it.
#pragma once

#include <string>
#include <vector>

#include "DeviceFindings.h"

namespace QVT::Tools {

struct Advice {
  std::string subject;                // a device, or "Bluetooth"
  std::string problem;                // one sentence
  std::vector<std::string> commands;  // to run in this order
};

// One piece of advice per problem, devices in the report's order first.
std::vector<Advice> Advise(const SearchReport& report);

// The whole diagnosis as one paragraph, for a program that found no headset.
std::string DiagnosisParagraph(const SearchReport& report);

}  // namespace QVT::Tools
