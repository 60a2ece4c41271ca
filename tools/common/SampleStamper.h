// Acquisition stamps for the samples a client reads: a sample's place in the
// headset's count comes from the headset's own time stamp (a longer step
// hides lost samples), its time from a ClockModel fed with its arrival.
#pragma once

#include "ClockModel.h"
#include "SampleTimeline.h"

namespace QVT::Tools {

class SampleStamper {
 public:
  explicit SampleStamper(double samplingRate) : timeline_(samplingRate), model_(samplingRate) {}

  // The acquisition time (seconds, CLOCK_MONOTONIC) of the sample the
  // headset stamped headsetTime that arrived at arrival. A headset stamp
  // that jumps (a restarted headset) starts the clock model afresh.
  double Stamp(double headsetTime, double arrival);

  const ClockModel& Model() const { return model_; }
  const SampleTimeline& Timeline() const { return timeline_; }

 private:
  SampleTimeline timeline_;
  ClockModel model_;
  bool started_ = false;
  bool counted_ = false;  // a sample has its index
  double firstArrival_ = 0.0;
  std::uint64_t index_ = 0;  // in the headset's count since the last jump
  unsigned jumps_ = 0;
};

}  // namespace QVT::Tools
