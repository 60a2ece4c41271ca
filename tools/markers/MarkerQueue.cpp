#include "MarkerQueue.h"

#include <cstdio>

namespace QVT::Markers {
namespace {

constexpr std::chrono::seconds kWarningInterval{5};

}  // namespace

void MarkerQueue::AddSource(const std::string& source) {
  const std::lock_guard guard(lock_);
  counts_[source];
}

bool MarkerQueue::Push(Marker marker) {
  std::string warning;
  {
    const std::lock_guard guard(lock_);
    SourceCounts& counts = counts_[marker.source];
    if (marker.text.size() > limits_.maxTextBytes) {
      marker.text.resize(limits_.maxTextBytes);
      ++counts.cut;
    }
    if (queue_.size() < limits_.maxMarkers && bytes_ + marker.text.size() <= limits_.maxBytes) {
      ++counts.received;
      bytes_ += marker.text.size();
      queue_.push_back(std::move(marker));
      arrived_.notify_one();
      return true;
    }
    ++counts.dropped;
    const auto now = std::chrono::steady_clock::now();
    if (now - lastWarning_ >= kWarningInterval) {
      lastWarning_ = now;
      warning = "markers: more arrive than are taken; dropping those of " + marker.source + " (" +
                std::to_string(counts.dropped) + " so far)";
    }
  }
  if (!warning.empty()) std::fprintf(stderr, "%s\n", warning.c_str());  // outside the lock
  return false;
}

std::vector<Marker> MarkerQueue::Take(std::chrono::milliseconds wait) {
  std::unique_lock guard(lock_);
  if (queue_.empty() && wait.count() > 0) arrived_.wait_for(guard, wait, [this] { return !queue_.empty(); });
  std::vector<Marker> taken(std::make_move_iterator(queue_.begin()), std::make_move_iterator(queue_.end()));
  queue_.clear();
  bytes_ = 0;
  return taken;
}

std::map<std::string, SourceCounts> MarkerQueue::Counts() const {
  const std::lock_guard guard(lock_);
  return counts_;
}

}  // namespace QVT::Markers
