// What a client pays to take a batch out of the channel buffers: one call
// per value (QVT_Channel_ReadBuffered) against one call per batch
// (QVT_Headset_ReadChannels). Each iteration writes a batch of 60 samples
// into every montage channel, as acquisition would, and takes it out again;
// the write-only run is the part both share.
#include <benchmark/benchmark.h>

#include <vector>

#include "BenchHeadset.h"
#include "qvt/qvt.h"

namespace {

constexpr int kBatch = 60;

enum class Reading { None, PerValue, Bulk };

void Run(benchmark::State& state, Reading reading) {
  const auto headset = bench::MakeStreamingHeadset();
  const std::vector<QVT::Channel*> channels = headset->MontageChannels();
  std::vector<double> out(channels.size() * kBatch);
  double v = 0.0;
  for (auto _ : state) {
    for (int k = 0; k < kBatch; ++k, v += 1.0)
      for (QVT::Channel* channel : channels) channel->buffer.Write(v);
    if (reading == Reading::PerValue) {
      for (QVT::Channel* channel : channels)
        for (int k = 0; k < kBatch; ++k) out[k] = QVT_Channel_ReadBuffered(channel);
    } else if (reading == Reading::Bulk) {
      QVT_Headset_ReadChannels(headset.get(), nullptr, 0, out.data(), kBatch, nullptr);
    } else {
      for (QVT::Channel* channel : channels) channel->buffer.Flush();
    }
    benchmark::DoNotOptimize(out.data());
  }
  state.counters["channels"] = static_cast<double>(channels.size());
  state.SetItemsProcessed(state.iterations() * kBatch * static_cast<std::int64_t>(channels.size()));
}

void BM_BatchWriteOnly(benchmark::State& state) { Run(state, Reading::None); }
void BM_BatchReadPerValue(benchmark::State& state) { Run(state, Reading::PerValue); }
void BM_BatchReadBulk(benchmark::State& state) { Run(state, Reading::Bulk); }
BENCHMARK(BM_BatchWriteOnly);
BENCHMARK(BM_BatchReadPerValue);
BENCHMARK(BM_BatchReadBulk);

}  // namespace
