// Where every marker source delivers: one bounded queue, safe from any
// thread, so that a flood or a hostile sender costs bounded memory and never
// holds up the thread that takes markers out. What it must refuse or cut is
// counted per source and logged (at most once every few seconds).
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "Marker.h"

namespace QVT::Markers {

struct MarkerLimits {
  std::size_t maxMarkers = 100000;
  std::size_t maxBytes = std::size_t{32} << 20;      // of text, over the whole queue
  std::size_t maxTextBytes = std::size_t{64} << 10;  // a longer text is cut to this
};

struct SourceCounts {
  std::uint64_t received = 0;  // taken into the queue
  std::uint64_t dropped = 0;   // refused: the queue was full
  std::uint64_t cut = 0;       // texts longer than the limit, kept shortened
};

class MarkerQueue {
 public:
  explicit MarkerQueue(MarkerLimits limits = {}) : limits_(limits) {}

  // Makes a source known, so that it is counted (at 0) before its first marker.
  void AddSource(const std::string& source);
  // False when the queue is full: the marker is dropped and counted.
  bool Push(Marker marker);
  // Everything queued, oldest first, after waiting up to wait for a first one.
  std::vector<Marker> Take(std::chrono::milliseconds wait = std::chrono::milliseconds(0));

  std::map<std::string, SourceCounts> Counts() const;

 private:
  const MarkerLimits limits_;
  mutable std::mutex lock_;
  std::condition_variable arrived_;
  std::deque<Marker> queue_;
  std::size_t bytes_ = 0;
  std::map<std::string, SourceCounts> counts_;
  std::chrono::steady_clock::time_point lastWarning_{};
};

}  // namespace QVT::Markers
