#include "SampleTimeline.h"

#include <gtest/gtest.h>

#include <vector>

namespace QVT::Tools {
namespace {

struct Case {
  const char* what;
  std::vector<double> stamps;  // at 100 Hz; each read with 10 s of wall time behind it
  std::uint64_t lost;
  unsigned gaps;
  unsigned jumps;
};

TEST(SampleTimeline, CountsTheSamplesMissingBetweenStamps) {
  const std::vector<Case> cases = {
      {"steady", {5.00, 5.01, 5.02, 5.03}, 0, 0, 0},
      {"one lost, then three", {5.00, 5.02, 5.03, 5.07}, 4, 2, 0},
      {"stamps a little off the grid", {5.000, 5.0104, 5.0296}, 1, 1, 0},
      {"backwards is a jump, not a gap", {5.00, 5.01, 4.00, 4.01}, 0, 0, 1},
      {"further than the wall clock allows", {5.00, 900.0, 900.01}, 0, 0, 1},
      {"a repeated stamp", {5.00, 5.00, 5.01}, 0, 0, 1},
  };
  for (const Case& c : cases) {
    SampleTimeline timeline(100.0);
    for (double t : c.stamps) timeline.Next(t, 10.0);
    EXPECT_EQ(timeline.LostSamples(), c.lost) << c.what;
    EXPECT_EQ(timeline.Gaps(), c.gaps) << c.what;
    EXPECT_EQ(timeline.TimeJumps(), c.jumps) << c.what;
  }
}

}  // namespace
}  // namespace QVT::Tools
