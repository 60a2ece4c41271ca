#include "SampleStamper.h"

namespace QVT::Tools {

double SampleStamper::Stamp(double headsetTime, double arrival) {
  if (!started_) {
    started_ = true;
    firstArrival_ = arrival;
  }
  const std::uint64_t missing = timeline_.Next(headsetTime, arrival - firstArrival_);
  if (timeline_.TimeJumps() != jumps_) {
    jumps_ = timeline_.TimeJumps();
    model_.Restart();
    index_ = 0;
  } else if (counted_) {
    index_ += 1 + missing;
  }
  counted_ = true;
  return model_.Stamp(index_, arrival);
}

}  // namespace QVT::Tools
