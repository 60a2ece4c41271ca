#include "util/WakeSignal.h"

#include <chrono>
#include <cmath>

namespace QVT {

namespace {

// Beyond this a time limit is no limit: it would overflow the clock's ticks.
constexpr double kLongestTimedSleep = 1e6;

}  // namespace

void WakeSignal::Notify() {
  count.fetch_add(1);
  // A sleeper registers under the lock before it looks at the count, and
  // both atomics are sequentially consistent: either it sees the new count,
  // or this sees it registered and takes the lock after it has gone to sleep.
  if (sleepers.load() == 0) return;
  { std::lock_guard<std::mutex> guard(lock); }
  woken.notify_all();
}

bool WakeSignal::SleepUnless(std::uint64_t seen, double seconds) {
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

}  // namespace QVT
