#include "ConsumerQueue.h"

namespace QVT::Lsl {

ConsumerQueue::PushOutcome ConsumerQueue::Push(std::span<const SharedBytes> pushed) {
  PushOutcome outcome;
  std::lock_guard lock(mutex);
  for (const auto& sample : pushed) {
    if (samples.size() == capacity) {
      samples.pop_front();
      ++outcome.dropped;
    }
    samples.push_back(sample);
  }
  dropped += outcome.dropped;
  outcome.wake = readerDry && !samples.empty();
  if (outcome.wake) readerDry = false;
  return outcome;
}

std::vector<SharedBytes> ConsumerQueue::TakeAll() {
  std::lock_guard lock(mutex);
  std::vector<SharedBytes> taken(std::make_move_iterator(samples.begin()), std::make_move_iterator(samples.end()));
  samples.clear();
  readerDry = taken.empty();
  return taken;
}

std::uint64_t ConsumerQueue::Dropped() const {
  std::lock_guard lock(mutex);
  return dropped;
}

}  // namespace QVT::Lsl
