#include "ChannelStatistics.h"

#include <cmath>

namespace QVT::Stream {

void ChannelStatistics::Add(double value) {
  ++count;
  const double delta = value - mean;
  mean += delta / static_cast<double>(count);
  squaredDeviations += delta * (value - mean);
}

double ChannelStatistics::StandardDeviation() const {
  return count == 0 ? 0.0 : std::sqrt(squaredDeviations / static_cast<double>(count));
}

double ChannelStatistics::Rms() const {
  const double sd = StandardDeviation();
  return std::sqrt(mean * mean + sd * sd);
}

}  // namespace QVT::Stream
