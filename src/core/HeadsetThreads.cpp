// The background acquisition thread, the data watchdog, and the ways a client
// reads the link on its own thread.
#include <cmath>
#include <string>

#include "core/Headset.h"
#include "util/Timing.h"

namespace QVT {

namespace {

constexpr double kThreadPoll = 0.001;
constexpr double kWatchdogPeriod = 1.0;
// The watchdog sleeps its second in slices so that a stop request does not
// wait for the whole of it.
constexpr double kWatchdogSlice = 0.01;
// A read that found nothing on a simulated link returns at once; this keeps
// Idle from spinning.
constexpr double kIdlePause = 0.001;

}  // namespace

bool Headset::InsideLinkWork() const {
  return readLock.HeldByThisThread() || sendLock.HeldByThisThread() || acquisitionThread.IsCurrentThread() ||
         dataWatchdog.IsCurrentThread();
}

void Headset::RefuseInsideLinkWork(const std::string& action) const {
  if (InsideLinkWork())
    throw "Cannot " + action + " from inside a callback that runs while the headset reads its link.";
}

void Headset::StopAndWaitFor(Thread& thread) {
  // A thread cannot wait for itself, nor for a thread that may be waiting for
  // a lock this one holds.
  RefuseInsideLinkWork("stop a thread of the headset");
  thread.RequestStop();
  if (thread.Running()) serial.Interrupt();
  while (thread.Running() && !thread.Finished()) Sleep(kThreadPoll);
  // The thread may have ended without waiting on the link.
  serial.ClearInterrupt();
}

int Headset::AcquisitionThread::Run() {
  // Mode -1 (never reported) counts as streaming: a simulated link is read
  // without being told to start.
  const bool wasStreaming = headset.DataAcquisitionModeNow() != 0;
  if (!wasStreaming) headset.StartDataAcquisition();
  if (!StopRequested()) {
    // Waits sleep until this loop tells them of a block, so they must hear
    // when it ends too, however it ends.
    struct Reading {
      Headset& headset;
      explicit Reading(Headset& h) : headset(h) { headset.acquisitionReading.store(true); }
      ~Reading() {
        headset.acquisitionReading.store(false);
        headset.waitSignal.Notify();
      }
      Reading(const Reading&) = delete;
      Reading& operator=(const Reading&) = delete;
    } reading(headset);
    while (headset.DataAcquisitionModeNow() != 0) {
      // The read itself waits for the link; the pause is only for a read
      // that found nothing, so that a silent link is not spun on.
      if (!headset.TryToReadBlock()) Sleep(kThreadPoll);
      if (StopRequested()) break;
    }
  }
  if (!wasStreaming && headset.DataAcquisitionModeNow() != 0) headset.StopDataAcquisition();
  return 0;
}

int Headset::DataWatchdog::Run() {
  while (!StopRequested()) {
    const double wake = PrecisionTime() + kWatchdogPeriod;
    while (!StopRequested() && PrecisionTime() < wake) Sleep(kWatchdogSlice);
    if (StopRequested()) break;
    if (headset.serial.Elapsed() - headset.lastDataTime >= headset.watchdogInterval.load()) {
      headset.VerifyConnection();
      if (headset.linkLost) break;
    }
  }
  return 0;
}

bool Headset::StartBackgroundAcquisition() {
  RefuseInsideLinkWork("start background acquisition");
  StopAndWaitFor(acquisitionThread);
  return acquisitionThread.Start();
}

void Headset::StopBackgroundAcquisition() {
  acquisitionThread.RequestStop();
  // A thread waiting for a silent link would otherwise notice only when its
  // read times out.
  serial.Interrupt();
}

void Headset::WaitOutAcquisition(const std::string& action) {
  if (!BackgroundAcquisitionRunning()) return;
  if (!acquisitionThread.StopRequested())
    throw "Cannot " + action + " while background acquisition runs: stop it first.";
  StopAndWaitFor(acquisitionThread);
}

bool Headset::BackgroundAcquisitionRunning() const {
  return acquisitionThread.Running() && !acquisitionThread.Finished();
}

void Headset::ReadBlocksFor(double seconds) {
  const double end = serial.Elapsed() + seconds;
  do {
    if (!TryToReadBlock()) Sleep(kIdlePause);
  } while (serial.Elapsed() < end);
}

namespace {

// A NaN is neither a time limit nor "for ever".
void CheckDuration(double seconds) {
  if (std::isnan(seconds)) throw std::string("a duration must be a number of seconds, not nan");
}

}  // namespace

void Headset::Idle(double seconds) {
  CheckDuration(seconds);
  if (seconds >= 0.0) {
    ReadBlocksFor(seconds);
    return;
  }
  for (;;)
    if (!TryToReadBlock()) Sleep(kIdlePause);
}

void Headset::Receive(double duration, double lingerTime) {
  CheckDuration(duration);
  CheckDuration(lingerTime);
  const double start = serial.Elapsed();
  if (DataAcquisitionModeNow() == 0) StartDataAcquisition();
  while (DataAcquisitionModeNow() != 0) {
    if (duration >= 0.0 && serial.Elapsed() >= start + duration) {
      StopDataAcquisition();
      break;
    }
    TryToReadBlock();
  }
  if (lingerTime == 0.0) return;
  if (lingerTime < 0.0) Idle(-1.0);
  ReadBlocksFor(lingerTime);
}

}  // namespace QVT
