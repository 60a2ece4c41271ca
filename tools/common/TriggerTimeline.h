// Where each trigger value belongs. The library delays the trigger through
// a line that advances once per packet received, to line it up with the
// headset's filtered EEG; across a gap the values behind the gap therefore
// come out as late as the gap is long. Knowing the true position of every
// received sample (SampleTimeline), this puts each value back where the
// line would have put it on a link that lost nothing.
#pragma once

#include <cstdint>
#include <deque>

namespace QVT::Tools {

class TriggerTimeline {
 public:
  // delay: the samples the library holds the trigger back (0 for none).
  explicit TriggerTimeline(unsigned samples) : delay(samples) {}

  // The received sample at `position` (counting lost samples too) came with
  // a trigger value: the position that value belongs to, at most `position`;
  // negative for one that belongs before the first sample.
  std::int64_t Place(std::int64_t position);

  // No value placed from now on belongs before this position.
  std::int64_t Settled() const;

  // The delay this headset's library applies to the trigger: 16 samples at
  // 300 and 600 Hz while the headset filters, none otherwise.
  static unsigned LibraryDelay(double rate, int filterMode);

 private:
  unsigned delay;
  bool started = false;
  std::int64_t next = 0;  // the position after the last one received
  // The received positions whose values are still inside the delay line.
  std::deque<std::int64_t> inLine;
};

}  // namespace QVT::Tools
