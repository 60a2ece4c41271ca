// What the page draws of one channel: the displayed signal reduced to a
// minimum and maximum per bin of samples (so a spike narrower than a pixel
// still shows), and a verdict on the raw signal over the last second.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "DisplayFilter.h"

namespace QVT::Monitor {

enum class Quality { kGood, kFlat, kRailed, kNoisy };

// "good", "flat", "railed" or "noisy".
const char* QualityName(Quality quality);

class ChannelTrace {
 public:
  // fullScale: the largest value the channel can read, in its unit; 0 when
  // it has no meaningful rail.
  ChannelTrace(double rate, double fullScale);

  void Display(DisplayChoice choice);
  void Add(double value);

  // The finished bins' envelopes since the last call, oldest first.
  void TakeBins(std::vector<float>& minima, std::vector<float>& maxima);
  Quality Verdict() const { return verdict; }

 private:
  void Judge();

  double rate;
  double fullScale;
  DisplayFilter filter;
  std::size_t binSize;
  std::size_t inBin = 0;
  float binMin = 0, binMax = 0;
  std::vector<float> minima, maxima;
  // The last second of raw signal, in summary.
  std::size_t judged = 0;
  double rawMin = 0, rawMax = 0, peak = 0;
  double sum = 0, sumOfSquares = 0;
  Quality verdict = Quality::kGood;
};

// Bins a second, whatever the rate: fine enough for a 5 s window across a
// wide screen.
inline constexpr std::size_t kBinsPerSecond = 100;

// The largest value an electrode channel reads, in µV: the headset sends
// each electrode as a signed 16-bit count, which the library scales by the
// gain it reports for that electrode (µV per count).
double ElectrodeFullScale(double microvoltsPerCount);

// Samples a bin at this rate.
std::size_t BinSize(double rate);

}  // namespace QVT::Monitor
