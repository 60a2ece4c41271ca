#include "TriggerTimeline.h"

namespace QVT::Tools {

std::int64_t TriggerTimeline::Place(std::int64_t position) {
  if (!started) {
    // The line is full when the first sample is taken: the samples before
    // it came without a gap, as far as anyone knows.
    started = true;
    for (unsigned k = delay; k > 0; --k) inLine.push_back(position - k);
  }
  next = position + 1;
  if (delay == 0) return position;
  const std::int64_t entered = inLine.front();
  inLine.pop_front();
  inLine.push_back(position);
  return entered + delay;
}

std::int64_t TriggerTimeline::Settled() const {
  if (delay == 0 || inLine.empty()) return next;
  return inLine.front() + delay;
}

unsigned TriggerTimeline::LibraryDelay(double rate, int filterMode) {
  return filterMode != 0 && (rate == 300.0 || rate == 600.0) ? 16 : 0;
}

}  // namespace QVT::Tools
