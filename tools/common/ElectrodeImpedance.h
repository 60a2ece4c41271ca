// One electrode's measured impedance.
#pragma once

#include <string>

namespace QVT::Tools {

// An impedance below 0 was not measured. The headset's own reference
// electrode reads 0 and is shown as the reference instead.
struct ElectrodeImpedance {
  std::string name;
  double kOhm = -1.0;
  bool reference = false;
};

}  // namespace QVT::Tools
