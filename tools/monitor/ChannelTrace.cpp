#include "ChannelTrace.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace QVT::Monitor {

namespace {

// A contact that moves less than this in a second is not on the skin.
constexpr double kFlatMicrovolts = 0.5;
// Within this share of full scale the amplifier is saturated.
constexpr double kRailShare = 0.98;
// Scalp EEG rarely exceeds this RMS about its mean; movement, loose contacts
// and line noise do.
constexpr double kNoisyMicrovolts = 100.0;

}  // namespace

const char* QualityName(Quality quality) {
  switch (quality) {
    case Quality::kFlat:
      return "flat";
    case Quality::kRailed:
      return "railed";
    case Quality::kNoisy:
      return "noisy";
    case Quality::kGood:
      break;
  }
  return "good";
}

ChannelTrace::ChannelTrace(double samplingRate, double range)
    : rate(samplingRate),
      fullScale(range),
      binSize(BinSize(samplingRate)) {}

double ElectrodeFullScale(double microvoltsPerCount) {
  return std::numeric_limits<std::int16_t>::max() * microvoltsPerCount;
}

std::size_t BinSize(double rate) {
  return std::max<std::size_t>(1, static_cast<std::size_t>(std::lround(rate / kBinsPerSecond)));
}

void ChannelTrace::Display(DisplayChoice choice) { filter = DisplayFilter(choice, rate); }

void ChannelTrace::Add(double value) {
  const auto shown = static_cast<float>(filter.Apply(value));
  if (inBin == 0) binMin = binMax = shown;
  binMin = std::min(binMin, shown);
  binMax = std::max(binMax, shown);
  if (++inBin == binSize) {
    minima.push_back(binMin);
    maxima.push_back(binMax);
    inBin = 0;
  }
  if (judged == 0) rawMin = rawMax = value, peak = 0, sum = sumOfSquares = 0;
  rawMin = std::min(rawMin, value);
  rawMax = std::max(rawMax, value);
  peak = std::max(peak, std::abs(value));
  sum += value;
  sumOfSquares += value * value;
  if (++judged >= static_cast<std::size_t>(rate)) Judge();
}

void ChannelTrace::Judge() {
  const auto n = static_cast<double>(judged);
  const double variance = std::max(0.0, sumOfSquares / n - (sum / n) * (sum / n));
  if (fullScale > 0 && peak >= kRailShare * fullScale)
    verdict = Quality::kRailed;
  else if (rawMax - rawMin < kFlatMicrovolts)
    verdict = Quality::kFlat;
  else if (std::sqrt(variance) > kNoisyMicrovolts)
    verdict = Quality::kNoisy;
  else
    verdict = Quality::kGood;
  judged = 0;
}

void ChannelTrace::TakeBins(std::vector<float>& mins, std::vector<float>& maxs) {
  mins.swap(minima);
  maxs.swap(maxima);
  minima.clear();
  maxima.clear();
}

}  // namespace QVT::Monitor
