#include "MarkerPlacer.h"

#include <gtest/gtest.h>

namespace QVT::Markers {
namespace {

// 100 Hz from t = 10 s; positions 20-29 lost.
MarkerPlacer WithSamples(MarkerPlacer::Settings settings = {}) {
  MarkerPlacer placer(100.0, settings);
  for (std::uint64_t k = 0; k < 50; ++k)
    if (k < 20 || k >= 30) placer.AddSample(k, 10.0 + static_cast<double>(k) * 0.01);
  return placer;
}

TEST(MarkerPlacer, EachMarkerGoesToTheNearestSampleAndOddPlacesAreCounted) {
  struct Case {
    double time;
    std::uint64_t position;
    Placement where;
  } cases[] = {
      {10.050, 5, Placement::AtItsTime}, {10.054, 5, Placement::AtItsTime},
      {10.056, 6, Placement::AtItsTime}, {9.996, 0, Placement::AtItsTime},
      {9.0, 0, Placement::BeforeFirst},  {10.21, 19, Placement::InGap},
      {10.285, 30, Placement::InGap},    {10.194, 19, Placement::AtItsTime},
      {10.49, 49, Placement::AtItsTime}, {10.7, 49, Placement::AfterLast},
  };
  for (const auto& c : cases) {
    auto placer = WithSamples();
    placer.AddMarker({"s", "m", c.time}, 10.5);
    const auto placed = placer.Take(13.0);  // past any wait
    ASSERT_EQ(placed.size(), 1u) << c.time;
    EXPECT_EQ(placed[0].position, c.position) << c.time;
    EXPECT_EQ(placed[0].where, c.where) << c.time;
    EXPECT_EQ(placer.Placed(c.where), 1u);
  }
}

TEST(MarkerPlacer, AMarkerAheadOfTheSamplesWaitsForThemAndHoldsBackTheRestInOrder) {
  auto placer = WithSamples();
  placer.AddMarker({"udp", "early", 10.6}, 10.6);
  placer.AddMarker({"lsl", "known", 10.1}, 10.6);
  EXPECT_TRUE(placer.Take(10.61).empty());
  for (std::uint64_t k = 50; k < 70; ++k) placer.AddSample(k, 10.0 + static_cast<double>(k) * 0.01);
  const auto placed = placer.Take(10.7);
  ASSERT_EQ(placed.size(), 2u);
  EXPECT_EQ(placed[0].marker.text, "early");
  EXPECT_EQ(placed[0].position, 60u);
  EXPECT_EQ(placed[1].position, 10u);
}

TEST(MarkerPlacer, StampsFarAheadOrLongBehindDoNotHoldAnythingUp) {
  MarkerPlacer::Settings settings;
  settings.historySeconds = 0.2;
  auto placer = WithSamples(settings);
  placer.AddMarker({"lsl", "sender clock wrong", 3600.0}, 10.5);
  placer.AddMarker({"lsl", "long ago", 10.05}, 10.5);
  EXPECT_TRUE(placer.Take(11.0).empty());
  const auto placed = placer.Take(14.6);  // waits at most twice the wait
  ASSERT_EQ(placed.size(), 2u);
  EXPECT_EQ(placed[0].where, Placement::AfterLast);
  EXPECT_EQ(placed[1].where, Placement::Late);
  EXPECT_EQ(placed[1].position, 30u);  // the oldest kept
}

TEST(MarkerPlacer, FinishPlacesWhatWaitsAndDropsWhatHasNoSample) {
  auto placer = WithSamples();
  placer.AddMarker({"s", "end", 11.0}, 10.6);
  const auto placed = placer.Finish();
  ASSERT_EQ(placed.size(), 1u);
  EXPECT_EQ(placed[0].where, Placement::AfterLast);
  MarkerPlacer empty(100.0);
  empty.AddMarker({"s", "nothing recorded", 1.0}, 1.0);
  EXPECT_TRUE(empty.Finish().empty());
  EXPECT_EQ(empty.Dropped(), 1u);
}

}  // namespace
}  // namespace QVT::Markers
