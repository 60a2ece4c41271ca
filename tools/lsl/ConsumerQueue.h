// The samples waiting for one consumer of an outlet. Bounded: when the
// consumer falls behind, the oldest samples go, counted, so that neither the
// pusher nor the other consumers ever wait for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace QVT::Lsl {

// One encoded sample, shared by every consumer that sends it.
using SharedBytes = std::shared_ptr<const std::string>;

class ConsumerQueue {
 public:
  explicit ConsumerQueue(std::size_t maxSamples) : capacity(maxSamples == 0 ? 1 : maxSamples) {}

  struct PushOutcome {
    bool wake = false;  // the reader had run dry and must be told that samples wait
    std::uint64_t dropped = 0;
  };
  PushOutcome Push(std::span<const SharedBytes> samples);

  // Everything queued, oldest first. When there is nothing, the reader is
  // marked dry, so that the next Push asks for it to be woken.
  std::vector<SharedBytes> TakeAll();

  std::uint64_t Dropped() const;

 private:
  const std::size_t capacity;
  mutable std::mutex mutex;
  std::deque<SharedBytes> samples;
  bool readerDry = false;
  std::uint64_t dropped = 0;
};

}  // namespace QVT::Lsl
