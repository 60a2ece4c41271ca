#include "util/Timing.h"

#include <sys/select.h>
#include <time.h>

#include <algorithm>
#include <mutex>

namespace Timing {

namespace {

void SelectWait(long seconds, long microseconds) {
  timeval tv{};
  tv.tv_sec = seconds;
  tv.tv_usec = microseconds;
  select(0, nullptr, nullptr, nullptr, &tv);
}

}  // namespace

double SecondsSinceEpoch() {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec / 1000000) / 1000.0;
}

double MonotonicSeconds() {
  static double origin = 0.0;
  static std::once_flag firstTime;
  timespec ts{};
  if (clock_gettime(CLOCK_MONOTONIC, &ts) != 0) return -1.0;
  const double now = static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
  std::call_once(firstTime, [now] { origin = now - SecondsSinceEpoch(); });
  return now - origin;
}

// Longer waits are held here: converting a larger (or NaN) duration to an
// integer is undefined. Thirty years are enough for anyone.
constexpr double kLongestSleep = 1e9;

void SleepSeconds(double s) {
  if (!(s > 0.0)) return;
  s = std::min(s, kLongestSleep);
  const auto whole = static_cast<long>(s);
  SelectWait(whole, static_cast<long>((s - static_cast<double>(whole)) * 1e6 + 0.5));
}

void Sleep(double s) {
  if (!(s >= 0.0)) return;
  s = std::min(s, kLongestSleep);
  const auto ms = static_cast<long>(s * 1000.0 + 0.5);
  SelectWait(ms / 1000, (ms % 1000) * 1000);
}

}  // namespace Timing
