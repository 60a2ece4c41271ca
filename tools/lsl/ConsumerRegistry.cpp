#include "ConsumerRegistry.h"

#include <vector>

#include "Log.h"

namespace QVT::Lsl {

std::uint64_t ConsumerRegistry::Add(Consumer consumer) {
  std::lock_guard lock(mutex);
  if (consumer.suppressSubnormals) ++suppressing;
  entries[nextId] = Entry{std::move(consumer)};
  return nextId++;
}

void ConsumerRegistry::Remove(std::uint64_t id) {
  std::lock_guard lock(mutex);
  const auto found = entries.find(id);
  if (found == entries.end()) return;
  if (found->second.consumer.suppressSubnormals) --suppressing;
  entries.erase(found);
}

std::size_t ConsumerRegistry::Count() const {
  std::lock_guard lock(mutex);
  return entries.size();
}

void ConsumerRegistry::Deliver(std::span<const SharedBytes> samples, std::span<const SharedBytes> flushed) {
  std::vector<std::string> reports;  // logged after the lock, since a log sink may call back in
  {
    std::lock_guard lock(mutex);
    const auto now = std::chrono::steady_clock::now();
    for (auto& [id, entry] : entries) {
      auto& consumer = entry.consumer;
      const auto outcome = consumer.queue->Push(consumer.suppressSubnormals ? flushed : samples);
      if (outcome.wake) consumer.wake();
      if (outcome.dropped == 0) continue;
      dropped += outcome.dropped;
      entry.unreportedDrops += outcome.dropped;
      if (now - entry.lastReport >= std::chrono::seconds(1)) {
        reports.push_back("consumer " + consumer.peer + " falls behind: " + std::to_string(entry.unreportedDrops) +
                          " oldest samples dropped (" + std::to_string(consumer.queue->Dropped()) + " in all)");
        entry.unreportedDrops = 0;
        entry.lastReport = now;
      }
    }
  }
  for (const auto& report : reports) Log(report);
}

}  // namespace QVT::Lsl
