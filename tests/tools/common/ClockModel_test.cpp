#include "ClockModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace QVT::Tools {
namespace {

constexpr double kRate = 600.0;
constexpr int kPerBlock = 6;

struct Case {
  const char* what;
  double driftPpm;
  double jitterSeconds;  // each block held back by up to this, in order
  int lostEvery;         // every so many samples one is lost; 0: none
  double outage[2];      // from, seconds: nothing arrives
  double restartAt;      // the headset's count starts again; negative: never
};

// A headset at kRate * (1 + drift) sending blocks over a jittery link, 30 s
// of it, against the model: after 10 s of a count, every stamp is within
// 1 ms of the truth; stamps only ever go forwards, by a period give or take
// 0.05 ms rms; the drift is fitted to 10 ppm.
TEST(ClockModel, StampsFollowTheTrueAcquisitionTimes) {
  const std::vector<Case> cases = {
      {"steady", 0, 0, 0, {0, 0}, -1},
      {"drift and jitter", 200, 0.010, 0, {0, 0}, -1},
      {"slow clock, heavy jitter", -300, 0.030, 0, {0, 0}, -1},
      {"lost samples", 200, 0.010, 7, {0, 0}, -1},
      {"a five-second outage", 200, 0.010, 0, {12, 5}, -1},
      {"a restarted count", 200, 0.010, 0, {0, 0}, 10},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const double trueRate = kRate * (1.0 + c.driftPpm * 1e-6);
    const double t0 = 5000.0;
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> delay(0.0, c.jitterSeconds);
    ClockModel model(kRate);
    double release = 0.0, lastStamp = 0.0, squares = 0.0;
    long steps = 0, countStart = 0;
    std::uint64_t lastIndex = 0;
    bool restarted = false, any = false;
    for (long k = 0; k < static_cast<long>(30 * trueRate); ++k) {
      const double truth = t0 + static_cast<double>(k) / trueRate;
      const double last = t0 + static_cast<double>(k / kPerBlock * kPerBlock + kPerBlock - 1) / trueRate;
      if (k % kPerBlock == 0) release = std::max(release, last + delay(random));
      if (c.restartAt >= 0 && !restarted && truth - t0 >= c.restartAt) {
        restarted = true;
        countStart = k;
        any = false;
      }
      const bool inOutage = truth - t0 >= c.outage[0] && truth - t0 < c.outage[0] + c.outage[1];
      if (inOutage || (c.lostEvery > 0 && k % c.lostEvery == 3)) continue;
      const auto index = static_cast<std::uint64_t>(k - countStart);
      const double stamp = model.Stamp(index, release);
      if (any) {
        ASSERT_GT(stamp, lastStamp) << "at sample " << k;
        if (index == lastIndex + 1) {
          squares += std::pow(stamp - lastStamp - 1.0 / trueRate, 2);
          ++steps;
        }
      }
      if (static_cast<double>(index) / trueRate > 10.0) {
        ASSERT_NEAR(stamp, truth, 0.001) << "at sample " << k;
      }
      any = true;
      lastStamp = stamp;
      lastIndex = index;
    }
    EXPECT_LT(std::sqrt(squares / static_cast<double>(steps)), 0.00005);
    EXPECT_NEAR(model.DriftPpm(), c.driftPpm, 10.0);
    EXPECT_EQ(model.Restarts(), c.restartAt >= 0 ? 1u : 0u);
  }
}

}  // namespace
}  // namespace QVT::Tools
