#include "ClientQueue.h"

namespace QVT::Monitor {

void ClientQueue::Push(SharedText message) {
  {
    std::lock_guard lock(mutex);
    if (closed) return;
    if (messages.size() == capacity) {
      messages.pop_front();
      ++dropped;
    }
    messages.push_back(std::move(message));
  }
  ready.notify_one();
}

std::vector<SharedText> ClientQueue::Take(std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex);
  ready.wait_for(lock, patience, [this] { return closed || !messages.empty(); });
  if (closed) return {};
  std::vector<SharedText> taken(std::make_move_iterator(messages.begin()), std::make_move_iterator(messages.end()));
  messages.clear();
  return taken;
}

void ClientQueue::Close() {
  {
    std::lock_guard lock(mutex);
    closed = true;
  }
  ready.notify_all();
}

bool ClientQueue::Closed() const {
  std::lock_guard lock(mutex);
  return closed;
}

std::uint64_t ClientQueue::Dropped() const {
  std::lock_guard lock(mutex);
  return dropped;
}

}  // namespace QVT::Monitor
