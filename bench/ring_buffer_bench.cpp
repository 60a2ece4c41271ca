// Throughput of the ring buffer on the sample path: one write per sample and
// channel, with the client reading it back.
#include <benchmark/benchmark.h>

#include "model/RingBuffer.h"

namespace {

void BM_RingBufferWriteRead(benchmark::State& state) {
  QVT::RingBuffer b;
  b.Allocate(static_cast<unsigned long>(state.range(0)));
  double v = 0.0;
  for (auto _ : state) {
    b.Write(v);
    benchmark::DoNotOptimize(b.Read());
    v += 1.0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RingBufferWriteRead)->Arg(1024)->Arg(65536);

// A buffer nobody reads: every write overwrites an unread value.
void BM_RingBufferWriteOverflowing(benchmark::State& state) {
  QVT::RingBuffer b;
  b.Allocate(1024);
  double v = 0.0;
  for (auto _ : state) {
    b.Write(v);
    v += 1.0;
  }
  benchmark::DoNotOptimize(b.Sum());
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RingBufferWriteOverflowing);

}  // namespace
