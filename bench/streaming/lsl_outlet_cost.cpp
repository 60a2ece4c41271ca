// What publishing costs: an outlet fed like the headset's stream (600 Hz,
// 33 float32 channels, a chunk of 6 samples every 10 ms, paced in real
// time) with one consumer on loopback. Prints the CPU share of the outlet
// (the process less the consumer's thread) and the delay from a chunk's
// push to its last sample read by the consumer. Run in a private network
// namespace (see make bench); argument: seconds.
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "Clock.h"
#include "Inlet.h"
#include "Log.h"
#include "Outlet.h"

namespace {

double CpuSeconds(clockid_t clock) {
  timespec used{};
  clock_gettime(clock, &used);
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace QVT::Lsl;
  const double seconds = argc > 1 ? std::atof(argv[1]) : 20.0;
  constexpr int kChannels = 33, kChunk = 6;
  constexpr double kRate = 600.0;
  SetLogSink([](const std::string&) {});
  Outlet outlet(StreamInfo({"bench", "EEG", kChannels, ChannelFormat::Float32, kRate, "bench"}));
  Inlet inlet(ResolvedStream{outlet.Info(), asio::ip::address_v4::loopback()});

  std::atomic<bool> done{false};
  std::vector<double> delays;
  double consumerCpu = 0.0;
  std::thread consumer([&] {
    std::size_t index = 0;
    while (!done.load()) {
      const auto sample = inlet.Pull(std::chrono::milliseconds(100));
      if (!sample) continue;
      if (++index % kChunk == 0) delays.push_back(LocalClock() - sample->stamp);
    }
    consumerCpu = CpuSeconds(CLOCK_THREAD_CPUTIME_ID);
  });

  const double cpuBefore = CpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
  const double start = LocalClock();
  std::vector<float> values(kChannels * kChunk, 12.5f);
  std::vector<double> stamps(kChunk);
  for (long chunk = 0;; ++chunk) {
    const double due = start + static_cast<double>(chunk) * kChunk / kRate;
    if (due - start > seconds) break;
    std::this_thread::sleep_for(std::chrono::duration<double>(std::max(0.0, due - LocalClock())));
    // The last sample's stamp is the push time, so the consumer's delay is
    // measured from the push.
    const double now = LocalClock();
    for (int i = 0; i < kChunk; ++i) stamps[i] = now - (kChunk - 1 - i) / kRate;
    outlet.PushChunk(values, stamps);
  }
  const double wall = LocalClock() - start;
  done = true;
  consumer.join();
  const double outletCpu = CpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - cpuBefore - consumerCpu;

  std::sort(delays.begin(), delays.end());
  auto at = [&](double q) { return delays.empty() ? 0.0 : delays[static_cast<std::size_t>(q * static_cast<double>(delays.size() - 1))]; };
  std::printf("outlet: %.2f %% of a core over %.0f s; push to consumer: p50 %.3f ms, p99 %.3f ms, max %.3f ms "
              "(%zu chunks, %llu samples dropped)\n",
              100.0 * outletCpu / wall, wall, at(0.5) * 1e3, at(0.99) * 1e3, at(1.0) * 1e3, delays.size(),
              static_cast<unsigned long long>(outlet.SamplesDropped()));
}
