// Running statistics of one channel's samples, kept without storing them.
#pragma once

#include <cstdint>

namespace QVT::Stream {

class ChannelStatistics {
 public:
  void Add(double value);

  std::uint64_t Count() const { return count; }
  // All three are 0 before the first sample.
  double Mean() const { return mean; }
  // Root mean square of the values themselves, offset included.
  double Rms() const;
  // Population standard deviation: the RMS about the mean.
  double StandardDeviation() const;

 private:
  // Welford's update keeps the spread accurate under large DC offsets,
  // where a plain sum of squares loses every digit of the signal.
  std::uint64_t count = 0;
  double mean = 0.0;
  double squaredDeviations = 0.0;
};

}  // namespace QVT::Stream
