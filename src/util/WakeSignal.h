// Lets a thread that waits for another thread's work sleep until that work
// is done, instead of looking every so often. The producer counts what it
// has done; a sleeper takes the count before it checks what it waits for and
// sleeps only while the count is still the one it took, so a notification
// that comes between its check and its sleep is never lost.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace QVT {

class WakeSignal {
 public:
  // Notifications so far. Taken before looking at what the sleep waits for.
  std::uint64_t Count() const { return count.load(); }

  // Wakes every sleeper. Cheap without sleepers (two atomics); with them the
  // lock is taken only for as long as a sleeper holds it, which is never
  // longer than its check of the count.
  void Notify();

  // Sleeps until Count() differs from seen, at most `seconds` (no limit when
  // infinite). True when woken by a notification.
  bool SleepUnless(std::uint64_t seen, double seconds);

 private:
  std::atomic<std::uint64_t> count{0};
  std::atomic<unsigned> sleepers{0};
  std::mutex lock;
  std::condition_variable woken;
};

}  // namespace QVT
