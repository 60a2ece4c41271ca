// The buffering controller, which paces batches against the headset's true
// sample rate, and the operations that measure, drain, flush and size the
// buffers.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <sstream>

#include "core/BufferingController.h"
#include "core/Headset.h"
#include "util/Timing.h"

namespace QVT {

namespace {

// Closer than this to a release the wait spins instead of sleeping.
constexpr double kReleaseMargin = 0.002;
// Synchronous block reads stop this long before a release, so that a read
// cannot delay it.
constexpr double kReadMargin = 0.067;
constexpr double kPollInterval = 0.001;
constexpr double kSettleDelay = 0.003;
// How long a wait for the batch lock sleeps at most between looks; letting
// the lock go wakes it at once.
constexpr double kBatchTurnCheck = 0.1;

// Wakes the waits once a wait for a batch is over, so that another
// thread's wait for the batch lock takes its turn at once.
class NotifyWhenOver {
 public:
  explicit NotifyWhenOver(WakeSignal& waits) : signal(waits) {}
  ~NotifyWhenOver() { signal.Notify(); }
  NotifyWhenOver(const NotifyWhenOver&) = delete;
  NotifyWhenOver& operator=(const NotifyWhenOver&) = delete;

 private:
  WakeSignal& signal;
};

template <class F>
void ForEachDeliveryChannel(const Headset& headset, F&& f) {
  if (!headset.cascade.empty()) {
    for (Channel* channel : headset.cascade.back()->channels)
      if (channel) f(*channel);
  } else {
    for (const auto& channel : headset.montage) f(*channel);
  }
}

}  // namespace

void Headset::ConfigureBatch(unsigned int size, double delay) {
  batchSize = size;
  targetDelay = delay;
  batchIndex = 0;
  RebaseBufferingController(samplingRate, true);
}

void Headset::ConfigureBufferingController(double interval, double smoothingWeight, double p, double i,
                                           double d) {
  updateInterval = interval;
  smoothing = smoothingWeight;
  gainP = p;
  gainI = i;
  gainD = d;
  batchIndex = 0;
  RebaseBufferingController(samplingRate, true);
}

bool Headset::RebaseBufferingController(double sampleRate, bool full) {
  rebaseBatchIndex = batchIndex;
  lastUpdateBatchIndex = batchIndex;
  rebaseTime = PrecisionTime();
  driftCorrection = 0.0;
  if (full) updateCount = 0.0;
  if (sampleRate != 0.0) estimatedSampleRate = sampleRate;
  return true;
}

std::vector<Channel*> Headset::DeliveryChannels() const {
  if (!cascade.empty()) return cascade.back()->channels;
  return MontageChannels();
}

unsigned long Headset::Buffered() const {
  bool any = false;
  unsigned long fewest = std::numeric_limits<unsigned long>::max();
  ForEachDeliveryChannel(*this, [&](const Channel& channel) {
    any = true;
    fewest = std::min<unsigned long>(fewest, channel.buffer.Count());
  });
  return any ? fewest : 0;
}

unsigned long Headset::BufferOverflow() const {
  unsigned long most = 0;
  ForEachDeliveryChannel(*this, [&](const Channel& channel) {
    most = std::max<unsigned long>(most, channel.buffer.Overflow());
  });
  return most;
}

void Headset::WaitForSamples(unsigned long n) { WaitForSamples(n, WaitLimit{}); }

Headset::WaitOutcome Headset::WaitForSamples(unsigned long n, const WaitLimit& limit) {
  // The samples waited for would have to come from this very thread.
  RefuseInsideLinkWork("wait for samples");
  // More than the smallest delivery buffer holds would never be buffered.
  // Without delivery channels the wait has no end, as it always had.
  std::uint64_t room = std::numeric_limits<std::uint64_t>::max();
  ForEachDeliveryChannel(*this,
                         [&](const Channel& channel) { room = std::min(room, channel.buffer.Capacity()); });
  if (n > room)
    throw "cannot wait for " + std::to_string(n) + " samples: the buffers hold at most " +
        std::to_string(room);
  WaitOutcome why = WaitOutcome::Ready;
  for (;;) {
    // Seen before the buffers are looked at, so that a block read after the
    // look cuts the sleep below short.
    const WakeSignal::Ticket seen = waitSignal.Count();
    if (Buffered() >= n) return WaitOutcome::Ready;
    // A lost link sends nothing until the client connects again: the wait
    // would never end.
    if (linkLost.load()) throw std::string("QVT link lost: cannot wait for samples");
    if (WaitEnded(limit, why)) return why;
    CheckSilentLink(limit);
    if (acquisitionReading.load()) {
      // Nothing can change until the acquisition thread says so.
      AwaitNews(limit, seen, std::max(SecondsUntilSilenceCheck(limit), kPollInterval));
      continue;
    }
    PauseWithin(limit, kPollInterval);
    if (!BackgroundAcquisitionRunning()) TryToReadBlock();
  }
}

void Headset::WasteSamples(unsigned long n) {
  const unsigned long buffered = Buffered();
  if (buffered <= n) return;
  // Counted over the delivery channels but drained from the montage, even
  // behind a processing stage.
  const unsigned long excess = buffered - n;
  for (const auto& channel : montage)
    for (unsigned long k = 0; k < excess; ++k) channel->buffer.Read();
}

double Headset::WaitForBatch() {
  double timestamp = 0.0;
  WaitForBatch(WaitLimit{}, timestamp);
  return timestamp;
}

Headset::WaitOutcome Headset::WaitForBatch(const WaitLimit& limit, double& timestamp) {
  RefuseInsideLinkWork("wait for a batch");
  // Another thread's wait for a batch is waited out, as boundedly as the
  // batch itself. Declared first, the notification comes once the lock is
  // let go.
  const NotifyWhenOver over(waitSignal);
  std::unique_lock<OwnedMutex> controller(batchLock, std::defer_lock);
  WaitOutcome why = WaitOutcome::Ready;
  for (;;) {
    const WakeSignal::Ticket seen = waitSignal.Count();
    if (controller.try_lock()) break;
    if (WaitEnded(limit, why)) return why;
    AwaitNews(limit, seen, kBatchTurnCheck);
  }

  const double fs = samplingRate;
  const unsigned long size = batchSize;
  const unsigned long target = Buffering::SamplesIn(fs, targetDelay);
  const double batchSeconds = static_cast<double>(size) / fs;
  const auto batchDuration = [&](std::uint64_t batches) {
    return static_cast<double>(batches) * batchSeconds;
  };
  bool reset = false;

  if (batchIndex == 0) {
    // Prime: exactly a batch, a small cushion and the target wait.
    const unsigned long primed = Buffering::SaturatingAdd(size + 4, target);
    why = WaitForSamples(primed, limit);
    if (why != WaitOutcome::Ready) return why;
    WasteSamples(primed);
    Sleep(kSettleDelay);
    RebaseBufferingController(fs, true);
    timestamp = serial.Elapsed();
    reset = true;
  } else {
    // Kept aside until the batch is released: a wait that ends early leaves
    // the controller as it found it.
    const double drift =
        driftCorrection + static_cast<double>(size) / estimatedSampleRate - static_cast<double>(size) / fs;
    const double release = rebaseTime + batchDuration(batchIndex - rebaseBatchIndex) + drift;
    const unsigned long overfull = Buffering::SaturatingAdd(3 * size, target);
    while (PrecisionTime() < release) {
      const WakeSignal::Ticket seen = waitSignal.Count();
      if (WaitEnded(limit, why)) return why;
      const unsigned long buffered = Buffered();
      if (buffered > overfull) {
        RebaseBufferingController(fs, true);
        if (WouldIssue(2)) {
          std::ostringstream text;
          text << "Discharging buffer and resetting controller (triggered by " << buffered
               << " samples in buffer)";
          IssueMessage(text.str(), 2);
        }
        reset = true;
        break;
      }
      const double now = PrecisionTime();
      const bool background = BackgroundAcquisitionRunning();
      if (now < release - kReleaseMargin && acquisitionReading.load()) {
        // Woken by each block, for the overfull check above.
        AwaitNews(limit, seen, release - kReleaseMargin - now);
      } else if (now < release - kReleaseMargin) {
        // Without an acquisition thread nothing fills the buffers while this
        // thread sleeps, so once no more reads are due the rest of the wait
        // is one sleep: the buffers cannot change meanwhile.
        const bool nothingToDo = !background && now >= release - kReadMargin;
        PauseWithin(limit, nothingToDo ? release - kReleaseMargin - now : kPollInterval);
      } else {
        // Within the margin one sleep of microsecond resolution to the due
        // time, instead of spinning through it.
        SleepSeconds(release - now);
      }
      if (!background && PrecisionTime() < release - kReadMargin) TryToReadBlock();
    }
    timestamp = serial.Elapsed();

    if (Buffered() < size) {
      // A bounded wait that ends before the refill takes it up again on the
      // next call: one underflow is reported once, not once per call.
      if (!refilling && WouldIssue(2))
        IssueMessage("Real-time violation - refilling buffer and resetting controller", 2);
      refilling = true;
      why = WaitForSamples(size, limit);
      if (why != WaitOutcome::Ready) return why;
      refilling = false;
      RebaseBufferingController(fs, true);
      timestamp = serial.Elapsed();
      Sleep(kSettleDelay);
      reset = true;
    }
    // A reset has restarted the pacing clock, drift and all.
    if (!reset) driftCorrection = drift;
  }
  // Seconds that will remain after this batch is taken.
  const double delay = (static_cast<double>(Buffered()) - static_cast<double>(size)) / fs;
  smoothedDelay = batchIndex != 0 ? smoothing * smoothedDelay + (1.0 - smoothing) * delay : delay;

  updateInterval = Buffering::RoundToMultiple(updateInterval, batchSeconds);
  const double dt = batchDuration(batchIndex - lastUpdateBatchIndex);
  // A batch of no samples takes no time and would divide by zero below.
  if (!reset && dt >= updateInterval && dt > 0.0) {
    const double error = smoothedDelay - targetDelay;
    const Buffering::ControllerUpdate update = Buffering::UpdateController(
        error, integratedError, previousError, updateCount < 2.0, dt, {gainP, gainI, gainD}, fs);
    integratedError = update.integratedError;
    previousError = error;
    RebaseBufferingController(update.sampleRate, false);
    if (WouldIssue(4)) {
      std::ostringstream text;
      text << "Buffering error = " << error << "; integrated = " << integratedError
           << "; derivative = " << update.derivative << "; correction = " << -update.correction;
      IssueMessage(text.str(), 4);
    }
    if (WouldIssue(3)) {
      std::ostringstream text;
      text.precision(15);
      text << "Estimated sample rate updated to " << estimatedSampleRate;
      IssueMessage(text.str(), 3);
    }
    updateCount += 1.0;
  }

  ++batchIndex;
  return WaitOutcome::Ready;
}

// The sums restart from 0 although the slots keep their old values, and
// the montage's own buffers are not walked: both on purpose. The "raw"
// stage is a view of the montage, so its channels are flushed as its outputs.
void Headset::FlushBuffers() {
  for (Source* source : montageSources) {
    source->FlushAverages();
  }
  for (const auto& stage : cascade)
    for (Channel* channel : stage->channels)
      if (channel) channel->buffer.Flush();
}

namespace {

constexpr double kLongestBufferSeconds = 3600.0;

// Checked before anything is reallocated, so that a careless duration cannot
// leave half the buffers resized. Negative durations mean no slots.
void CheckBufferDuration(double seconds, unsigned long slots) {
  std::ostringstream text;
  if (std::isnan(seconds)) {
    text << "a buffer duration must be a number of seconds, not " << seconds;
    throw text.str();
  }
  if (seconds > kLongestBufferSeconds) {
    text << "a buffer duration of " << seconds << " seconds is longer than the longest, "
         << kLongestBufferSeconds;
    throw text.str();
  }
  RingBuffer::CheckCapacity(slots);
}

}  // namespace

void Headset::ReallocateBuffers(double channelSeconds, double averagingSeconds) {
  CheckBufferDuration(channelSeconds, SlotsFor(channelSeconds));
  CheckBufferDuration(averagingSeconds, SlotsFor(averagingSeconds));
  // The durations are kept, not the lengths, so that sources and channels
  // made later are sized for the sampling rate of their own time.
  bufferSeconds = channelSeconds;
  impedanceSeconds = averagingSeconds;
  const unsigned long averagingLength = ImpedanceAveragingLength();
  for (const auto& source : sources) {
    source->AllocateAverages(averagingLength);
  }
  for (const auto& channel : montage) channel->buffer.Allocate(MontageBufferLength());
}

void Headset::ReallocateStageBuffers(ProcessingStage* stage, double seconds) {
  if (!stage) return;
  const unsigned long length = std::max(Buffering::SamplesIn(samplingRate, seconds), 1UL);
  CheckBufferDuration(seconds, length);
  for (Channel* channel : stage->channels)
    if (channel) channel->buffer.Allocate(length);
}

unsigned long Headset::FlushData(double seconds) {
  const double start = serial.Elapsed();
  // Fed bytes are the caller's to read: only a real link is flushed.
  if (!serial.IsOpen()) return 0;
  // What is flushed is never looked at; one buffer per thread keeps
  // concurrent flushes of several headsets free of data races.
  static thread_local std::array<std::uint8_t, 4000> scratch;
  unsigned long total = 0;
  for (;;) {
    const int got = serial.Receive(scratch.data(), scratch.size(), 0.0);
    total += static_cast<unsigned long>(got);
    if (got == 0 || serial.Elapsed() >= start + seconds) break;
    Sleep(0.05);
    if (!serial.IsOpen()) break;
  }
  return total;
}

}  // namespace QVT
