// Puts each marker at the sample whose acquisition time is nearest its own
// time. A marker usually arrives before the sample taken at its time does
// (the radio holds samples back), so it waits until a sample at or after its
// time is known, or until waiting longer is pointless. A marker for a time
// before the first sample, after the last (the link is down) or inside a gap
// goes to the nearest sample there is, and is counted as such.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "Marker.h"

namespace QVT::Markers {

enum class Placement {
  AtItsTime,    // within half a period of its sample
  BeforeFirst,  // before the first sample
  AfterLast,    // no sample came after it in time
  InGap,        // where samples were lost
  Late,         // older than the samples still kept
};
inline constexpr std::size_t kPlacements = 5;

struct PlacedMarker {
  Marker marker;
  std::uint64_t position = 0;  // the sample's, in the count given to AddSample
  double sampleTime = 0.0;     // that sample's acquisition time
  Placement where = Placement::AtItsTime;
};

class MarkerPlacer {
 public:
  struct Settings {
    double historySeconds = 30.0;     // samples kept for markers that come late
    double waitSeconds = 2.0;         // for a sample at or after a marker's time
    std::size_t maxWaiting = 100000;  // markers waiting; more are dropped, counted
  };

  explicit MarkerPlacer(double rate) : MarkerPlacer(rate, Settings{}) {}
  MarkerPlacer(double rate, Settings settings);

  // The sample at position (counting lost samples too, so positions only
  // grow and a step over 1 is a gap) was taken at time (seconds, the
  // markers' clock).
  void AddSample(std::uint64_t position, double time);
  // now: when it arrived (seconds, the markers' clock); it waits at most
  // waitSeconds past the later of that and its own time.
  void AddMarker(Marker marker, double now);

  // The markers that can be placed by now (seconds, the markers' clock), in
  // the order they were added.
  std::vector<PlacedMarker> Take(double now);
  // Every marker still waiting, at the nearest sample there is: the end.
  // Without any sample, none can be placed; they are dropped, counted.
  std::vector<PlacedMarker> Finish();

  std::uint64_t Placed(Placement where) const { return placed_[static_cast<std::size_t>(where)]; }
  std::uint64_t Dropped() const { return dropped_; }

 private:
  struct Sample {
    std::uint64_t position;
    double time;
  };
  // Where the marker goes, or false while it should wait.
  bool Place(const Marker& marker, bool waitNoLonger, PlacedMarker& placed) const;
  std::vector<PlacedMarker> Drain(double now, bool finishing);

  const double halfPeriod_;
  const Settings settings_;
  struct Waiting {
    Marker marker;
    double until;  // placed by then, samples or not
  };
  std::deque<Sample> samples_;
  bool started_ = false;
  Sample first_{};
  std::deque<Waiting> waiting_;
  std::array<std::uint64_t, kPlacements> placed_{};
  std::uint64_t dropped_ = 0;
};

}  // namespace QVT::Markers
