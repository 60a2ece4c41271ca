// Cost of one sample through the whole per-sample pipeline: 24 slot values,
// the host-made sources, impedance estimates of every electrode in use, the
// factory montage into its ring buffers.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>

#include "BenchHeadset.h"

namespace {

void BM_ProcessSample(benchmark::State& state) {
  const auto headset = bench::MakeStreamingHeadset();
  std::array<std::uint8_t, QVT::kDataPacketLength> bytes{};
  bytes[0] = static_cast<std::uint8_t>(QVT::kDataPacketLength);
  bytes[1] = QVT::PacketSpecies::Data;
  for (std::size_t i = 8; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 37);
  auto& packet = *reinterpret_cast<QVT::DataPacketStruct*>(bytes.data());

  std::uint32_t ticks = 0;
  for (auto _ : state) {
    ticks += 6;  // 300 Hz: the carriers move on every sample
    packet.body[0] = static_cast<std::uint8_t>(ticks);
    headset->ProcessSample(packet, 0.0, QVT::TicksToSeconds(ticks));
  }
  benchmark::DoNotOptimize(headset->montage.front()->buffer.Sum());
  state.SetItemsProcessed(state.iterations());
  state.counters["channels"] = static_cast<double>(headset->montage.size());
}
BENCHMARK(BM_ProcessSample);

}  // namespace
