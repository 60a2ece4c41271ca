// Arbitrary packet areas inside well-framed blocks: the frame and the CRC
// always pass, so every byte reaches the packet loop and the handlers of
// responses, alarms, data and extended data.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ReusedHeadset.h"
#include "core/Headset.h"
#include "protocol/CRC16.h"

namespace {

constexpr std::size_t kFrameSize = 24;  // header, number, clock record, end code
constexpr std::size_t kLongestArea = QVT::Headset::kMaxBlockLength - kFrameSize;

void PutU16(std::uint8_t* p, unsigned v) {
  p[0] = static_cast<std::uint8_t>(v & 0xFF);
  p[1] = static_cast<std::uint8_t>(v >> 8);
}

std::vector<std::uint8_t> Frame(const std::uint8_t* area, std::size_t size, unsigned number) {
  std::vector<std::uint8_t> block(kFrameSize + size, 0);
  block[0] = '#';
  block[1] = '2';
  PutU16(&block[2], static_cast<unsigned>(block.size()));
  PutU16(&block[14], number);
  const std::uint8_t clock[6] = {3, 15, 24, 10, 30, 45};
  std::copy(clock, clock + 6, &block[16]);
  std::copy(area, area + size, &block[22]);
  block[block.size() - 2] = '\r';
  block[block.size() - 1] = '\n';
  PutU16(&block[12], QVT::CRC16(&block[14], block.size() - 16));
  return block;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The first byte sets how the rest is cut into blocks, so that packets
  // meet block ends at every offset; the second sets the verbosity.
  if (size < 2) return 0;
  QVT::Headset& headset = fuzz::ReusedHeadset(data[1] % 8);
  const std::size_t area = 1 + data[0] % kLongestArea;
  unsigned number = 0;
  for (std::size_t at = 2; at < size; at += area) {
    const std::vector<std::uint8_t> block = Frame(data + at, std::min(area, size - at), number++);
    headset.FeedFakeData(block.data(), block.size());
    // Whole blocks are in the queue: no read waits for more.
    if (!headset.TryToReadBlock()) break;
  }
  // Freed now rather than at the next input: memory an input leaves behind
  // sends libFuzzer looking for a leak, a costly rerun.
  fuzz::ReusedHeadset(0);
  return 0;
}
