// Where the virtual headset puts accelerometer readings so that the host
// shows a per-sample signal on exactly its samples.
#include <gtest/gtest.h>

#include <vector>

#include "headset/AccelerometerReadings.h"

using QVT::testing::AccelerometerAxes;
using QVT::testing::HeldAccelerometerReadings;

namespace {

constexpr std::uint32_t kSampleTicks = 6;  // 300 Hz
constexpr double kPeriodTicks = 18.0;      // 100 Hz

// The ticks of the readings sent for samples showing these x values, one
// sample every kSampleTicks from tick 0; a negative value restarts the stream.
std::vector<std::uint32_t> ReadingTicks(const std::vector<int>& xs) {
  HeldAccelerometerReadings readings;
  std::vector<std::uint32_t> sent;
  std::uint32_t ticks = 0;
  for (const int x : xs) {
    if (x < 0) {
      readings.Restart();
      continue;
    }
    if (const auto packet =
            readings.Show(ticks, AccelerometerAxes{static_cast<std::int16_t>(x), 0, 1000}, kPeriodTicks))
      for (const auto& reading : *packet) sent.push_back(reading.ticks);
    ticks += kSampleTicks;
  }
  return sent;
}

}  // namespace

TEST(HeldAccelerometerReadings, ReadingsStartEveryRunOfEqualValuesAndRecurEveryPeriod) {
  const std::pair<std::vector<int>, std::vector<std::uint32_t>> cases[] = {
      // Every sample a new value: every sample a reading, three to a packet.
      {{1, 2, 3, 4, 5, 6, 7}, {0, 6, 12, 18, 24, 30}},
      // Still: the first sample, then once a period.
      {{5, 5, 5, 5, 5, 5, 5, 5}, {0, 18, 36}},
      // A change in the middle of a period starts the period afresh.
      {{5, 5, 7, 7, 7, 7, 7, 9}, {0, 12, 30}},
      // Waiting readings go with the stream they belong to; a new stream's
      // first sample starts a reading even when the value is the same.
      {{5, 6, -1, 6, 6, 7, 8}, {12, 24, 30}},
  };
  for (const auto& [xs, ticks] : cases) EXPECT_EQ(ReadingTicks(xs), ticks) << ::testing::PrintToString(xs);
}
