// Which samples never arrived, told by the headset's own time stamp of each
// sample (the "SND" source): consecutive samples lie one period apart, so a
// longer step hides samples lost on the way.
#pragma once

#include <cstdint>

namespace QVT::Tools {

class SampleTimeline {
 public:
  explicit SampleTimeline(double samplingRate) : rate(samplingRate) {}

  // The samples missing just before the one stamped t (0 for the first).
  // A stamp that goes backwards or leaps further than the wall-clock time
  // since the first sample allows (wallSeconds) is a garbled stamp or a
  // restarted headset, not a gap: it counts as a time jump and the line
  // continues from it.
  std::uint64_t Next(double t, double wallSeconds);

  std::uint64_t LostSamples() const { return lost; }
  unsigned Gaps() const { return gaps; }
  unsigned TimeJumps() const { return jumps; }

 private:
  double rate;
  bool started = false;
  double firstStamp = 0.0;
  double lastStamp = 0.0;
  std::uint64_t lost = 0;
  unsigned gaps = 0;
  unsigned jumps = 0;
};

}  // namespace QVT::Tools
