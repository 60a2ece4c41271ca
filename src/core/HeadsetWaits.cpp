// What bounds a client's wait for data: a time limit, a wake-up from another
// thread, and a link that has gone silent.
#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "core/Headset.h"
#include "util/Timing.h"

namespace QVT {

namespace {

// A link silent for this long is asked whether it is still there; streaming
// headsets send a packet every few milliseconds.
constexpr double kSilenceBeforeCheck = 5.0;
// A wait that can be woken sleeps no longer than this at a time.
constexpr double kWakeSlice = 0.01;

}  // namespace

Headset::WaitLimit Headset::BoundedWait(double timeoutSeconds) const {
  if (std::isnan(timeoutSeconds)) throw std::string("a time limit must be a number of seconds, not nan");
  WaitLimit limit;
  if (timeoutSeconds >= 0.0) limit.deadline = PrecisionTime() + timeoutSeconds;
  limit.wakeable = true;
  limit.checksSilence = true;
  limit.wakeCount = wakeCount.load();
  return limit;
}

bool Headset::WaitEnded(const WaitLimit& limit, WaitOutcome& why) const {
  if (limit.wakeable && wakeCount.load() != limit.wakeCount) {
    why = WaitOutcome::Woken;
    return true;
  }
  if (PrecisionTime() >= limit.deadline) {
    why = WaitOutcome::TimedOut;
    return true;
  }
  return false;
}

void Headset::PauseWithin(const WaitLimit& limit, double seconds) const {
  if (limit.wakeable && seconds > kWakeSlice) seconds = kWakeSlice;
  const double left = limit.deadline - PrecisionTime();
  Sleep(seconds < left ? seconds : left);
}

void Headset::AwaitNews(const WaitLimit& limit, WakeSignal::Ticket seen, double seconds) {
  const double left = limit.deadline - PrecisionTime();
  waitSignal.SleepUnless(seen, std::min(seconds, left));
}

double Headset::SecondsUntilSilenceCheck(const WaitLimit& limit) const {
  // A simulated link is silent whenever the test feeding it is; the
  // watchdog, when it runs, does this check itself.
  if (!limit.checksSilence || !serial.IsOpen() || watchdogInterval.load() > 0.0)
    return std::numeric_limits<double>::infinity();
  return kSilenceBeforeCheck - (serial.Elapsed() - lastDataTime.load());
}

void Headset::CheckSilentLink(const WaitLimit& limit) {
  if (SecondsUntilSilenceCheck(limit) <= 0.0) VerifyConnection();
}

}  // namespace QVT
