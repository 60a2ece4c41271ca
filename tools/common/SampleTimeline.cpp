#include "SampleTimeline.h"

#include <cmath>

namespace QVT::Tools {

std::uint64_t SampleTimeline::Next(double t, double wallSeconds) {
  if (!started) {
    started = true;
    firstStamp = lastStamp = t;
    return 0;
  }
  const double periods = (t - lastStamp) * rate;
  // A second of slack for the two clocks drifting apart and for the time
  // the first samples spent buffered.
  const bool plausible = std::isfinite(periods) && periods > 0.5 && t - firstStamp <= wallSeconds + 1.0;
  lastStamp = t;
  if (!plausible) {
    // The line starts afresh from here, as if the stamps had always run so.
    firstStamp = t - wallSeconds;
    ++jumps;
    return 0;
  }
  const auto missing = static_cast<std::uint64_t>(std::llround(periods)) - 1;
  if (missing > 0) {
    lost += missing;
    ++gaps;
  }
  return missing;
}

}  // namespace QVT::Tools
