// A weighted sum of sources (a montage channel or a processing stage's
// output) with a ring buffer of its past values. The sources belong to the
// headset; a channel only points at them.
#pragma once

#include <string>
#include <vector>

#include "model/RingBuffer.h"
#include "model/Source.h"

namespace QVT {

class Channel {
 public:
  // Sum of weight times signal over the non-null sources, in order.
  double CalculateRawSignal() const;

  // The non-null source with the largest positive weight (the first of
  // equals); null when no weight is positive.
  Source* MaxPositiveSource() const;

  // The given name, else the name of MaxPositiveSource(), else empty.
  std::string Name() const;

  bool IsReferentialEEG() const;

  // True for every channel: callers treat any channel as eligible here.
  bool IsTrigger() const { return true; }

  // Repairs a channel that would read one electrode against itself (the one
  // positive source is also a negative one) by putting s in the positive
  // place. Returns whether it did.
  bool AutoSwap(Source* s);

  // A past value that has not been read yet; past the unread values it is
  // 0.0, or an error when strict.
  double LookBack(unsigned long n, bool strict) const;

  // The channel as a formula such as "Fz-Cz" or "A1/2+A2/2". Unless full,
  // the formula stops after the first term whose weight is a small ratio.
  std::string String(bool full) const;

  std::vector<Source*> sources;  // entries may be null
  std::vector<double> weights;   // one per source
  std::string name;
  RingBuffer buffer;
};

}  // namespace QVT
