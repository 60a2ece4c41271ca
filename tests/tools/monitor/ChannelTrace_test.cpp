#include "ChannelTrace.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
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
  constexpr double kGain = 0.301;  // µV per count of an ordinary electrode
  const double rail = ElectrodeFullScale(kGain);
  EXPECT_DOUBLE_EQ(rail, 32767 * kGain);
  struct Case {
    const char* what;
    double fullScale;
    std::function<double(int k)> signal;
    Quality expected;
  };
  const Case cases[] = {
      {"alpha", rail, [](int k) { return 500.0 + Sine(10, 20, k); }, Quality::kGood},
      {"no contact", rail, [](int) { return 1234.5; }, Quality::kFlat},
      {"moves 0.4 uV", rail, [](int k) { return Sine(10, 0.2, k); }, Quality::kFlat},
      {"moves 0.6 uV", rail, [](int k) { return Sine(10, 0.3, k); }, Quality::kGood},
      {"at the top count", rail, [](int) { return 32767 * kGain; }, Quality::kRailed},
      {"at the bottom count", rail, [](int) { return -32768 * kGain; }, Quality::kRailed},
      {"touches 98 % each second", rail, [&](int k) { return k % 600 == 7 ? 0.98 * rail : Sine(10, 20, k); }, Quality::kRailed},
      {"offset to 97 %", rail, [&](int k) { return 0.97 * rail + Sine(10, 20, k); }, Quality::kGood},
      {"no rail to watch", 0, [](int k) { return 1e6 + Sine(10, 20, k); }, Quality::kGood},
      {"RMS 99 uV", rail, [](int k) { return Sine(50, 99 * std::numbers::sqrt2, k); }, Quality::kGood},
      {"RMS 101 uV", rail, [](int k) { return Sine(50, 101 * std::numbers::sqrt2, k); }, Quality::kNoisy},
  };
  for (const Case& c : cases) {
    ChannelTrace trace(kRate, c.fullScale);
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
