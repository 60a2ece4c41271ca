#include "AccelerometerTimeline.h"

#include <gtest/gtest.h>

#include <deque>
#include <vector>

namespace QVT::Tools {
namespace {

// Times in ticks of 1/64 s from 1 s on, exact in binary: EEG sample k lies
// at tick k, the accelerometer (32 per second) at every second tick.
constexpr int kLost = -1;  // an EEG sample never received
constexpr int kNone = -2;  // the library's "no accelerometer sample yet"

double Seconds(int tick) { return tick == kNone ? 0.0 : 1.0 + tick / 64.0; }

struct Case {
  const char* what;
  std::vector<int> shown;    // per EEG sample, the accelerometer sample the library showed
  std::vector<int> written;  // per EEG sample, the one whose values belong there
  int standIns;              // samples given the one before their own, which was lost
};

TEST(AccelerometerTimeline, GivesEachSampleTheLatestAccelerometerSampleOfItsTime) {
  const std::vector<Case> cases = {
      {"shown on time", {0, 0, 2, 2, 4}, {0, 0, 2, 2, 4}, 0},
      {"shown late: each waits for its own", {0, 0, 0, 0, 2, 4, 4}, {0, 0, 2, 2, 4, 4, 4}, 0},
      {"caught up after a gap, nothing stale carried over",
       {0, 0, 2, kLost, kLost, kLost, 2, 4, 6, 8, 10},
       {0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10},
       0},
      {"a lost one: the one before stands in, counted",
       {0, 0, 2, 2, 2, 2, 6, 6},
       {0, 0, 2, 2, 2, 2, 6, 6},
       2},
      {"none shown yet: the library's values stand", {kNone, kNone, 2, 2}, {kNone, kNone, 2, 2}, 0},
      {"the last wait for nothing at the end, uncounted", {0, 0, 0, 0}, {0, 0, 0, 0}, 0},
  };
  for (const Case& c : cases) {
    AccelerometerTimeline timeline(32.0);
    std::vector<int> written;
    int standIns = 0;
    std::deque<int> waiting;  // EEG samples not written yet
    const auto write = [&](int tick) {
      const AccelerometerTimeline::Found found = timeline.At(Seconds(tick));
      written.push_back(found.values != nullptr ? static_cast<int>(found.values->front()) : kNone);
      standIns += found.standIn ? 1 : 0;
    };
    for (int k = 0; k < static_cast<int>(c.shown.size()); ++k) {
      if (c.shown[k] != kLost) timeline.Show(Seconds(c.shown[k]), {static_cast<double>(c.shown[k])});
      waiting.push_back(k);
      while (!waiting.empty() && timeline.Settled(Seconds(waiting.front()))) {
        write(waiting.front());
        waiting.pop_front();
      }
    }
    for (const int k : waiting) write(k);
    EXPECT_EQ(written, c.written) << c.what;
    EXPECT_EQ(standIns, c.standIns) << c.what;
  }
}

}  // namespace
}  // namespace QVT::Tools
