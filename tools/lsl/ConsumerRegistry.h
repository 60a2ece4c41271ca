// The consumers an outlet feeds right now. The pusher hands every sample to
// all of them at once; sessions come and go on the network thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "ConsumerQueue.h"

namespace QVT::Lsl {

class ConsumerRegistry {
 public:
  struct Consumer {
    std::string peer;  // for log lines
    std::shared_ptr<ConsumerQueue> queue;
    bool suppressSubnormals = false;
    // Must not block: it sends without waiting or schedules the session's
    // writing. Called with the registry locked.
    std::function<void()> wake;
  };

  std::uint64_t Add(Consumer consumer);
  void Remove(std::uint64_t id);

  std::size_t Count() const;
  bool AnySuppressSubnormals() const { return suppressing.load() > 0; }
  std::uint64_t Dropped() const { return dropped.load(); }

  // Queues the samples for every consumer, those that cannot take subnormal
  // numbers getting the flushed copies (which may be empty when none such
  // is registered). Drops are logged at most once a second per consumer.
  void Deliver(std::span<const SharedBytes> samples, std::span<const SharedBytes> flushed);

 private:
  struct Entry {
    Consumer consumer;
    std::uint64_t unreportedDrops = 0;
    std::chrono::steady_clock::time_point lastReport{};
  };

  mutable std::mutex mutex;
  std::map<std::uint64_t, Entry> entries;
  std::uint64_t nextId = 1;
  std::atomic<int> suppressing{0};
  std::atomic<std::uint64_t> dropped{0};
};

}  // namespace QVT::Lsl
