// The messages waiting for one open page. Bounded: a page that falls behind
// (a slow machine, a frozen tab) loses its oldest messages, counted, so that
// whoever pushes never waits for it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace QVT::Monitor {

using SharedText = std::shared_ptr<const std::string>;

class ClientQueue {
 public:
  explicit ClientQueue(std::size_t most) : capacity(most == 0 ? 1 : most) {}

  void Push(SharedText message);
  // Everything queued, oldest first; waits up to `patience` for the first.
  // Empty on a timeout or once closed.
  std::vector<SharedText> Take(std::chrono::milliseconds patience);
  void Close();
  bool Closed() const;
  std::uint64_t Dropped() const;

 private:
  const std::size_t capacity;
  mutable std::mutex mutex;
  std::condition_variable ready;
  std::deque<SharedText> messages;
  std::uint64_t dropped = 0;
  bool closed = false;
};

}  // namespace QVT::Monitor
