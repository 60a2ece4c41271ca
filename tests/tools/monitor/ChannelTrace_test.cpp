#include "ChannelTrace.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace QVT::Monitor {
namespace {

constexpr double kRate = 600.0;

double Sine(double hz, double amplitude, int k) { return amplitude * std::sin(2 * std::numbers::pi * hz * k / kRate); }

TEST(ChannelTrace, EnvelopeKeepsASpikeNarrowerThanABin) {
  ChannelTrace trace(kRate, 0);
  for (int k = 0; k < 60; ++k) trace.Add(k == 33 ? 250.0 : (k == 40 ? -80.0 : 1.0));
  std::vector<float> minima, maxima;
  trace.TakeBins(minima, maxima);
  ASSERT_EQ(maxima.size(), 10u);  // 100 bins a second at any rate
  EXPECT_EQ(maxima[5], 250.0f);
  EXPECT_EQ(minima[6], -80.0f);
  EXPECT_EQ(minima[0], 1.0f);
  trace.TakeBins(minima, maxima);
  EXPECT_TRUE(maxima.empty());
}

TEST(ChannelTrace, JudgesEachSecondOfRawSignal) {
  struct Case {
    const char* what;
    double (*signal)(int k);
    Quality expected;
  };
  const Case cases[] = {
      {"alpha", [](int k) { return 5000.0 + Sine(10, 20, k); }, Quality::kGood},
      {"no contact", [](int) { return 1234.5; }, Quality::kFlat},
      {"saturated", [](int k) { return k % 100 == 0 ? 99000.0 : Sine(10, 20, k); }, Quality::kRailed},
      {"line noise", [](int k) { return Sine(50, 400, k); }, Quality::kNoisy},
  };
  for (const Case& c : cases) {
    ChannelTrace trace(kRate, 100000.0);
    for (int k = 0; k < 2 * static_cast<int>(kRate); ++k) trace.Add(c.signal(k));
    EXPECT_EQ(trace.Verdict(), c.expected) << c.what;
  }
}

TEST(DisplayFilter, NotchAndBandPassShapeOnlyWhatTheyAreFor) {
  struct Case {
    DisplayChoice choice;
    double hz;
    double offset;
    double passedShare;  // of the amplitude, after settling
  };
  const Case cases[] = {
      {{50, false}, 50, 0, 0.0},   {{60, false}, 60, 0, 0.0},  {{50, false}, 10, 0, 1.0},
      {{0, true}, 10, 3000, 1.0},  {{0, true}, 0.1, 0, 0.0},   {{0, true}, 120, 0, 0.0},
      {{0, false}, 50, 0, 1.0},
  };
  for (const Case& c : cases) {
    DisplayFilter filter(c.choice, kRate);
    double peak = 0;
    for (int k = 0; k < 20 * static_cast<int>(kRate); ++k) {
      const double out = filter.Apply(c.offset + Sine(c.hz, 100, k));
      if (k > 15 * kRate) peak = std::max(peak, std::abs(out - (c.choice.bandPass ? 0 : c.offset)));
    }
    EXPECT_NEAR(peak / 100, c.passedShare, 0.15) << c.hz << " Hz, notch " << c.choice.notchHz;
  }
}

}  // namespace
}  // namespace QVT::Monitor
