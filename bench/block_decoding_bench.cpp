// Decoding throughput: blocks of data packets fed to the simulated link and
// read back through the block reader, each packet processed into a sample.
// A read of a silent link waits out its time-out, so every timed read finds
// its block already queued: a batch is fed, then exactly that many blocks
// are read.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "BenchHeadset.h"
#include "protocol/CRC16.h"
#include "protocol/Codes.h"

namespace {

void AppendU16(std::string& s, unsigned v) {
  s += static_cast<char>(v & 0xFF);
  s += static_cast<char>((v >> 8) & 0xFF);
}

void AppendU32(std::string& s, std::uint32_t v) {
  AppendU16(s, v & 0xFFFF);
  AppendU16(s, v >> 16);
}

// A batch of blocks whose packet counters run 0 to 255 exactly, so that the
// next batch continues the sequence.
std::string EncodeBatch(int blocks, int packetsPerBlock) {
  std::string batch;
  std::uint32_t ticks = 0;
  int counter = 0;
  for (int b = 0; b < blocks; ++b) {
    std::string content;
    AppendU16(content, static_cast<unsigned>(b));
    content += std::string{1, 1, 24, 12, 0, 0};  // the headset's clock
    for (int p = 0; p < packetsPerBlock; ++p) {
      ticks += 6;
      content += static_cast<char>(QVT::kDataPacketLength);
      content += static_cast<char>(QVT::PacketSpecies::Data);
      AppendU32(content, ticks);
      content += static_cast<char>(counter++ & 0xFF);
      content += '\0';  // trigger
      for (int slot = 0; slot < 24; ++slot) AppendU16(content, static_cast<unsigned>(slot * 100 + p));
    }
    std::string block = "#2";
    AppendU16(block, static_cast<unsigned>(content.size() + 16));
    AppendU32(block, ticks);
    block += std::string(4, '\0');
    AppendU16(block, QVT::CRC16(content.data(), content.size()));
    block += content;
    block += "\r\n";
    batch += block;
  }
  return batch;
}

// Arguments: packets per block; 1 with the factory montage and impedance
// estimates, 0 for a headset without sources (framing and checks only).
void BM_DecodeBlocks(benchmark::State& state) {
  const int packetsPerBlock = static_cast<int>(state.range(0));
  std::unique_ptr<QVT::Headset> headset;
  if (state.range(1) != 0) {
    headset = bench::MakeStreamingHeadset();
  } else {
    headset = std::make_unique<QVT::Headset>("deferred");
    headset->messageCallback.Set(nullptr);
    headset->SimulateInput();
  }
  const int blocks = 256 / packetsPerBlock;
  const std::string batch = EncodeBatch(blocks, packetsPerBlock);

  for (auto _ : state) {
    headset->FeedFakeData(batch.data(), batch.size());
    for (int b = 0; b < blocks; ++b) benchmark::DoNotOptimize(headset->TryToReadBlock());
  }
  state.SetItemsProcessed(state.iterations() * blocks * packetsPerBlock);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(batch.size()));
}
BENCHMARK(BM_DecodeBlocks)
    ->ArgNames({"packets", "montage"})
    ->Args({1, 1})
    ->Args({8, 1})
    ->Args({16, 1})
    ->Args({8, 0});

// Every block damaged (a wrong CRC): each read refuses one block and
// resynchronises through the next, which is what a noisy link costs.
void BM_DecodeDamagedBlocks(benchmark::State& state) {
  QVT::Headset headset("deferred");
  headset.messageCallback.Set(nullptr);
  headset.SimulateInput();
  const int blocks = 32;
  std::string batch = EncodeBatch(blocks, 8);
  const std::size_t blockSize = batch.size() / blocks;
  for (std::size_t at = 12; at < batch.size(); at += blockSize) batch[at] ^= 0x55;

  for (auto _ : state) {
    headset.FeedFakeData(batch.data(), batch.size());
    for (int b = 0; b < blocks / 2; ++b) benchmark::DoNotOptimize(headset.TryToReadBlock());
  }
  state.SetItemsProcessed(state.iterations() * blocks);
}
BENCHMARK(BM_DecodeDamagedBlocks);

}  // namespace
