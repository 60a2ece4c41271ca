#include "BatchLoop.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

#include "Interrupt.h"

namespace QVT::Tools {

namespace {

// Without a sample for this long the headset is taken for gone: a little
// before the library, inside a wait, would ask a headset silent for 5 s for
// an echo, which a link that comes back meanwhile may still fail.
constexpr double kDataTimeout = 4.5;
// The longest a wait for a batch goes on before the loop looks at its flags.
constexpr double kWaitSlice = 0.1;

std::string Seconds(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%g s", seconds);
  return text;
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Stops acquisition however the loop ends, and waits for the thread to stop
// the data stream it started, so that the next command meets a quiet link.
class BackgroundAcquisition {
 public:
  explicit BackgroundAcquisition(QVT_Headset* target) : headset(target) {
    if (!QVT_Headset_StartBackgroundAcquisition(headset)) ThrowIfFailed("cannot start acquisition");
  }
  ~BackgroundAcquisition() {
    // Stopping would have the thread retry a stop command for 20 s; the
    // headset is left as it is, for its owner to let go of (Abandon, or an
    // echo that settles whether it is gone before it is deleted).
    if (silent) return;
    QVT_Headset_StopBackgroundAcquisition(headset);
    // A lost link cannot stop the stream; there is nothing to wait for.
    for (int polls = 0; polls < 300 && !linkLost && QVT_Headset_GetDataAcquisitionMode(headset) == 1; ++polls)
      QVT_Sleep(0.01);
    // The thread leaves right after the stream has stopped.
    QVT_Sleep(0.05);
    // Failures while stopping are not the caller's concern.
    QVT_ClearError();
  }
  BackgroundAcquisition(const BackgroundAcquisition&) = delete;
  BackgroundAcquisition& operator=(const BackgroundAcquisition&) = delete;

  bool linkLost = false;  // the library says so
  bool silent = false;    // no data for a while: the headset may be gone

 private:
  QVT_Headset* headset;
};

}  // namespace

void RunBatches(QVT_Headset* headset, double seconds, const std::function<bool(unsigned)>& readBatch,
                ProgressDisplay& display, Progress& progress, const BatchPacing& pacing) {
  const double rate = QVT_Headset_GetSamplingRate(headset);
  ThrowIfFailed("cannot read the sampling rate");
  if (!(rate > 0.0)) throw RuntimeError("the headset reports no sampling rate");
  const auto batchSize = static_cast<unsigned>(std::max(1.0, std::round(rate * pacing.batchSeconds)));
  QVT_Headset_ConfigureBatch(headset, batchSize, pacing.targetDelay);
  ThrowIfFailed("cannot configure batches");

  if (Interrupted()) return;
  const double elapsedBefore = progress.elapsedSeconds;
  const double end = elapsedBefore + seconds;
  try {
    BackgroundAcquisition acquisition(headset);
    const auto start = std::chrono::steady_clock::now();
    // Samples that have arrived, read or not: the buffered count alone may
    // stand still between polls while data keeps coming.
    unsigned long previouslyArrived = 0;
    std::uint64_t samplesBefore = progress.samples;
    double lastArrival = elapsedBefore;
    while (!Interrupted()) {
      progress.elapsedSeconds = elapsedBefore + SecondsSince(start);
      if (QVT_Headset_GetLinkState(headset, nullptr) == QVT_LINK_LOST) {
        acquisition.linkLost = true;
        throw LinkLostError("the link to the headset is lost");
      }
      progress.buffered = QVT_Headset_GetNumberOfBufferedSamples(headset);
      progress.overflowed = QVT_Headset_GetNumberOfOverflowedSamples(headset);
      ThrowIfFailed("cannot read the buffers");
      const unsigned long arrived = progress.samples - samplesBefore + progress.buffered;
      if (arrived > previouslyArrived) {
        lastArrival = progress.elapsedSeconds;
      } else if (progress.elapsedSeconds - lastArrival > kDataTimeout) {
        acquisition.silent = true;
        throw LinkLostError("no data from the headset for " + Seconds(kDataTimeout));
      }
      previouslyArrived = arrived;
      // Bounded, so that Ctrl-C and a silent headset are noticed between
      // waits. A prompt wait sleeps until the acquisition thread has read a
      // block, so it returns with each block the headset sends.
      unsigned long ready = batchSize;
      const int waited = pacing.prompt ? QVT_Headset_WaitForSamplesTimeout(headset, 1, kWaitSlice, &ready)
                                       : QVT_Headset_WaitForBatchTimeout(headset, kWaitSlice, nullptr);
      if (waited == 0 && QVT_Headset_GetLinkState(headset, nullptr) == QVT_LINK_LOST) {
        QVT_ClearError();  // told as a lost link at the top of the loop
        continue;
      }
      ThrowIfFailed("waiting for a batch failed");
      if (waited != QVT_WAIT_READY) {
        display.Update(progress);
        continue;
      }
      const auto taking = static_cast<unsigned>(ready);
      const bool more = readBatch(taking);
      ThrowIfFailed("reading a batch failed");
      progress.samples += taking;
      progress.elapsedSeconds = elapsedBefore + SecondsSince(start);
      display.Update(progress);
      if (!more || progress.elapsedSeconds >= end) break;
    }
  } catch (...) {
    // An error message must not land on the end of the progress line.
    display.Finish(progress);
    throw;
  }
  display.Finish(progress);
}

}  // namespace QVT::Tools
