#include "BatchLoop.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "Interrupt.h"
#include "LibraryCalls.h"

namespace QVT::Stream {

namespace {

constexpr double kBatchSeconds = 0.1;
constexpr double kTargetDelay = 0.05;
// Without a sample for this long the headset is taken for gone.
constexpr double kDataTimeout = 5.0;

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
    QVT_Headset_StopBackgroundAcquisition(headset);
    for (int polls = 0; polls < 300 && QVT_Headset_GetDataAcquisitionMode(headset) == 1; ++polls)
      QVT_Sleep(0.01);
    // The thread leaves right after the stream has stopped.
    QVT_Sleep(0.05);
    // Failures while stopping are not the caller's concern.
    QVT_ClearError();
  }
  BackgroundAcquisition(const BackgroundAcquisition&) = delete;
  BackgroundAcquisition& operator=(const BackgroundAcquisition&) = delete;

 private:
  QVT_Headset* headset;
};

}  // namespace

Progress RunBatches(QVT_Headset* headset, double seconds, const std::function<void(unsigned)>& readBatch,
                    ProgressDisplay& display) {
  const double rate = QVT_Headset_GetSamplingRate(headset);
  ThrowIfFailed("cannot read the sampling rate");
  if (!(rate > 0.0)) throw RuntimeError("the headset reports no sampling rate");
  const auto batchSize = static_cast<unsigned>(std::max(1.0, std::round(rate * kBatchSeconds)));
  QVT_Headset_ConfigureBatch(headset, batchSize, kTargetDelay);
  ThrowIfFailed("cannot configure batches");

  Progress progress;
  if (Interrupted()) return progress;
  try {
    BackgroundAcquisition acquisition(headset);
    const auto start = std::chrono::steady_clock::now();
    // The first batch is primed with a cushion and the target delay. Waiting
    // here until that much is buffered keeps WaitForBatch from blocking on a
    // silent headset, where Ctrl-C could not end it.
    unsigned needed = batchSize + 5 + static_cast<unsigned>(std::ceil(rate * kTargetDelay));
    // Samples that have arrived, read or not: the buffered count alone may
    // stand still between polls while data keeps coming.
    unsigned long previouslyArrived = 0;
    double lastArrival = 0.0;
    while (!Interrupted()) {
      progress.elapsedSeconds = SecondsSince(start);
      progress.buffered = QVT_Headset_GetNumberOfBufferedSamples(headset);
      progress.overflowed = QVT_Headset_GetNumberOfOverflowedSamples(headset);
      ThrowIfFailed("cannot read the buffers");
      const unsigned long arrived = progress.samples + progress.buffered;
      if (arrived > previouslyArrived) {
        lastArrival = progress.elapsedSeconds;
      } else if (progress.elapsedSeconds - lastArrival > kDataTimeout) {
        throw RuntimeError("no data from the headset for " + std::to_string(static_cast<int>(kDataTimeout)) +
                           " seconds");
      }
      previouslyArrived = arrived;
      if (progress.buffered < needed) {
        display.Update(progress);
        QVT_Sleep(0.005);
        continue;
      }
      QVT_Headset_WaitForBatch(headset);
      ThrowIfFailed("waiting for a batch failed");
      readBatch(batchSize);
      ThrowIfFailed("reading a batch failed");
      progress.samples += batchSize;
      needed = batchSize;
      progress.elapsedSeconds = SecondsSince(start);
      display.Update(progress);
      if (progress.elapsedSeconds >= seconds) break;
    }
  } catch (...) {
    // An error message must not land on the end of the progress line.
    display.Finish(progress);
    throw;
  }
  display.Finish(progress);
  return progress;
}

}  // namespace QVT::Stream
