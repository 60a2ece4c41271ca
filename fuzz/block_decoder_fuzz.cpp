// Arbitrary bytes from the link, read block by block: whatever arrives, the
// block reader and the packet handlers behind it must neither crash nor read
// outside their buffers nor hang.
#include <cstddef>
#include <cstdint>
#include <string>

#include "ReusedHeadset.h"
#include "core/Headset.h"

namespace {

// A read that runs out of input waits out the link's 0.5 s time-out, which
// would leave the fuzzer a couple of runs a second. So the input is followed
// by CR LF pairs that no single read can use up (the longest read is a block
// of 1024 bytes): no header starts in them, every resynchronisation ends in
// them at once, and reading stops as soon as only they are left.
const std::string& Tail() {
  static const std::string tail = [] {
    std::string t;
    while (t.size() < QVT::Headset::kMaxBlockLength + 64) t += "\r\n";
    return t;
  }();
  return tail;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The first byte sets the verbosity; the rest comes from the link.
  if (size == 0) return 0;
  QVT::Headset& headset = fuzz::ReusedHeadset(data[0] % 8);
  ++data;
  --size;
  headset.FeedFakeData(data, size);
  headset.FeedFakeData(Tail().data(), Tail().size());
  // Every successful read consumes at least one byte of the input.
  for (std::size_t reads = 0; reads <= size && headset.simulatedInput.size() > Tail().size(); ++reads)
    if (!headset.TryToReadBlock()) break;
  // Freed now rather than at the next input: memory an input leaves behind
  // sends libFuzzer looking for a leak, a costly rerun.
  fuzz::ReusedHeadset(0);
  return 0;
}
