#include "util/WakeSignal.h"

#include <chrono>

#ifdef __linux__
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <ctime>
#endif

namespace QVT {

namespace {

// Beyond this a time limit is no limit: it would overflow the clock's ticks.
constexpr double kLongestTimedSleep = 1e6;

}  // namespace

#ifdef __linux__

static_assert(sizeof(std::atomic<WakeSignal::Ticket>) == sizeof(int) &&
                  std::atomic<WakeSignal::Ticket>::is_always_lock_free,
              "the count is the futex word");

void WakeSignal::Notify() {
  count.fetch_add(1);
  // A sleeper registers before it looks at the count, and both atomics are
  // sequentially consistent: either it sees the new count, or this sees it
  // registered, and then the kernel either wakes it or finds the count
  // changed when it would start to sleep.
  if (sleepers.load() == 0) return;
  syscall(SYS_futex, reinterpret_cast<int*>(&count), FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

bool WakeSignal::SleepUnless(Ticket seen, double seconds) {
  using Clock = std::chrono::steady_clock;
  const bool limited = seconds < kLongestTimedSleep;
  const Clock::time_point deadline =
      Clock::now() +
      std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(limited ? seconds : 0.0));
  sleepers.fetch_add(1);
  bool notified = count.load() != seen;
  while (!notified) {
    timespec left{};
    if (limited) {
      const auto remaining =
          std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - Clock::now()).count();
      if (remaining <= 0) break;
      left.tv_sec = static_cast<std::time_t>(remaining / 1000000000);
      left.tv_nsec = static_cast<long>(remaining % 1000000000);
    }
    // Returns at once when the count has changed already; woken, timed out
    // or interrupted, the count says which.
    syscall(SYS_futex, reinterpret_cast<int*>(&count), FUTEX_WAIT_PRIVATE, static_cast<int>(seen),
            limited ? &left : nullptr, nullptr, 0);
    notified = count.load() != seen;
  }
  sleepers.fetch_sub(1);
  return notified;
}

#else

void WakeSignal::Notify() {
  count.fetch_add(1);
  // As above; the lock is taken only for as long as a sleeper holds it,
  // which is never longer than its check of the count.
  if (sleepers.load() == 0) return;
  { std::lock_guard<std::mutex> guard(lock); }
  woken.notify_all();
}

bool WakeSignal::SleepUnless(Ticket seen, double seconds) {
  std::unique_lock<std::mutex> guard(lock);
  sleepers.fetch_add(1);
  const auto notified = [&] { return count.load() != seen; };
  bool result = true;
  if (!(seconds < kLongestTimedSleep)) {
    woken.wait(guard, notified);
  } else if (seconds > 0.0) {
    result = woken.wait_for(guard, std::chrono::duration<double>(seconds), notified);
  } else {
    result = notified();
  }
  sleepers.fetch_sub(1);
  return result;
}

#endif

}  // namespace QVT
