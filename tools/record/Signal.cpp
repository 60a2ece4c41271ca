#include "Signal.h"

#include <algorithm>
#include <cmath>

namespace QVT::Record {

namespace {

constexpr double kDigitalSpan = static_cast<double>(Signal::kDigitalMaximum) - Signal::kDigitalMinimum;

}  // namespace

double Signal::Step() const { return (physicalMaximum - physicalMinimum) / kDigitalSpan; }

int Signal::ToDigital(double value) const {
  if (std::isnan(value)) return 0;
  const double digital = std::round((value - physicalMinimum) / Step() + kDigitalMinimum);
  return static_cast<int>(
      std::clamp(digital, static_cast<double>(kDigitalMinimum), static_cast<double>(kDigitalMaximum)));
}

double Signal::ToPhysical(int digital) const {
  return (digital - kDigitalMinimum) * Step() + physicalMinimum;
}

Signal ElectrodeSignal(const std::string& label, double gain) {
  // 2^23 steps of gain / 64 each way.
  const double range = std::max(1.0, std::ceil(std::abs(gain) * 131072.0));
  return {label, "uV", -range, range};
}

Signal CountSignal(const std::string& label, const std::string& unit) {
  return {label, unit, -32768.0, 32768.0};
}

}  // namespace QVT::Record
