#include "AccelerometerTimeline.h"

namespace QVT::Tools {

namespace {

// Far below the headset's clock tick (1/1800 s): times that differ by less
// are the same tick, reckoned along different roads (the accelerometer's
// second and third samples are stamped as offsets from the first).
constexpr double kSlackSeconds = 1e-6;

}  // namespace

bool AccelerometerTimeline::Settled(double t) const {
  return !shown.empty() && shown.back().stamp > t + kSlackSeconds;
}

void AccelerometerTimeline::Show(double stamp, const std::vector<double>& values) {
  if (stamp <= 0.0) return;
  if (!shown.empty()) {
    if (stamp == shown.back().stamp) return;  // still current
    if (stamp < shown.back().stamp) shown.clear();
  }
  shown.push_back({stamp, values});
}

AccelerometerTimeline::Found AccelerometerTimeline::At(double t) {
  while (shown.size() >= 2 && shown[1].stamp <= t + kSlackSeconds) shown.pop_front();
  if (shown.empty() || shown.front().stamp > t + kSlackSeconds) return {};
  // A hole in the stamps up to t: the one that belonged at t never came.
  const bool hole = shown.size() >= 2 && shown[1].stamp - shown.front().stamp > 1.5 * period &&
                    t - shown.front().stamp >= period - kSlackSeconds;
  return {&shown.front().values, hole};
}

}  // namespace QVT::Tools
