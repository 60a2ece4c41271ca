// Latency of the acquisition path on a pseudo-terminal: blocks are written at
// the headset's pace (600 Hz, six samples a block), and the program records
//   - per block, the time from its write until its samples are readable by a
//     client polling the buffers while background acquisition runs;
//   - per batch, how late QVT::Headset::WaitForBatch releases it against its
//     due time.
// Run with the modem-line preload (make bench does):
//   LD_PRELOAD=build/lib/libqvtptymodem.so streaming_latency [SECONDS]
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "core/Headset.h"
#include "headset/CalibrationImages.h"
#include "headset/HeadsetWire.h"
#include "headset/PseudoTerminal.h"
#include "util/Timing.h"

namespace {

namespace Wire = QVT::testing;
constexpr double kRate = 600.0;
constexpr int kPacketsPerBlock = 6;

// Writes blocks at the sampling pace; the precision time of each write.
class Writer {
 public:
  explicit Writer(const Wire::PseudoTerminal& line) : line_(line) {}
  void Run(double seconds, std::vector<double>& writes) {
    const double start = QVT::PrecisionTime();
    std::uint8_t counter = 0;
    for (std::uint16_t block = 0;; ++block) {
      const double due = start + block * kPacketsPerBlock / kRate;
      if (due > start + seconds) break;
      while (QVT::PrecisionTime() < due) std::this_thread::sleep_for(std::chrono::microseconds(100));
      std::string packets;
      for (int i = 0; i < kPacketsPerBlock; ++i)
        packets += Wire::EncodeDataPacket(counter++, std::string(49, '\0'),
                                          static_cast<std::uint32_t>((block * kPacketsPerBlock + i) * 3));
      line_.Write(Wire::EncodeBlock(block, 0, {}, packets));
      writes.push_back(QVT::PrecisionTime());
    }
  }

 private:
  const Wire::PseudoTerminal& line_;
};

std::unique_ptr<QVT::Headset> Listening(const Wire::PseudoTerminal& line) {
  auto headset = std::make_unique<QVT::Headset>("deferred");
  headset->messageCallback.Set(nullptr);
  headset->Connect(line.SlavePath(), false);
  headset->samplingRate = kRate;
  headset->InterpretCalibrationMemory(Wire::TenTwentyCalibrationImage().data());
  headset->ChooseChannels("FACTORY", "FACTORY", false);
  headset->ConfigureBufferingController(0.25, 0.998, 0.0, 0.0, 0.0);
  headset->ConfigureBatch(static_cast<unsigned>(kRate * 0.06 + 0.5), 0.05);
  return headset;
}

void Report(const char* what, std::vector<double> values) {
  if (values.empty()) {
    std::printf("%-34s no values\n", what);
    return;
  }
  std::sort(values.begin(), values.end());
  const auto at = [&](double q) {
    return values[static_cast<std::size_t>(q * static_cast<double>(values.size() - 1))] * 1e3;
  };
  std::printf("%-34s n=%5zu  p50 %6.3f ms  p99 %6.3f ms  max %6.3f ms\n", what, values.size(), at(0.5),
              at(0.99), values.back() * 1e3);
}

// The time from each block's write until its samples are readable.
std::vector<double> BlockToReadable(double seconds) {
  Wire::PseudoTerminal line;
  auto headset = Listening(line);
  headset->StartBackgroundAcquisition();  // a link never told to stream is read as streaming
  std::vector<double> writes;
  writes.reserve(static_cast<std::size_t>(seconds * kRate / kPacketsPerBlock) + 8);
  std::thread writer([&] { Writer(line).Run(seconds, writes); });

  // Polls the first channel's write count; a block is readable once all its
  // samples are.
  std::vector<double> readable;
  QVT::RingBuffer& buffer = headset->montage.front()->buffer;
  std::uint64_t samples = 0, last = buffer.WriteIndex();
  const double end = QVT::PrecisionTime() + seconds + 0.5;
  while (QVT::PrecisionTime() < end) {
    const std::uint64_t index = buffer.WriteIndex();
    if (index != last) {
      samples += (index + buffer.Capacity() - last) % buffer.Capacity();
      last = index;
      const double now = QVT::PrecisionTime();
      while (readable.size() < samples / kPacketsPerBlock) readable.push_back(now);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(50));
  }
  writer.join();
  headset->StopBackgroundAcquisition();
  std::vector<double> latency;
  for (std::size_t k = 0; k < std::min(writes.size(), readable.size()); ++k)
    latency.push_back(readable[k] - writes[k]);
  return latency;
}

// How late each batch is released against its due time.
std::vector<double> ReleaseLateness(double seconds) {
  Wire::PseudoTerminal line;
  auto headset = Listening(line);
  headset->StartBackgroundAcquisition();
  std::vector<double> writes;
  std::thread writer([&] { Writer(line).Run(seconds, writes); });
  std::vector<double> lateness;
  const double end = QVT::PrecisionTime() + seconds - 0.5;
  headset->WaitForBatch();  // primes the buffers
  while (QVT::PrecisionTime() < end) {
    for (QVT::Channel* channel : headset->MontageChannels())
      for (unsigned k = 0; k < headset->batchSize && channel->buffer.Count() > 0; ++k) channel->buffer.Read();
    // The due time WaitForBatch computes, with gains 0 (no drift).
    const double size = headset->batchSize;
    const double due = headset->rebaseTime +
                       static_cast<double>(headset->batchIndex - headset->rebaseBatchIndex) * size / kRate +
                       headset->driftCorrection;
    const double rebasedAt = headset->rebaseTime;
    headset->WaitForBatch();
    const double released = QVT::PrecisionTime();
    // A reset restarts the pacing clock: that release had no due time.
    if (headset->rebaseTime == rebasedAt) lateness.push_back(released - due);
  }
  writer.join();
  headset->StopBackgroundAcquisition();
  return lateness;
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 10.0;
  Report("block written -> samples readable", BlockToReadable(seconds));
  Report("WaitForBatch release lateness", ReleaseLateness(seconds));
  return 0;
}
