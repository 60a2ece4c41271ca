// Lets a thread that waits for another thread's work sleep until that work
// is done, instead of looking every so often. The producer counts what it
// has done; a sleeper takes the count before it checks what it waits for and
// sleeps only while the count is still the one it took, so a notification
// that comes between its check and its sleep is never lost.
#pragma once

#include <atomic>
#include <cstdint>

#ifndef __linux__
#include <condition_variable>
#include <mutex>
#endif

namespace QVT {

class WakeSignal {
 public:
  // A count of notifications; it wraps, and only its changing matters.
  using Ticket = std::uint32_t;

  // Notifications so far. Taken before looking at what the sleep waits for.
  Ticket Count() const { return count.load(); }

  // Wakes every sleeper. Cheap without sleepers (two atomics).
  void Notify();

  // Sleeps until Count() differs from seen, at most `seconds` (no limit when
  // infinite). True when woken by a notification.
  bool SleepUnless(Ticket seen, double seconds);

 private:
  // On Linux the sleepers wait on the count itself (a futex): a wake-up is
  // one system call each side, where a condition variable's mutex costs a
  // third whenever a sleeper wakes.
  std::atomic<Ticket> count{0};
  std::atomic<unsigned> sleepers{0};
#ifndef __linux__
  std::mutex lock;
  std::condition_variable woken;
#endif
};

}  // namespace QVT
