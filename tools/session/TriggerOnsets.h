// Where the trigger changed, on the true sample count: each received value
// is put back where the library's delay line took it from (TriggerTimeline),
// and a change to anything but 0 is an onset. A sample whose own value was
// lost holds the one before it, so a pulse whose first samples were lost
// begins at the first one after.
#pragma once

#include <cstdint>
#include <optional>

#include "TriggerTimeline.h"

namespace QVT::Session {

struct TriggerOnset {
  std::uint64_t sample = 0;
  double value = 0.0;
};

class TriggerOnsets {
 public:
  explicit TriggerOnsets(unsigned samples) : delay(samples), line(samples) {}

  // The received sample at `position` (lost samples counted) came with the
  // trigger value `value`: the onset this settles, if any.
  std::optional<TriggerOnset> Take(std::uint64_t position, double value);

  // The link was down: the next connection's delay line starts afresh; the
  // trigger holds its last value until a new one comes.
  void Restart() { line = Tools::TriggerTimeline(delay); }

 private:
  unsigned delay;
  Tools::TriggerTimeline line;
  double last = 0.0;
};

}  // namespace QVT::Session
